// A music folder that changes while the application runs: each file added, changed, deleted or
// renamed reaches the store and the window's lists as a change alone, without listing the whole
// library again, and the revision the store mirrors follows the folder's.
#include "ModelTestFixture.h"

#include "Platform/LocalLibrary/LocalLibraryService.h"
#include "Platform/LocalLibraryTestSupport.h"
#include "Support/UserDefaults.h"

#include <QCoreApplication>
#include <cstdio>

using namespace LocalLibraryTestSupport;

namespace {

// The folder's service, counting the listings of the library's songs a whole sync makes.
class CountingLibrary : public LocalLibraryService {
public:
    using LocalLibraryService::LocalLibraryService;
    QCoro::Task<LibraryPage<Song>> librarySongs(int offset, int limit) override
    {
        ++listings;
        return LocalLibraryService::librarySongs(offset, limit);
    }
    int listings = 0;
};

} // namespace

class LibraryChangeSyncTest : public ModelTest {
protected:
    void SetUp() override
    {
        writeTrack(music.path(), QStringLiteral("A/1.mp3"), tags(QStringLiteral("One"), QStringLiteral("A"), QStringLiteral("First")));
        writeTrack(music.path(), QStringLiteral("A/2.mp3"), tags(QStringLiteral("Two"), QStringLiteral("A"), QStringLiteral("First")));
        library = std::make_unique<CountingLibrary>(music.path(), artwork.path());
        MusicService::setShared(library.get());
    }
    void TearDown() override { MusicService::setShared(&service); }

    // A file as a copy program lands it: written beside the folder, then renamed into place, so
    // that the folder sees one finished file.
    void land(const QString &relative, const DemoTags::Tags &t)
    {
        writeTrack(staging.path(), QStringLiteral("file.mp3"), t);
        const QString target = music.filePath(relative);
        QDir().mkpath(QFileInfo(target).absolutePath());
        ASSERT_EQ(std::rename(QFile::encodeName(staging.filePath(QStringLiteral("file.mp3"))).constData(),
                              QFile::encodeName(target).constData()), 0);
    }

    // Lets the watcher's quiet time pass on the test's clock until the window's lists are told
    // that the store changed.
    ::testing::AssertionResult changeArrives(int version)
    {
        return advanceUntil([&] { return model->_libraryVersion() != version; }, "the store's change", 0.05);
    }

    QMap<QString, QString> storedSongs() // title → identifier
    {
        QMap<QString, QString> songs;
        for (const LocalSong &song : runTask(database->allLibrarySongs({LocalSong::SortKey::order})))
            songs.insert(song.title, song.identifier);
        return songs;
    }

    void expectMirrored()
    {
        EXPECT_EQ(library->listings, 0) << "the whole library was listed again";
        EXPECT_EQ(UserDefaults::standard().stringValue(MainViewModel::syncedLibraryRevisionKey), runTask(library->libraryRevision()));
    }

    QTemporaryDir music, artwork, staging;
    std::unique_ptr<CountingLibrary> library;
};

TEST_F(LibraryChangeSyncTest, FilesAddedChangedDeletedAndRenamedReachTheStoreAsChanges)
{
    finish(model->start());
    ASSERT_EQ(storedSongs().keys(), (QStringList{QStringLiteral("One"), QStringLiteral("Two")}));
    const QString twoID = storedSongs().value(QStringLiteral("Two"));
    library->listings = 0;

    int version = model->_libraryVersion();
    land(QStringLiteral("B/3.mp3"), tags(QStringLiteral("Three"), QStringLiteral("B"), QStringLiteral("Second")));
    ASSERT_TRUE(changeArrives(version));
    EXPECT_EQ(storedSongs().keys(), (QStringList{QStringLiteral("One"), QStringLiteral("Three"), QStringLiteral("Two")}));
    EXPECT_EQ(runTask(database->allArtists({LocalArtist::SortKey::name})).size(), 2);
    expectMirrored();

    // Retagged in place: the same song with its new title.
    version = model->_libraryVersion();
    land(QStringLiteral("A/2.mp3"), tags(QStringLiteral("Two (Live)"), QStringLiteral("A"), QStringLiteral("First")));
    ASSERT_TRUE(changeArrives(version));
    EXPECT_EQ(storedSongs().value(QStringLiteral("Two (Live)")), twoID);
    EXPECT_FALSE(storedSongs().contains(QStringLiteral("Two")));
    expectMirrored();

    // Deleted: the song leaves, and B's album and B with it.
    version = model->_libraryVersion();
    ASSERT_TRUE(QFile::remove(music.filePath(QStringLiteral("B/3.mp3"))));
    ASSERT_TRUE(changeArrives(version));
    EXPECT_EQ(storedSongs().keys(), (QStringList{QStringLiteral("One"), QStringLiteral("Two (Live)")}));
    EXPECT_EQ(runTask(database->allArtists({LocalArtist::SortKey::name})).size(), 1);
    EXPECT_EQ(runTask(database->allAlbums({LocalAlbum::SortKey::title})).size(), 1);
    expectMirrored();

    // Renamed into another folder: a move, the song keeps its identifier.
    version = model->_libraryVersion();
    ASSERT_TRUE(QDir().mkpath(music.filePath(QStringLiteral("C"))));
    ASSERT_TRUE(QFile::rename(music.filePath(QStringLiteral("A/2.mp3")), music.filePath(QStringLiteral("C/two.mp3"))));
    ASSERT_TRUE(changeArrives(version));
    EXPECT_EQ(storedSongs().value(QStringLiteral("Two (Live)")), twoID);
    EXPECT_EQ(storedSongs().size(), 2);
    expectMirrored();
}
