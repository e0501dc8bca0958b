#include "Platform/LocalLibrary/ListingDigest.h"

#include "Platform/LocalLibrary/FolderWalk.h"

namespace {

// The finaliser of splitmix64: every input bit moves about half the output bits.
quint64 mix(quint64 value)
{
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9ULL;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebULL;
    return value ^ (value >> 31);
}

// Two independent 64-bit hashes of the file: FNV-1a and a multiply-rotate hash over the same
// bytes, each finished with mix(). A sum collides only when both do.
std::pair<quint64, quint64> hashOf(const FolderWalk::Entry &file)
{
    quint64 fnv = 0xcbf29ce484222325ULL;
    quint64 rotating = 0x9e3779b97f4a7c15ULL;
    const auto feed = [&](const char *bytes, qsizetype length) {
        for (qsizetype i = 0; i < length; ++i) {
            const auto byte = quint8(bytes[i]);
            fnv = (fnv ^ byte) * 0x100000001b3ULL;
            rotating = ((rotating ^ byte) * 0xff51afd7ed558ccdULL);
            rotating = (rotating << 23) | (rotating >> 41);
        }
    };
    feed(file.path.constData(), file.path.size());
    const char separator = 0;
    feed(&separator, 1);
    feed(reinterpret_cast<const char *>(&file.size), sizeof file.size);
    feed(reinterpret_cast<const char *>(&file.modifiedNs), sizeof file.modifiedNs);
    return {mix(fnv), mix(rotating)};
}

} // namespace

void ListingDigest::add(const FolderWalk::Entry &file)
{
    const auto [first, second] = hashOf(file);
    ++m_count;
    m_first += first;
    m_second += second;
}

void ListingDigest::add(const ListingDigest &other)
{
    m_count += other.m_count;
    m_first += other.m_first;
    m_second += other.m_second;
}

QByteArray ListingDigest::toHex() const
{
    QByteArray hex;
    for (const quint64 part : {m_count, m_first, m_second})
        hex += QByteArray::number(part, 16).rightJustified(16, '0');
    return hex;
}
