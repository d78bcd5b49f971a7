#pragma once

#include <QString>
#include <QVariantList>
#include <optional>

#include "model/store/Predicate.h"
#include "model/store/PredicateLexer.h"

// Reads the predicate language into a Predicate (see Predicate::fromFormat),
// by recursive descent over the tokens of PredicateLexer:
//
//   predicate  := conjunction (("OR" | "||") conjunction)*
//   conjunction := negation (("AND" | "&&") negation)*
//   negation   := ("NOT" | "!") negation | "(" predicate ")"
//               | "TRUEPREDICATE" | "FALSEPREDICATE" | comparison
//   comparison := ["ANY" | "SOME" | "ALL" | "NONE"] expression operator ["[" options "]"]
//                 expression
//   expression := constant | keypath | "$" NAME | "{" [expression ("," expression)*] "}"
//               | "SELF" | "%K" | "%@" | ...
//   keypath    := (word | "%K" | "SELF") ("." (word | "@count" | "@min" | ...))*
//
// Nesting (parentheses, NOT, braces) is limited to kMaxDepth levels so that
// hostile text cannot exhaust the stack.
class PredicateParser {
public:
    static constexpr int kMaxDepth = 100;

    PredicateParser(const QString &format, const QVariantList &arguments);
    Predicate parse();

private:
    Predicate disjunction();
    Predicate conjunction();
    // The operands of a run of one binary operator, spelled `keyword` or `symbol`.
    QList<Predicate> chain(QLatin1String keyword, QLatin1String symbol,
                           Predicate (PredicateParser::*operand)());
    Predicate negation();
    Predicate comparison();
    std::optional<ComparisonOperator> comparisonOperator() const;
    int comparisonOptions();
    Expression expression();
    Expression aggregate();
    Expression keyPath(QString path);
    Expression date();
    Expression formatArgument();
    void checkRightSide(ComparisonOperator op, int options, const Expression &rhs,
                        qsizetype position) const;

    void advance() { m_token = m_lexer.next(); }
    void expectSymbol(QLatin1String symbol, const QString &what);
    void enter();
    void leave() { --m_depth; }
    [[noreturn]] void fail(const QString &what) const { fail(what, m_token.position); }
    [[noreturn]] void fail(const QString &what, qsizetype position) const {
        PredicateLexer::fail(m_format, position, what);
    }

    const QString &m_format;
    const QVariantList &m_arguments;
    PredicateLexer m_lexer;
    PredicateToken m_token;
    qsizetype m_nextArgument = 0;
    int m_depth = 0;
};
