#include "model/StringsFile.h"

#include <stdexcept>

namespace StringsFile {
namespace {

QString quotedEntry(const QString &text) {
    QString out = QStringLiteral("\"");
    for (const QChar c : text) {
        switch (c.unicode()) {
            case '"':
                out += QStringLiteral("\\\"");
                break;
            case '\\':
                out += QStringLiteral("\\\\");
                break;
            case '\n':
                out += QStringLiteral("\\n");
                break;
            case '\t':
                out += QStringLiteral("\\t");
                break;
            case '\r':
                out += QStringLiteral("\\r");
                break;
            default:
                if (c.unicode() < 0x20)
                    out += QStringLiteral("\\U%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
                else
                    out += c;
        }
    }
    return out + QLatin1Char('"');
}

class ParseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class Reader {
public:
    explicit Reader(const QString &text) : m_text(text) {}

    QVariantMap read() {
        QVariantMap dictionary;
        for (skipSpace(); !atEnd(); skipSpace()) {
            const QString key = string();
            skipSpace();
            QString value = key;
            if (peek() == QLatin1Char('=')) {
                ++m_pos;
                skipSpace();
                value = string();
                skipSpace();
            }
            expect(QLatin1Char(';'));
            dictionary.insert(key, value);
        }
        return dictionary;
    }

    int line() const { return int(m_text.left(m_pos).count(QLatin1Char('\n'))) + 1; }

private:
    bool atEnd() const { return m_pos >= m_text.size(); }
    QChar peek(qsizetype ahead = 0) const {
        return m_pos + ahead < m_text.size() ? m_text[m_pos + ahead] : QChar();
    }
    [[noreturn]] void fail(const char *reason) const { throw ParseError(reason); }

    void expect(QChar c) {
        if (peek() != c)
            fail(c == QLatin1Char(';') ? "expected ';'" : "unexpected character");
        ++m_pos;
    }

    void skipSpace() {
        while (!atEnd()) {
            if (peek().isSpace()) {
                ++m_pos;
            } else if (peek() == QLatin1Char('/') && peek(1) == QLatin1Char('*')) {
                const qsizetype end = m_text.indexOf(QStringLiteral("*/"), m_pos + 2);
                if (end < 0)
                    fail("unterminated comment");
                m_pos = end + 2;
            } else if (peek() == QLatin1Char('/') && peek(1) == QLatin1Char('/')) {
                const qsizetype end = m_text.indexOf(QLatin1Char('\n'), m_pos);
                m_pos = end < 0 ? m_text.size() : end + 1;
            } else {
                return;
            }
        }
    }

    static bool isUnquotedCharacter(QChar c) {
        return c.isLetterOrNumber() || QStringLiteral("_$:/.-").contains(c);
    }

    QString string() {
        if (peek() == QLatin1Char('"'))
            return quotedString();
        const qsizetype start = m_pos;
        while (!atEnd() && isUnquotedCharacter(peek()))
            ++m_pos;
        if (m_pos == start)
            fail(atEnd() ? "unexpected end of text" : "expected a string");
        return m_text.mid(start, m_pos - start);
    }

    QString quotedString() {
        ++m_pos;
        QString out;
        for (;;) {
            if (atEnd())
                fail("unterminated string");
            const QChar c = m_text[m_pos++];
            if (c == QLatin1Char('"'))
                return out;
            if (c != QLatin1Char('\\')) {
                out += c;
                continue;
            }
            if (atEnd())
                fail("unterminated string");
            out += escape(m_text[m_pos++]);
        }
    }

    QChar escape(QChar c) {
        switch (c.unicode()) {
            case 'n':
                return QLatin1Char('\n');
            case 't':
                return QLatin1Char('\t');
            case 'r':
                return QLatin1Char('\r');
            case 'a':
                return QChar(7);
            case 'b':
                return QChar(8);
            case 'f':
                return QChar(12);
            case 'v':
                return QChar(11);
            case 'u':
            case 'U':
                return QChar(char16_t(number(16, 4, 4)));
            default:
                break;
        }
        if (c >= QLatin1Char('0') && c <= QLatin1Char('7')) {
            --m_pos;
            return QChar(char16_t(number(8, 1, 3)));
        }
        return c;  // \" \\ \' and any other character stand for themselves
    }

    // `minimum` to `maximum` digits of the base.
    uint number(int base, int minimum, int maximum) {
        uint value = 0;
        int digits = 0;
        for (; digits < maximum && !atEnd(); ++digits, ++m_pos) {
            bool ok = false;
            const uint digit = QString(peek()).toUInt(&ok, base);
            if (!ok)
                break;
            value = value * uint(base) + digit;
        }
        if (digits < minimum)
            fail("bad escape sequence");
        return value;
    }

    const QString &m_text;
    qsizetype m_pos = 0;
};

}  // namespace

QString stringsFileFormatFromDictionary(const QVariantMap &dictionary) {
    QString text;
    for (auto it = dictionary.cbegin(); it != dictionary.cend(); ++it)
        text += quotedEntry(it.key()) + QStringLiteral(" = ") + quotedEntry(it.value().toString()) +
                QStringLiteral(";\n");
    return text;
}

std::optional<QVariantMap> propertyListFromStringsFileFormat(const QString &text, QString *error) {
    Reader reader(text);
    try {
        return reader.read();
    } catch (const ParseError &failure) {
        if (error)
            *error = QStringLiteral("%1 at line %2")
                         .arg(QString::fromUtf8(failure.what()))
                         .arg(reader.line());
        return std::nullopt;
    }
}

}  // namespace StringsFile
