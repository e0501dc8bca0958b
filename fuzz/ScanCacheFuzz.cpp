// The scan cache on arbitrary bytes: loaded whole, its folders read through the index, and
// brought up to date by copying the blocks of the folders that did not change. The root the cache
// must name is taken from the input itself, so that past the header the bytes are what counts.

#include "FuzzKit.h"

#include "Platform/LocalLibrary/FolderWalk.h"
#include "Platform/LocalLibrary/ScanCache.h"

#include <QDataStream>
#include <QFile>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzKit::setUp();
    const QByteArray bytes = FuzzKit::bytes(data, size);
    QByteArray root;
    {
        QDataStream in(bytes);
        in.setVersion(QDataStream::Qt_6_4);
        quint32 magic = 0, version = 0;
        in >> magic >> version >> root;
    }
    const QString file = QFile::decodeName(FuzzKit::write(QStringLiteral("scan.cache"), bytes));

    ScanCache whole(root, file);
    QSet<QByteArray> folders = {root};
    if (whole.load()) {
        for (auto it = whole.entries().cbegin(); it != whole.entries().cend(); ++it)
            folders.insert(FolderWalk::parentOf(it.key()));
    }
    whole.readFolders(folders);

    // A partial scan's save: the first folder replaced, the others' bytes copied.
    ScanCache partial(root, file);
    partial.updateFolders({*folders.cbegin()}, {});
    partial.save();
    return 0;
}
