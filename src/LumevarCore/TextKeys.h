#pragma once
// The two derived forms of a text that the store indexes: a collation key, whose byte order is
// the order people expect of a sorted list, and a folded form for matching regardless of case
// and accents.

#include <QByteArray>
#include <QString>

namespace TextKeys {

// The text compared as localizedStandard: case-insensitive, digit runs by their value ("Track 2"
// before "Track 10"), accents after the base letters as the collation locale orders them. Keys
// compare with memcmp, so SQLite orders BLOB columns of them correctly and can index them.
// Thread-safe: each thread keeps its own collator.
QByteArray collationKey(const QString &text);

// The locale the keys are made for (the system's, or en_US when the system names none) with the
// collation library's version; keys stored under another value must be made again.
QString collationIdentity();

// Case-folded, accents and compatibility forms removed, runs of white space made one space and
// trimmed: "  Café  DEL Mar " becomes "cafe del mar".
QString fold(const QString &text);

// A 64-bit fingerprint of a folded text (FNV-1a over its UTF-16 code units): fixed for ever, as
// the store keeps it, and indexed in place of the text where only equality is asked.
qint64 foldHash(const QString &folded);

// The smallest text greater than every text that starts with prefix, in SQLite's BINARY order:
// bounds a prefix range scan over an index of folded texts.
QByteArray prefixUpperBound(const QByteArray &utf8Prefix);

} // namespace TextKeys
