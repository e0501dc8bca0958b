#include "LumevarCore/Records.h"

#include <QHash>

namespace {

std::optional<QString> firstGenre(const QStringList &genres)
{
    if (genres.isEmpty())
        return std::nullopt;
    return genres.first();
}

} // namespace

bool LocalSong::matchesPlayingSong(const std::optional<MusicPlayer::Queue::Entry> &entry) const
{
    if (!entry)
        return false;
    return matchesPlayingSong(songID(*entry));
}

bool LocalSong::matchesPlayingSong(const std::optional<QString> &songID) const
{
    if (!songID || songID->isEmpty())
        return false;
    // The player may know the song by its library id or by the id its play parameters name.
    return *songID == id.rawValue() || (playParameters && *songID == playParameters->id.rawValue());
}

Song LocalSong::song() const
{
    Song song;
    song.id = id;
    song.title = title;
    song.artistName = artistName;
    song.albumTitle = albumTitle;
    if (genre)
        song.genreNames = QStringList{*genre};
    song.duration = duration;
    song.releaseDate = releaseDate;
    if (artworkURL)
        song.artwork = Artwork(artworkURL->toString(), recordArtworkSize, recordArtworkSize);
    song.playParameters = playParameters;
    return song;
}

LocalSong LocalSong::from(const Song &song, std::optional<int> order)
{
    LocalSong record;
    record.id = song.id;
    record.identifier = song.id.rawValue();
    record.title = song.title;
    record.artistName = song.artistName;
    record.albumTitle = song.albumTitle;
    record.duration = song.duration;
    record.genre = firstGenre(song.genreNames);
    record.releaseDate = song.releaseDate;
    record.order = order;
    if (song.artwork)
        record.artworkURL = song.artwork->url(recordArtworkSize, recordArtworkSize);
    record.playParameters = song.playParameters;
    return record;
}

size_t qHash(const LocalSong &song, size_t seed)
{
    // Equal records have equal ids and titles; that is enough to spread them.
    return qHashMulti(seed, song.id.rawValue(), song.title, song.order.value_or(-1));
}

std::optional<QString> songID(const MusicPlayer::Queue::Entry &entry)
{
    if (const Song *song = entry.song())
        return song->id.rawValue();
    return std::nullopt;
}

QString songIDForArtwork(const MusicPlayer::Queue::Entry &entry)
{
    return songID(entry).value_or(entry.id);
}

PlaybackItem PlaybackItem::from(const LocalSong &song)
{
    PlaybackItem item;
    item.title = song.title;
    item.subtitle = song.artistName;
    item.artist = song.artistName;
    item.album = song.albumTitle;
    item.duration = song.duration;
    if (song.artworkURL)
        item.artwork = Artwork(song.artworkURL->toString(), recordArtworkSize, recordArtworkSize);
    item.songID = song.id.rawValue();
    item.songIDForArtwork = song.id.rawValue();
    return item;
}

PlaybackItem PlaybackItem::from(const MusicPlayer::Queue::Entry &entry)
{
    PlaybackItem item;
    item.title = entry.title;
    item.subtitle = entry.subtitle;
    item.artwork = entry.artwork;
    if (const Song *song = entry.song()) {
        item.artist = song->artistName;
        item.album = song->albumTitle;
        item.duration = song->duration;
        if (!item.artwork)
            item.artwork = song->artwork;
    }
    item.songID = ::songID(entry);
    item.songIDForArtwork = ::songIDForArtwork(entry);
    return item;
}
