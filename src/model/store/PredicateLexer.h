#pragma once

#include <QString>
#include <QVariant>

// One token of the predicate language.
struct PredicateToken {
    enum class Type {
        End,
        Word,                // identifier or keyword; `escaped` when written "#word"
        Number,              // `value` is a qint64, or a double when it has a fraction,
                             // an exponent or does not fit
        String,              // `value` is the unescaped text
        Variable,            // "$NAME"; `text` is NAME
        FormatSpecifier,     // "%K", "%@", "%ld", ...; `text` without the "%"
        CollectionOperator,  // "@count"; `text` with the "@"
        Symbol,              // punctuation and comparison operators, spelled as in
                             // `text` in their canonical form ("==", "!=", "<=", ">=")
    };
    Type type = Type::End;
    QString text;
    QVariant value;
    bool escaped = false;
    qsizetype position = 0;  // offset of the first character in the text

    bool isSymbol(QLatin1String symbol) const { return type == Type::Symbol && text == symbol; }
    // A keyword, in any case, unless escaped with "#".
    bool isKeyword(QLatin1String keyword) const {
        return type == Type::Word && !escaped && text.compare(keyword, Qt::CaseInsensitive) == 0;
    }
};

// Splits predicate text into tokens, one at a time. Strings are quoted with
// '"' or '\'' and take the escapes \\ \" \' \n \r \t \0 and \uXXXX; any other
// backslash stays as written (so LIKE patterns keep theirs). Throws
// PredicateError for text it cannot read, naming the offset.
class PredicateLexer {
public:
    explicit PredicateLexer(const QString &text) : m_text(text) {}
    PredicateToken next();

    // Words that the language reserves (in any case); a key with such a name
    // is written with a leading "#".
    static bool isReservedWord(const QString &word);
    // Letters, digits and "_", not starting with a digit.
    static bool isIdentifier(QStringView text);
    // Throws the PredicateError for `what` (e.g. "expected a value") at
    // `position` in `text`.
    [[noreturn]] static void fail(const QString &text, qsizetype position, const QString &what);

private:
    QChar peek(qsizetype ahead = 0) const {
        return m_pos + ahead < m_text.size() ? m_text[m_pos + ahead] : QChar();
    }
    PredicateToken word(bool escaped);
    PredicateToken number();
    PredicateToken string();
    PredicateToken formatSpecifier();
    PredicateToken symbol();
    char16_t escape(qsizetype start);

    const QString &m_text;
    qsizetype m_pos = 0;
};
