#include "Platform/LocalLibrary/TagText.h"

#include <QSet>

#include <algorithm>

namespace TagText {

namespace {

bool changesDirection(char16_t c)
{
    return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x200E || c == 0x200F || c == 0x061C;
}

} // namespace

QString clean(const QString &text, bool *cut)
{
    QString cleaned;
    cleaned.reserve(std::min(text.size(), maxLength + 1));
    bool pendingSpace = false;
    qsizetype read = 0;
    for (const QChar c : text) {
        if (cleaned.size() >= maxLength)
            break;
        ++read;
        const char16_t u = c.unicode();
        if (changesDirection(u) || u == 0xFEFF)
            continue;
        if (c.isSpace() || c.category() == QChar::Other_Control) {
            pendingSpace = !cleaned.isEmpty();
            continue;
        }
        if (pendingSpace) {
            cleaned.append(u' ');
            pendingSpace = false;
        }
        cleaned.append(c);
    }
    if (cut)
        *cut = read < text.size() || cleaned.size() > maxLength;
    if (cleaned.size() > maxLength)
        cleaned.truncate(maxLength);
    if (!cleaned.isEmpty() && cleaned.back().isHighSurrogate())
        cleaned.chop(1); // half of a pair cut off
    if (!cleaned.isEmpty() && cleaned.back() == u' ')
        cleaned.chop(1);
    return cleaned;
}

QString quoted(const QString &text, qsizetype limit)
{
    const bool cut = text.size() > limit;
    QString safe = text.left(limit);
    for (qsizetype i = 0; i < safe.size(); ++i) {
        const QChar c = safe[i];
        if (c.isHighSurrogate() && i + 1 < safe.size() && safe[i + 1].isLowSurrogate()) {
            ++i; // a whole pair
            continue;
        }
        if (c.isSurrogate() || c.category() == QChar::Other_Control || c.category() == QChar::Other_Format)
            safe[i] = QChar::ReplacementCharacter;
    }
    return cut ? safe + QStringLiteral("…") : safe;
}

QStringList distinctNames(const QStringList &names)
{
    QStringList result;
    QSet<QString> seen;
    for (const QString &name : names) {
        const QString cleaned = clean(name);
        if (cleaned.isEmpty())
            continue;
        const QString key = cleaned.toCaseFolded();
        if (seen.contains(key))
            continue;
        seen.insert(key);
        result.append(cleaned);
    }
    return result;
}

QString joinArtists(const QStringList &names)
{
    const QStringList distinct = distinctNames(names);
    if (distinct.size() <= 1)
        return distinct.value(0);
    return distinct.first(distinct.size() - 1).join(QStringLiteral(", ")) + QStringLiteral(" & ") + distinct.last();
}

} // namespace TagText
