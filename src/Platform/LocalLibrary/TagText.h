#pragma once
// Texts as tags hold them, made fit to show in one row: line breaks, tabs and other control
// characters become single spaces, the characters that change the writing direction of what
// follows (embeddings, overrides, isolates) are dropped, runs of white space shrink to one, and
// the ends are trimmed. Several artists are shown the way players show them.

#include <QString>
#include <QStringList>

namespace TagText {

// At most maxLength characters are kept (a pair of surrogates is not split); cut, when given, is
// set when some were not.
QString clean(const QString &text, bool *cut = nullptr);

// No real title, name or genre is longer; a text of many megabytes is a damaged or hostile tag.
inline constexpr qsizetype maxLength = 1000;

// Text read from a file of unknown origin, made safe to quote in a log line: control and format
// characters (terminal escapes, line breaks, direction changes) and unpaired surrogates shown as
// U+FFFD, and at most limit characters kept, "…" after.
QString quoted(const QString &text, qsizetype limit = 60);

// "A", "A & B", "A, B & C". Empty and repeated names (ignoring case) are left out.
QString joinArtists(const QStringList &names);

// The names of a list, cleaned, empty and repeated ones left out, in their order.
QStringList distinctNames(const QStringList &names);

// Track, disc and year numbers beyond this are taken as this.
inline constexpr int largestNumber = 9999;

} // namespace TagText
