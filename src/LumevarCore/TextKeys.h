#pragma once
// The two derived forms of a text that the store indexes: a collation key, whose byte order is
// the order people expect of a sorted list, and a folded form for matching regardless of case
// and accents.

#include <QByteArray>
#include <QHash>
#include <QMutex>
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

// Collation keys and folded forms of the texts that repeat from song to song (artists, albums,
// genres): made once per text rather than once per song. Each store owns one, shared by the pool
// threads that prepare a sync's pages and the store's thread, kept for a sync and forgotten at
// its end. A table per thread lived as long as its thread and its entries, made among the pages'
// data of a sync, held that data's freed pages in memory after the sync; one table for the
// process let one store's end of sync empty another's. Thread-safe.
class RepeatedTexts {
public:
    QByteArray key(const QString &text);
    QString fold(const QString &text);
    void forget();
    // How many texts it holds (keys and folds).
    qsizetype size() const;
    // Past this many texts a table starts again: a bound on the memory, not a cache policy
    // (libraries repeat few texts).
    static constexpr qsizetype maxTexts = 50'000;

private:
    template <typename Value>
    Value derived(QHash<QString, Value> &known, const QString &text, Value (*make)(const QString &));
    mutable QMutex m_mutex;
    QHash<QString, QByteArray> m_keys;
    QHash<QString, QString> m_folds;
};

} // namespace TextKeys
