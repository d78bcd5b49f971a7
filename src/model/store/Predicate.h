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
    // None gives TRUEPREDICATE (AND) or FALSEPREDICATE (OR); one gives itself.
    static Predicate andPredicate(const QList<Predicate> &subpredicates);
    static Predicate orPredicate(const QList<Predicate> &subpredicates);
    static Predicate notPredicate(const Predicate &predicate);

    // Parses the predicate language:
    //   a == 1, a = 1, a != nil, a <> 2, a < b, a <= 3, a => 4, a IN {1, 2}, a IN %@,
    //   a CONTAINS[cd] "x", a BEGINSWITH 'y', a ENDSWITH "z", a LIKE[c] "a*",
    //   a MATCHES "re", a BETWEEN {1, 5}, ANY a.b == 1, ALL ..., NONE ..., SOME ...,
    //   NOT p, !p, p AND q, p && q, p OR q, p || q, (p), TRUEPREDICATE, FALSEPREDICATE,
    //   key paths with @count/@min/@max/@sum/@avg, SELF, nil/NULL, TRUE/YES/FALSE/NO,
    //   numbers (-12, 1.5, 2e-3), quoted strings with backslash escapes, $VARIABLE,
    //   DATE(seconds since 2001).
    // NOT binds tighter than AND, AND tighter than OR. Keywords are read in any
    // case; a key named like one is written with "#" ("#in == 1"). The option
    // [n] (operands already normalised) is accepted and compares as written.
    // Format arguments are consumed in order, outside quotes only: %K takes a
    // key path (a string), %@ any value (numbers, strings, dates, objects,
    // lists; a QDateTime becomes a Date), %d %i %u %ld %lld %lu %llu an
    // integer or boolean, %f %lf %g a number, %s a string, %c a character (a
    // QChar or its code). Throws PredicateError, with the offset and what was
    // expected there, for text it cannot read, unknown operators or options,
    // BETWEEN without two bounds, a constant MATCHES pattern that is not a
    // regular expression, nesting deeper than 100 levels, and arguments that
    // are missing, left over or of the wrong kind.
    static Predicate fromFormat(const QString &format, const QVariantList &arguments = {});

    Kind kind() const;
    const QList<Predicate> &subpredicates() const;  // And, Or: all; Not: one
    const Expression &leftExpression() const;
    const Expression &rightExpression() const;
    ComparisonOperator comparisonOperator() const;
    int options() const;
    ComparisonModifier modifier() const;

    // A copy with every "$NAME" (also inside aggregates) replaced by the value
    // in `variables`; the receiver is untouched. Throws PredicateError naming a
    // variable that has no value there.
    Predicate withSubstitutionVariables(const QVariantMap &variables) const;
    bool hasVariables() const;

    // Text in the predicate language, with no more parentheses than the
    // precedence needs, that fromFormat reads back to an equal predicate when
    // the constants are strings, numbers, booleans, nil, dates (printed as
    // "DATE(694224000.5)") or aggregates of those. Values that the language
    // cannot write print as placeholders that do not read back: objects as
    // "<object 0x...>", object IDs as "<x-merovan-object:///Entity/1>", data
    // as "<hex>"; lists given as arguments print as aggregates.
    QString description() const;

    // Evaluates in memory; `object` may be nullptr (every key path is then
    // nil). Unsubstituted variables are an error (PredicateError). Values
    // compare as ValueComparison describes: numbers and booleans by value,
    // strings by Unicode code points (or folded with the options, see
    // foldString), dates in time order and against numbers as seconds since
    // 2001, data bytewise, objects by identity (never ordered). Nil equals
    // only nil; nil, and values of different kinds (a string and a number),
    // satisfy no ordering (<, <=, >, >=, BETWEEN). BEGINSWITH, ENDSWITH, CONTAINS, LIKE and
    // MATCHES need strings on both sides. "x IN y" is true when x equals a
    // member of the aggregate or collection y, equals y when y is a single
    // value, or is a substring of the string y. "c CONTAINS x" on a
    // collection c asks whether x is a member.
    //
    // A left side that is a collection (a to-many relationship, or a key path
    // through one) is tested member by member: true when some member
    // satisfies the comparison (also without ANY), when every member does
    // with ALL (so also for no members), when none does with NONE. With a
    // modifier, a single value counts as a collection of one and nil as an
    // empty one.
    bool evaluate(const KeyValueCoding *object) const;

    bool operator==(const Predicate &other) const;

private:
    struct Node;
    explicit Predicate(std::shared_ptr<const Node> node);
    static std::shared_ptr<Node> newNode(Kind kind);
    static Predicate compound(Kind kind, const QList<Predicate> &subpredicates);
    std::shared_ptr<const Node> m_node;
};
