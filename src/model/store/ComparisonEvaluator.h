#pragma once

#include <QRegularExpression>
#include <QVariant>
#include <optional>

#include "model/store/Predicate.h"

// Applies one comparison of a predicate (its operator, options and modifier)
// to the values of its two sides; see Predicate::evaluate for the rules.
// A constant MATCHES pattern is compiled once, when the comparison is made.
class ComparisonEvaluator {
public:
    ComparisonEvaluator(ComparisonOperator op, int options, ComparisonModifier modifier,
                        const Expression &rhs);

    bool evaluate(const QVariant &lhs, const QVariant &rhs) const;

    // The pattern of MATCHES as it will run (anchored, with the options);
    // check isValid() on it.
    static QRegularExpression regularExpression(const QString &pattern, int options);

private:
    // The operator on one value of the left side.
    bool test(const QVariant &lhs, const QVariant &rhs) const;
    bool testStrings(const QString &lhs, const QString &rhs) const;
    bool isMember(const QVariant &value, const QVariant &collection) const;

    ComparisonOperator m_operator;
    int m_options;
    ComparisonModifier m_modifier;
    std::optional<QRegularExpression> m_regularExpression;
};
