#include "model/store/PredicateLexer.h"

#include <array>
#include <cmath>

#include "model/store/Predicate.h"

namespace {

bool isWordStart(QChar c) {
    return c.isLetter() || c == QLatin1Char('_');
}
bool isWordPart(QChar c) {
    return c.isLetterOrNumber() || c == QLatin1Char('_');
}
bool isDigit(QChar c) {
    return c >= QLatin1Char('0') && c <= QLatin1Char('9');
}

}  // namespace

bool PredicateLexer::isReservedWord(const QString &word) {
    static const std::array<QLatin1String, 23> words = {
        QLatin1String("AND"),
        QLatin1String("OR"),
        QLatin1String("NOT"),
        QLatin1String("IN"),
        QLatin1String("CONTAINS"),
        QLatin1String("BEGINSWITH"),
        QLatin1String("ENDSWITH"),
        QLatin1String("LIKE"),
        QLatin1String("MATCHES"),
        QLatin1String("BETWEEN"),
        QLatin1String("ANY"),
        QLatin1String("SOME"),
        QLatin1String("ALL"),
        QLatin1String("NONE"),
        QLatin1String("SELF"),
        QLatin1String("NIL"),
        QLatin1String("NULL"),
        QLatin1String("TRUE"),
        QLatin1String("YES"),
        QLatin1String("FALSE"),
        QLatin1String("NO"),
        QLatin1String("TRUEPREDICATE"),
        QLatin1String("FALSEPREDICATE"),
    };
    for (QLatin1String reserved : words) {
        if (word.compare(reserved, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

bool PredicateLexer::isIdentifier(QStringView text) {
    if (text.isEmpty() || !isWordStart(text.front()))
        return false;
    for (QChar c : text) {
        if (!isWordPart(c))
            return false;
    }
    return true;
}

void PredicateLexer::fail(const QString &text, qsizetype position, const QString &what) {
    throw PredicateError(QStringLiteral("cannot read predicate \"%1\": %2 at offset %3")
                             .arg(text, what)
                             .arg(position)
                             .toStdString());
}

PredicateToken PredicateLexer::next() {
    while (peek().isSpace())
        ++m_pos;
    const QChar c = peek();
    if (m_pos >= m_text.size())
        return {PredicateToken::Type::End, {}, {}, false, m_pos};
    if (isWordStart(c))
        return word(false);
    if (c == QLatin1Char('#') && isWordStart(peek(1))) {
        ++m_pos;
        return word(true);
    }
    if (isDigit(c) || (c == QLatin1Char('-') && isDigit(peek(1))))
        return number();
    if (c == QLatin1Char('"') || c == QLatin1Char('\''))
        return string();
    if (c == QLatin1Char('%'))
        return formatSpecifier();
    if ((c == QLatin1Char('$') || c == QLatin1Char('@')) && isWordStart(peek(1))) {
        const qsizetype start = m_pos++;
        PredicateToken token = word(false);
        token.position = start;
        if (c == QLatin1Char('$')) {
            token.type = PredicateToken::Type::Variable;
        } else {
            token.type = PredicateToken::Type::CollectionOperator;
            token.text.prepend(c);
        }
        return token;
    }
    return symbol();
}

PredicateToken PredicateLexer::word(bool escaped) {
    const qsizetype start = m_pos;
    while (isWordPart(peek()))
        ++m_pos;
    return {PredicateToken::Type::Word,
            m_text.mid(start, m_pos - start),
            {},
            escaped,
            escaped ? start - 1 : start};
}

PredicateToken PredicateLexer::number() {
    const qsizetype start = m_pos;
    if (peek() == QLatin1Char('-'))
        ++m_pos;
    while (isDigit(peek()))
        ++m_pos;
    bool real = false;
    if (peek() == QLatin1Char('.') && isDigit(peek(1))) {
        real = true;
        m_pos += 1;
        while (isDigit(peek()))
            ++m_pos;
    }
    if (peek().toLower() == QLatin1Char('e')) {
        const qsizetype sign = peek(1) == QLatin1Char('+') || peek(1) == QLatin1Char('-') ? 1 : 0;
        if (isDigit(peek(1 + sign))) {
            real = true;
            m_pos += 1 + sign;
            while (isDigit(peek()))
                ++m_pos;
        }
    }
    if (isWordPart(peek()))
        fail(m_text, m_pos, QStringLiteral("unexpected letter in a number"));
    const QStringView digits = QStringView(m_text).mid(start, m_pos - start);
    PredicateToken token{PredicateToken::Type::Number, digits.toString(), {}, false, start};
    bool ok = false;
    if (!real) {
        const qint64 integer = digits.toLongLong(&ok);
        if (ok)
            token.value = integer;
    }
    if (!ok) {
        const double value = digits.toDouble(&ok);
        if (!ok || !std::isfinite(value))
            fail(m_text, start, QStringLiteral("number out of range"));
        token.value = value;
    }
    return token;
}

char16_t PredicateLexer::escape(qsizetype start) {
    const QChar c = peek();
    ++m_pos;
    switch (c.unicode()) {
        case 'n':
            return u'\n';
        case 'r':
            return u'\r';
        case 't':
            return u'\t';
        case '0':
            return u'\0';
        case 'u': {
            char16_t code = 0;
            for (int i = 0; i < 4; ++i) {
                const char16_t h = peek().toLower().unicode();
                const int digit = h >= u'0' && h <= u'9'   ? h - u'0'
                                  : h >= u'a' && h <= u'f' ? h - u'a' + 10
                                                           : -1;
                if (digit < 0)
                    fail(m_text, start, QStringLiteral("expected four hex digits after \\u"));
                code = char16_t(code * 16 + digit);
                ++m_pos;
            }
            return code;
        }
        default:
            return c.unicode();
    }
}

PredicateToken PredicateLexer::string() {
    const qsizetype start = m_pos;
    const QChar quote = m_text[m_pos++];
    QString value;
    for (;;) {
        if (m_pos >= m_text.size())
            fail(m_text, start, QStringLiteral("unterminated string"));
        const QChar c = m_text[m_pos++];
        if (c == quote)
            break;
        if (c != QLatin1Char('\\')) {
            value += c;
            continue;
        }
        if (m_pos >= m_text.size())
            fail(m_text, start, QStringLiteral("unterminated string"));
        const QChar escaped = peek();
        if (escaped == QLatin1Char('\\') || escaped == QLatin1Char('"') ||
            escaped == QLatin1Char('\'') || QStringView(u"nrt0u").contains(escaped)) {
            value += QChar(escape(m_pos - 1));
        } else {
            value += c;  // not an escape: the backslash stays
        }
    }
    return {PredicateToken::Type::String, m_text.mid(start, m_pos - start), value, false, start};
}

PredicateToken PredicateLexer::formatSpecifier() {
    const qsizetype start = m_pos++;
    static const std::array<QLatin1String, 14> specifiers = {
        QLatin1String("K"),  QLatin1String("@"),  QLatin1String("lld"), QLatin1String("llu"),
        QLatin1String("ld"), QLatin1String("lu"), QLatin1String("lf"),  QLatin1String("d"),
        QLatin1String("i"),  QLatin1String("u"),  QLatin1String("f"),   QLatin1String("g"),
        QLatin1String("s"),  QLatin1String("c"),
    };
    for (QLatin1String specifier : specifiers) {
        if (QStringView(m_text).mid(m_pos).startsWith(specifier)) {
            m_pos += specifier.size();
            return {PredicateToken::Type::FormatSpecifier, specifier, {}, false, start};
        }
    }
    fail(m_text, start, QStringLiteral("unknown format specifier"));
}

PredicateToken PredicateLexer::symbol() {
    const qsizetype start = m_pos;
    // Longest spellings first; each maps to its canonical form.
    static const std::array<std::pair<QLatin1String, QLatin1String>, 21> symbols = {{
        {QLatin1String("=="), QLatin1String("==")}, {QLatin1String("!="), QLatin1String("!=")},
        {QLatin1String("<>"), QLatin1String("!=")}, {QLatin1String("<="), QLatin1String("<=")},
        {QLatin1String("=<"), QLatin1String("<=")}, {QLatin1String(">="), QLatin1String(">=")},
        {QLatin1String("=>"), QLatin1String(">=")}, {QLatin1String("&&"), QLatin1String("&&")},
        {QLatin1String("||"), QLatin1String("||")}, {QLatin1String("="), QLatin1String("==")},
        {QLatin1String("<"), QLatin1String("<")},   {QLatin1String(">"), QLatin1String(">")},
        {QLatin1String("!"), QLatin1String("!")},   {QLatin1String("("), QLatin1String("(")},
        {QLatin1String(")"), QLatin1String(")")},   {QLatin1String("{"), QLatin1String("{")},
        {QLatin1String("}"), QLatin1String("}")},   {QLatin1String(","), QLatin1String(",")},
        {QLatin1String("."), QLatin1String(".")},   {QLatin1String("["), QLatin1String("[")},
        {QLatin1String("]"), QLatin1String("]")},
    }};
    for (const auto &[spelling, canonical] : symbols) {
        if (QStringView(m_text).mid(m_pos).startsWith(spelling)) {
            m_pos += spelling.size();
            return {PredicateToken::Type::Symbol, canonical, {}, false, start};
        }
    }
    fail(m_text, start, QStringLiteral("unexpected character '%1'").arg(peek()));
}
