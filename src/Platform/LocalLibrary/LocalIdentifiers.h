#pragma once
// Identifiers of the local library: a prefix per kind and a hash of a normalised key (a path
// relative to the library folder, or a case-folded name). They stay the same across scans and
// runs, and the prefixes keep the kinds apart. The hash is eight bytes, written as 16 lower-case
// hex digits, so the library index can keep it as a number and write the text only when an item
// is handed out; numbers and texts of one kind sort alike.

#include "Platform/Music/MusicTypes.h"

namespace LocalIdentifiers {

inline constexpr const char *song = "s";
inline constexpr const char *album = "al";
inline constexpr const char *artist = "ar";
inline constexpr const char *playlist = "pl";
inline constexpr const char *station = "st";
inline constexpr const char *mix = "mfy";
inline constexpr const char *recommendation = "rec";

// "<prefix>.<16 hex digits>" from the key after Unicode and case normalisation.
MusicItemID make(const char *prefix, const QString &key);
// The hash of make() as a number.
quint64 digest(const QString &key);

// A song's identifier from the relative path (as bytes) it was first seen at. A UTF-8 path gives
// make(song, path); other bytes are hashed as they are, so names that differ only in bytes
// that are not UTF-8 stay apart.
MusicItemID songID(const QByteArray &identity);
quint64 songDigest(const QByteArray &identity);

// The identifier of a kind with the given hash, and back: nothing when id is not of the kind.
MusicItemID fromDigest(const char *prefix, quint64 digest);
std::optional<quint64> digestOf(const MusicItemID &id, const char *prefix);

// The key of a name: trimmed, Unicode NFC, case-folded, so "The Band" and "the band " match.
QString nameKey(const QString &name);

// True when the identifier carries the given kind prefix.
bool hasKind(const MusicItemID &id, const char *prefix);

} // namespace LocalIdentifiers
