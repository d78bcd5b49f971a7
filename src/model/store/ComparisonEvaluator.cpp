#include "model/store/ComparisonEvaluator.h"

#include <algorithm>

#include "model/store/KeyValueCoding.h"
#include "model/store/LikePattern.h"
#include "model/store/StringFolding.h"
#include "model/store/ValueComparison.h"

using ValueComparison::isNil;

namespace {

bool isString(const QVariant &value) {
    return value.typeId() == QMetaType::QString;
}

}  // namespace

ComparisonEvaluator::ComparisonEvaluator(ComparisonOperator op, int options,
                                         ComparisonModifier modifier, const Expression &rhs)
    : m_operator(op), m_options(options), m_modifier(modifier) {
    if (op == ComparisonOperator::Matches && rhs.kind() == Expression::Kind::Constant &&
        isString(rhs.constantValue())) {
        m_regularExpression = regularExpression(rhs.constantValue().toString(), options);
        m_regularExpression->optimize();
    }
}

QRegularExpression ComparisonEvaluator::regularExpression(const QString &pattern, int options) {
    QRegularExpression::PatternOptions patternOptions =
        QRegularExpression::UseUnicodePropertiesOption;
    if (options & CaseInsensitive)
        patternOptions |= QRegularExpression::CaseInsensitiveOption;
    // Case is left to the engine: folding would turn "\S" into "\s".
    return QRegularExpression(
        QRegularExpression::anchoredPattern(foldString(pattern, options & DiacriticInsensitive)),
        patternOptions);
}

bool ComparisonEvaluator::evaluate(const QVariant &lhs, const QVariant &rhs) const {
    const bool collection = KeyValue::isCollection(lhs);
    if (m_modifier == ComparisonModifier::Direct) {
        if (!collection)
            return test(lhs, rhs);
        // "tags CONTAINS x" asks whether x is a member; every other operator
        // applies to the members, like ANY.
        if (m_operator == ComparisonOperator::Contains)
            return isMember(rhs, lhs);
    }
    QVariantList values;
    if (collection)
        values = KeyValue::members(lhs);
    else if (!isNil(lhs))
        values << lhs;
    const auto holds = [&](const QVariant &value) { return test(value, rhs); };
    switch (m_modifier) {
        case ComparisonModifier::Direct:
        case ComparisonModifier::Any:
            return std::any_of(values.cbegin(), values.cend(), holds);
        case ComparisonModifier::All:
            return std::all_of(values.cbegin(), values.cend(), holds);
        case ComparisonModifier::None:
            return std::none_of(values.cbegin(), values.cend(), holds);
    }
    return false;
}

bool ComparisonEvaluator::isMember(const QVariant &value, const QVariant &collection) const {
    if (isNil(collection))
        return false;
    if (!KeyValue::isCollection(collection))
        return ValueComparison::equal(value, collection, m_options);
    const QVariantList members = KeyValue::members(collection);
    return std::any_of(members.cbegin(), members.cend(), [&](const QVariant &member) {
        return ValueComparison::equal(value, member, m_options);
    });
}

bool ComparisonEvaluator::test(const QVariant &lhs, const QVariant &rhs) const {
    // Values that do not order (nil, different kinds) fail every ordering.
    const auto ordered = [&](const QVariant &other, auto holds) {
        const std::optional<int> order = ValueComparison::compare(lhs, other, m_options);
        return order && holds(*order);
    };
    const auto below = [](int order) { return order < 0; };
    const auto atMost = [](int order) { return order <= 0; };
    const auto above = [](int order) { return order > 0; };
    const auto atLeast = [](int order) { return order >= 0; };
    switch (m_operator) {
        case ComparisonOperator::Equal:
            return ValueComparison::equal(lhs, rhs, m_options);
        case ComparisonOperator::NotEqual:
            return !ValueComparison::equal(lhs, rhs, m_options);
        case ComparisonOperator::Less:
            return ordered(rhs, below);
        case ComparisonOperator::LessOrEqual:
            return ordered(rhs, atMost);
        case ComparisonOperator::Greater:
            return ordered(rhs, above);
        case ComparisonOperator::GreaterOrEqual:
            return ordered(rhs, atLeast);
        case ComparisonOperator::In:
            // "x IN 'text'" looks for a substring.
            if (isString(lhs) && isString(rhs))
                return foldString(rhs.toString(), m_options)
                    .contains(foldString(lhs.toString(), m_options));
            return isMember(lhs, rhs);
        case ComparisonOperator::Between: {
            const QVariantList bounds = KeyValue::members(rhs);
            return bounds.size() == 2 && ordered(bounds[0], atLeast) && ordered(bounds[1], atMost);
        }
        default:
            return isString(lhs) && isString(rhs) && testStrings(lhs.toString(), rhs.toString());
    }
}

bool ComparisonEvaluator::testStrings(const QString &lhs, const QString &rhs) const {
    if (m_operator == ComparisonOperator::Matches) {
        const QString text = foldString(lhs, m_options & DiacriticInsensitive);
        if (m_regularExpression)
            return m_regularExpression->match(text).hasMatch();
        const QRegularExpression expression = regularExpression(rhs, m_options);
        return expression.isValid() && expression.match(text).hasMatch();
    }
    const QString text = foldString(lhs, m_options);
    const QString other = foldString(rhs, m_options);
    switch (m_operator) {
        case ComparisonOperator::Contains:
            return text.contains(other);
        case ComparisonOperator::BeginsWith:
            return text.startsWith(other);
        case ComparisonOperator::EndsWith:
            return text.endsWith(other);
        case ComparisonOperator::Like:
            return likeMatches(text, other);
        default:
            return false;
    }
}
