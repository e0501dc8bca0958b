#include "Platform/Subsonic/JsonReader.h"

#include <charconv>
#include <cmath>

namespace {

// Deeper nesting than any answer has is refused, so that skipping stays within the stack.
constexpr int deepestNesting = 512;

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

void appendUtf8(QByteArray &out, char32_t c)
{
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xc0 | (c >> 6));
        out += char(0x80 | (c & 0x3f));
    } else if (c < 0x10000) {
        out += char(0xe0 | (c >> 12));
        out += char(0x80 | ((c >> 6) & 0x3f));
        out += char(0x80 | (c & 0x3f));
    } else {
        out += char(0xf0 | (c >> 18));
        out += char(0x80 | ((c >> 12) & 0x3f));
        out += char(0x80 | ((c >> 6) & 0x3f));
        out += char(0x80 | (c & 0x3f));
    }
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

} // namespace

void JsonReader::skipSpace()
{
    while (m_at < m_text.size()) {
        const char c = m_text[m_at];
        if (c != ' ' && c != '\n' && c != '\r' && c != '\t')
            return;
        ++m_at;
    }
}

bool JsonReader::take(char c)
{
    skipSpace();
    if (m_at < m_text.size() && m_text[m_at] == c) {
        ++m_at;
        return true;
    }
    return false;
}

void JsonReader::takeWord(const char *word, qsizetype size)
{
    skipSpace();
    if (m_text.sliced(m_at).startsWith(QByteArrayView(word, size)))
        m_at += size;
    else
        fail();
}

JsonReader::Type JsonReader::peek()
{
    skipSpace();
    if (m_failed || m_at >= m_text.size())
        return Type::invalid;
    switch (m_text[m_at]) {
    case '{': return Type::object;
    case '[': return Type::array;
    case '"': return Type::string;
    case 't':
    case 'f': return Type::boolean;
    case 'n': return Type::null;
    case '-': return Type::number;
    default: return isDigit(m_text[m_at]) ? Type::number : Type::invalid;
    }
}

void JsonReader::beginObject()
{
    if (m_failed || !take('{') || ++m_depth > deepestNesting)
        return fail();
    m_justOpened = true;
}

void JsonReader::beginArray()
{
    if (m_failed || !take('[') || ++m_depth > deepestNesting)
        return fail();
    m_justOpened = true;
}

bool JsonReader::containerEnds(char close)
{
    if (take(close)) {
        --m_depth;
        m_justOpened = false;
        return true;
    }
    if (!std::exchange(m_justOpened, false) && !take(','))
        fail();
    return m_failed;
}

bool JsonReader::nextMember(QByteArrayView &name)
{
    if (m_failed || containerEnds('}'))
        return false;
    if (peek() != Type::string)
        return fail(), false;
    name = stringBytes();
    if (!take(':'))
        fail();
    return !m_failed;
}

bool JsonReader::nextElement()
{
    if (m_failed || containerEnds(']'))
        return false;
    return true;
}

// A view of the text itself when the string holds no escape, else of m_unescaped.
QByteArrayView JsonReader::stringBytes()
{
    if (peek() != Type::string) {
        fail();
        return {};
    }
    const qsizetype begin = ++m_at;
    bool ascii = true;
    // The common case: no escape, so the text's own bytes are the string's.
    while (m_at < m_text.size()) {
        const uchar c = uchar(m_text[m_at]);
        if (c == '"' || c == '\\' || c < 0x20)
            break;
        ascii = ascii && c < 0x80;
        ++m_at;
    }
    if (m_at >= m_text.size() || uchar(m_text[m_at]) < 0x20) {
        fail();
        return {};
    }
    QByteArrayView bytes = m_text.sliced(begin, m_at - begin);
    if (m_text[m_at] == '\\') {
        m_unescaped.resize(0);
        m_unescaped.append(bytes.data(), bytes.size());
        while (m_at < m_text.size() && m_text[m_at] != '"') {
            const uchar c = uchar(m_text[m_at]);
            if (c < 0x20) {
                fail();
                return {};
            }
            if (c != '\\') {
                ascii = ascii && c < 0x80;
                m_unescaped += char(c);
                ++m_at;
                continue;
            }
            if (m_at + 1 >= m_text.size()) {
                fail();
                return {};
            }
            const char escape = m_text[m_at + 1];
            m_at += 2;
            switch (escape) {
            case '"': m_unescaped += '"'; break;
            case '\\': m_unescaped += '\\'; break;
            case '/': m_unescaped += '/'; break;
            case 'b': m_unescaped += '\b'; break;
            case 'f': m_unescaped += '\f'; break;
            case 'n': m_unescaped += '\n'; break;
            case 'r': m_unescaped += '\r'; break;
            case 't': m_unescaped += '\t'; break;
            case 'u': {
                auto unit = [this]() -> int {
                    if (m_at + 4 > m_text.size())
                        return -1;
                    int value = 0;
                    for (int i = 0; i < 4; ++i) {
                        const int digit = hexValue(m_text[m_at + i]);
                        if (digit < 0)
                            return -1;
                        value = value * 16 + digit;
                    }
                    m_at += 4;
                    return value;
                };
                int code = unit();
                if (code >= 0xdc00 && code <= 0xdfff)
                    code = -1; // a low surrogate without its high one
                if (code >= 0xd800 && code <= 0xdbff) {
                    // A high surrogate must be followed by its low one, as another escape.
                    int low = -1;
                    if (m_text.sliced(m_at).startsWith("\\u")) {
                        m_at += 2;
                        low = unit();
                    }
                    code = low >= 0xdc00 && low <= 0xdfff ? 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00) : -1;
                }
                if (code < 0) {
                    fail();
                    return {};
                }
                appendUtf8(m_unescaped, char32_t(code));
                break;
            }
            default:
                fail();
                return {};
            }
        }
        if (m_at >= m_text.size()) {
            fail();
            return {};
        }
        bytes = m_unescaped;
    }
    ++m_at; // the closing quote
    if (!ascii && !bytes.isValidUtf8()) {
        fail();
        return {};
    }
    return bytes;
}

QString JsonReader::string()
{
    const QByteArrayView bytes = stringBytes();
    return m_failed ? QString() : QString::fromUtf8(bytes);
}

double JsonReader::number()
{
    if (peek() != Type::number) {
        fail();
        return 0;
    }
    // -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
    const qsizetype begin = m_at;
    const auto digits = [this] {
        const qsizetype from = m_at;
        while (m_at < m_text.size() && isDigit(m_text[m_at]))
            ++m_at;
        return m_at - from;
    };
    if (m_text[m_at] == '-')
        ++m_at;
    const qsizetype whole = m_at;
    if (digits() == 0 || (m_text[whole] == '0' && m_at - whole > 1))
        return fail(), 0;
    if (m_at < m_text.size() && m_text[m_at] == '.') {
        ++m_at;
        if (digits() == 0)
            return fail(), 0;
    }
    if (m_at < m_text.size() && (m_text[m_at] == 'e' || m_text[m_at] == 'E')) {
        ++m_at;
        if (m_at < m_text.size() && (m_text[m_at] == '+' || m_text[m_at] == '-'))
            ++m_at;
        if (digits() == 0)
            return fail(), 0;
    }
    double value = 0;
    const auto [end, error] = std::from_chars(m_text.data() + begin, m_text.data() + m_at, value);
    if (error != std::errc() || end != m_text.data() + m_at || !std::isfinite(value))
        return fail(), 0;
    return value;
}

bool JsonReader::boolean()
{
    skipSpace();
    if (m_at < m_text.size() && m_text[m_at] == 't') {
        takeWord("true", 4);
        return !m_failed;
    }
    takeWord("false", 5);
    return false;
}

void JsonReader::null() { takeWord("null", 4); }

void JsonReader::skip()
{
    switch (peek()) {
    case Type::object: {
        beginObject();
        QByteArrayView name;
        while (nextMember(name))
            skip();
        break;
    }
    case Type::array:
        beginArray();
        while (nextElement())
            skip();
        break;
    case Type::string: stringBytes(); break;
    case Type::number: number(); break;
    case Type::boolean: boolean(); break;
    case Type::null: null(); break;
    case Type::invalid: fail(); break;
    }
}

bool JsonReader::atEnd()
{
    skipSpace();
    return !m_failed && m_at == m_text.size();
}
