#pragma once
// The song records saved in a file beside the store when it closes, and read back at the next
// open in place of the table: stepping through 100,000 rows and decoding their texts costs half a
// second, reading this file a fraction of that. The file holds each distinct text once (UTF-16,
// as QString holds it), the records as indexes into those texts, the library rows sorted on each
// key worked out during the run, and the library list in the order last asked for, so the first
// list after the open is handed out as it is.
//
// The file is trusted only beside the very store file it was written for: its header holds that
// file's device, inode, size and modification time, taken once the write-ahead log was folded
// back and the store closed, and a store whose log holds anything has changed since. A file that
// was taken stays while the store is as it was: the store's first write removes it (see
// LocalDatabase), so a run that changes the store and ends without closing it leaves no file
// behind, and a run that changed nothing has nothing to save when it closes. A file in doubt (another format, damaged bytes, another or a changed store) is not used:
// one line is logged and the records are read from the table.

#include "LumevarCore/Records.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <array>
#include <optional>
#include <utility>
#include <vector>

struct SongImage {
    // The library list in listOrder (empty without one), then every other record, each beside
    // its row.
    std::optional<SortDescriptor<LocalSong>> listOrder;
    QList<LocalSong> list;
    std::vector<qint64> listRows;
    QList<LocalSong> others;
    std::vector<qint64> otherRows;
    // Library rows in forward order per sort key; empty for a key not worked out.
    std::array<std::vector<qint64>, 7> sorted;
    // Texts that repeat from record to record (artists, albums, genres, play kinds) and the
    // artwork URLs, one instance each, as the records hold them (filled when read).
    QList<QString> sharedTexts;
    QList<std::pair<QString, QUrl>> urls;
};

namespace SongSnapshot {

// The bytes before the payload in a file.
inline constexpr qsizetype headerSize = 64;

// Where the snapshot of the store file at storePath lives.
QString pathBeside(const QString &storePath);

// The header that ties a snapshot holding payload to the store file at storePath as it is now;
// nullopt when that file cannot be read or its log is not folded back. write() puts it before the
// payload; the fuzz target of the reader uses it to hand arbitrary payloads to the reader.
std::optional<QByteArray> headerFor(const QString &storePath, const QByteArray &payload);

// Writes the image beside the store file, which must be closed with its log folded back. A
// failure logs one line and leaves no file.
void write(const QString &storePath, const SongImage &image);

// The image saved beside the open store file, when it belongs to it as it is now; the file is
// left in place, and the caller removes it before the store's first write. A file that does not
// belong is removed; nothing when there is none.
std::optional<SongImage> take(const QString &storePath);

// Removes the file beside the store; false, with one line logged, when it stays.
bool remove(const QString &storePath);

} // namespace SongSnapshot
