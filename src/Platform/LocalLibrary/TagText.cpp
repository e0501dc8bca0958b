#include "Platform/LocalLibrary/TagText.h"

#include <QSet>

namespace TagText {

namespace {

bool changesDirection(char16_t c)
{
    return (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069) || c == 0x200E || c == 0x200F || c == 0x061C;
}

} // namespace

QString clean(const QString &text)
{
    QString cleaned;
    cleaned.reserve(text.size());
    bool pendingSpace = false;
    for (const QChar c : text) {
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
    return cleaned;
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
