#include "LumevarCore/TextKeys.h"

#include <QLocale>

#include <memory>
#include <unicode/ucol.h>
#include <unicode/uversion.h>

namespace {

QByteArray collationLocale()
{
    // The C and POSIX locales name no language, and ICU's root collation would be used; en_US is
    // the closest match to what a user of such a machine expects.
    const QString name = QLocale::system().name();
    if (name.isEmpty() || name == QLatin1String("C") || name == QLatin1String("POSIX"))
        return QByteArrayLiteral("en_US");
    return name.toLatin1();
}

struct CollatorDeleter {
    void operator()(UCollator *collator) const { ucol_close(collator); }
};

class Collator {
public:
    Collator()
    {
        UErrorCode status = U_ZERO_ERROR;
        m_collator.reset(ucol_open(collationLocale().constData(), &status));
        if (U_FAILURE(status) || !m_collator) {
            status = U_ZERO_ERROR;
            m_collator.reset(ucol_open("", &status));
        }
        if (!m_collator)
            return;
        // Secondary strength: base letters, then accents; case never decides.
        status = U_ZERO_ERROR;
        ucol_setStrength(m_collator.get(), UCOL_SECONDARY);
        ucol_setAttribute(m_collator.get(), UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    }

    QByteArray key(const QString &text)
    {
        if (!m_collator)
            return fold(text);
        const auto *source = reinterpret_cast<const UChar *>(text.utf16());
        const int32_t length = int32_t(text.size());
        QByteArray buffer(qMax<qsizetype>(64, text.size() * 4), Qt::Uninitialized);
        int32_t needed = ucol_getSortKey(m_collator.get(), source, length,
                                         reinterpret_cast<uint8_t *>(buffer.data()), int32_t(buffer.size()));
        if (needed > buffer.size()) {
            buffer.resize(needed);
            needed = ucol_getSortKey(m_collator.get(), source, length,
                                     reinterpret_cast<uint8_t *>(buffer.data()), int32_t(buffer.size()));
        }
        // The key ends with a zero byte that adds nothing to the order.
        buffer.resize(qMax(0, needed - 1));
        return buffer;
    }

private:
    static QByteArray fold(const QString &text) { return TextKeys::fold(text).toUtf8(); }
    std::unique_ptr<UCollator, CollatorDeleter> m_collator;
};

} // namespace

namespace TextKeys {

QByteArray collationKey(const QString &text)
{
    thread_local Collator collator;
    return collator.key(text);
}

QString collationIdentity()
{
    return QString::fromLatin1(collationLocale()) + QLatin1Char('/') + QStringLiteral(U_ICU_VERSION);
}

// fold() of plain ASCII in one pass: lower case, white space runs made one space, trimmed.
static QString foldASCII(const QString &text)
{
    QString folded(text.size(), Qt::Uninitialized);
    QChar *out = folded.data();
    qsizetype length = 0;
    bool pendingSpace = false;
    for (QChar c : text) {
        char16_t u = c.unicode();
        if (u == ' ' || (u >= '\t' && u <= '\r')) {
            pendingSpace = length > 0;
            continue;
        }
        if (pendingSpace) {
            out[length++] = QLatin1Char(' ');
            pendingSpace = false;
        }
        if (u >= 'A' && u <= 'Z')
            u = char16_t(u + ('a' - 'A'));
        out[length++] = QChar(u);
    }
    folded.truncate(length);
    return folded;
}

QString fold(const QString &text)
{
    // Plain ASCII needs no decomposition: the common case stays cheap.
    bool ascii = true;
    for (QChar c : text) {
        if (c.unicode() >= 0x80) {
            ascii = false;
            break;
        }
    }
    if (ascii)
        return foldASCII(text);
    QString stripped;
    {
        const QString decomposed = text.normalized(QString::NormalizationForm_KD);
        stripped.reserve(decomposed.size());
        for (QChar c : decomposed) {
            const auto category = c.category();
            if (category != QChar::Mark_NonSpacing && category != QChar::Mark_Enclosing)
                stripped.append(c);
        }
    }
    return stripped.toCaseFolded().simplified();
}

qint64 foldHash(const QString &folded)
{
    quint64 hash = 14695981039346656037ULL;
    for (const QChar c : folded) {
        hash ^= c.unicode();
        hash *= 1099511628211ULL;
    }
    return qint64(hash);
}

QByteArray prefixUpperBound(const QByteArray &utf8Prefix)
{
    // U+10FFFF encoded: no valid UTF-8 text continues a prefix with anything greater.
    return utf8Prefix + QByteArrayLiteral("\xF4\x8F\xBF\xBF");
}

template <typename Value>
Value RepeatedTexts::derived(QHash<QString, Value> &known, const QString &text, Value (*make)(const QString &))
{
    {
        const QMutexLocker locker(&m_mutex);
        const auto found = known.constFind(text);
        if (found != known.constEnd())
            return found.value();
    }
    // Made outside the lock: two threads may make the same one, and both get it.
    Value value = make(text);
    const QMutexLocker locker(&m_mutex);
    if (known.size() >= maxTexts)
        known.clear();
    known.insert(text, value);
    return value;
}

QByteArray RepeatedTexts::key(const QString &text) { return derived(m_keys, text, collationKey); }

QString RepeatedTexts::fold(const QString &text) { return derived(m_folds, text, TextKeys::fold); }

void RepeatedTexts::forget()
{
    const QMutexLocker locker(&m_mutex);
    m_keys = {};
    m_folds = {};
}

qsizetype RepeatedTexts::size() const
{
    const QMutexLocker locker(&m_mutex);
    return m_keys.size() + m_folds.size();
}

} // namespace TextKeys
