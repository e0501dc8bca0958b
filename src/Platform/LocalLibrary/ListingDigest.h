#pragma once
// A digest of a set of listed files (path, size and modification time of each) that does not
// depend on their order: each file adds its own 128-bit hash to a sum. The digest of a folder
// tree is the sum of its folders' digests, so a scan that reads only the folders that changed
// keeps the digests of the others and reaches the same revision as a scan of the whole tree.

#include <QByteArray>
#include <QtGlobal>

namespace FolderWalk {
struct Entry;
}

class ListingDigest {
public:
    void add(const FolderWalk::Entry &file);
    void add(const ListingDigest &other);

    // The digest as 48 hex digits: the count of files and the two sums.
    QByteArray toHex() const;

    bool operator==(const ListingDigest &) const = default;

private:
    quint64 m_count = 0;
    quint64 m_first = 0;
    quint64 m_second = 0;
};
