#pragma once
// A forward reader over JSON text, for turning a large answer straight into items without first
// building a QJsonDocument and copying every text out of it. Strict: it accepts only well-formed
// JSON in UTF-8 (no lone surrogates in escapes, at most 512 levels deep), and once it meets
// anything else it stays failed and every call after that is a no-op. A caller that sees
// failed() hands the text to QJsonDocument instead, which then says what is wrong with it.
//
// Values are read in the order they come: peek() tells the next value's type, and each value is
// either read (string(), number(), boolean(), null()) or skipped whole (skip()); objects and
// arrays are entered and walked with nextMember() / nextElement().

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

class JsonReader {
public:
    enum class Type { invalid, null, boolean, number, string, array, object };

    explicit JsonReader(QByteArrayView text) : m_text(text) {}

    bool failed() const { return m_failed; }
    // The type of the next value; invalid at the end of the text or after a failure.
    Type peek();

    // Enters the object (or array) that comes next; fails when something else comes.
    void beginObject();
    void beginArray();
    // The next member's name (unescaped, UTF-8), positioned at its value; false at the object's
    // end, which it steps over, or on failure. The view lasts until the next call.
    bool nextMember(QByteArrayView &name);
    // Whether another element follows, positioned at it; false at the array's end (stepped over).
    bool nextElement();

    QString string();
    // The string that comes next as UTF-8 bytes, unescaped; valid until the next call.
    QByteArrayView stringBytes();
    double number();
    bool boolean();
    void null();
    void skip();
    // True when only white space is left: the whole text was one value.
    bool atEnd();

private:
    void fail() { m_failed = true; }
    void skipSpace();
    bool take(char c);
    void takeWord(const char *word, qsizetype size);
    // Whether the container entered last ends here (stepping over its end) rather than going on
    // with a comma (stepped over) or its first entry.
    bool containerEnds(char close);

    QByteArrayView m_text;
    qsizetype m_at = 0;
    bool m_failed = false;
    bool m_justOpened = false; // nothing read yet in the container entered last
    int m_depth = 0;
    QByteArray m_unescaped;
};
