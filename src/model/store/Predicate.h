#pragma once

#include <QList>
#include <QString>
#include <QVariant>
#include <memory>
#include <stdexcept>

#include "model/store/Expression.h"

class KeyValueCoding;

enum class ComparisonOperator {
    Equal,
    NotEqual,
    Less,
    LessOrEqual,
    Greater,
    GreaterOrEqual,
    In,        // lhs is one of the members of rhs (aggregate or collection)
    Contains,  // string lhs contains rhs, or collection lhs has rhs as member
    BeginsWith,
    EndsWith,
    Like,     // "?" one character, "*" any run
    Matches,  // regular expression, whole string
    Between,  // rhs is an aggregate {low, high}, both inclusive
};

enum ComparisonOption {
    CaseInsensitive = 1,       // [c]
    DiacriticInsensitive = 2,  // [d]
};

enum class ComparisonModifier {
    Direct,
    Any,  // ANY / SOME: true when some member of a to-many lhs satisfies it
    All,  // ALL: every member
    None  // NONE: no member
};

class PredicateError : public std::invalid_argument {
public:
    using std::invalid_argument::invalid_argument;
};

// A logical condition on an object, as an immutable expression tree. It can be
// printed, parsed back, evaluated in memory (so that unsaved changes are
// found), and compiled to SQL by the store (so that fetches use the indexes).
// Copies share their tree.
class Predicate {
public:
    enum class Kind { True, False, Comparison, And, Or, Not };

    Predicate();  // TRUEPREDICATE
    static Predicate truePredicate();
    static Predicate falsePredicate();
    static Predicate comparison(const Expression &lhs, ComparisonOperator op, const Expression &rhs,
                                int options = 0,
                                ComparisonModifier modifier = ComparisonModifier::Direct);
    static Predicate andPredicate(const QList<Predicate> &subpredicates);
    static Predicate orPredicate(const QList<Predicate> &subpredicates);
    static Predicate notPredicate(const Predicate &predicate);

    // Parses the predicate language:
    //   a == 1, a = 1, a != nil, a <> 2, a < b, a <= 3, a => 4, a IN {1, 2}, a IN %@,
    //   a CONTAINS[cd] "x", a BEGINSWITH 'y', a ENDSWITH "z", a LIKE[c] "a*",
    //   a MATCHES "re", a BETWEEN {1, 5}, ANY a.b == 1, ALL ..., NONE ..., SOME ...,
    //   NOT p, !p, p AND q, p && q, p OR q, p || q, (p), TRUEPREDICATE, FALSEPREDICATE,
    //   key paths with @count/@min/@max/@sum/@avg, SELF, nil/NULL, TRUE/YES/FALSE/NO,
    //   numbers, quoted strings with backslash escapes, $VARIABLE.
    // Format arguments are consumed in order: %K takes a key path (a string),
    // %@ %d %i %ld %lld %u %f %g %s %c take values (any QVariant: numbers,
    // strings, dates, objects, lists). Throws PredicateError with the position
    // and reason for text it cannot read or arguments that do not match.
    static Predicate fromFormat(const QString &format, const QVariantList &arguments = {});

    Kind kind() const;
    const QList<Predicate> &subpredicates() const;  // And, Or: all; Not: one
    const Expression &leftExpression() const;
    const Expression &rightExpression() const;
    ComparisonOperator comparisonOperator() const;
    int options() const;
    ComparisonModifier modifier() const;

    // A copy with every "$NAME" replaced by the value in `variables`. Throws
    // PredicateError naming a variable that has no value there.
    Predicate withSubstitutionVariables(const QVariantMap &variables) const;
    bool hasVariables() const;

    // Text in the predicate language that fromFormat reads back to an equal
    // predicate (constant objects print as their description).
    QString description() const;

    // Evaluates in memory. Unsubstituted variables are an error
    // (PredicateError). Comparisons follow the store's: numbers and booleans
    // compare by value, strings by Unicode code points (or folded with the
    // options), dates in time order, objects by identity; nil equals only nil
    // and orders before everything. A key path through a to-many relationship
    // compares like ANY unless ALL or NONE is given.
    bool evaluate(const KeyValueCoding *object) const;

    bool operator==(const Predicate &other) const;

private:
    struct Node;
    explicit Predicate(std::shared_ptr<const Node> node);
    std::shared_ptr<const Node> m_node;
};
