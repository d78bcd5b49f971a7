#include "model/store/Predicate.h"

#include <QStringList>
#include <algorithm>
#include <optional>

#include "model/store/ComparisonEvaluator.h"
#include "model/store/KeyValueCoding.h"
#include "model/store/PredicateParser.h"

struct Predicate::Node {
    Kind kind = Kind::True;
    QList<Predicate> subpredicates;
    Expression lhs;
    Expression rhs;
    ComparisonOperator op = ComparisonOperator::Equal;
    int options = 0;
    ComparisonModifier modifier = ComparisonModifier::Direct;
    std::optional<ComparisonEvaluator> evaluator;
};

namespace {

QVariant valueOf(const Expression &expression, const KeyValueCoding *object) {
    switch (expression.kind()) {
        case Expression::Kind::Constant:
            return expression.constantValue();
        case Expression::Kind::KeyPath:
            return KeyValue::valueForKeyPath(object, expression.keyPath());
        case Expression::Kind::Variable:
            throw PredicateError(
                QStringLiteral("cannot evaluate a predicate with the variable $%1 not "
                               "substituted")
                    .arg(expression.variableName())
                    .toStdString());
        case Expression::Kind::Aggregate: {
            QVariantList values;
            for (const Expression &element : expression.elements())
                values << valueOf(element, object);
            return values;
        }
        case Expression::Kind::Self:
            // Only compared by identity: nothing changes the object through it.
            return object ? QVariant::fromValue(const_cast<KeyValueCoding *>(object)) : QVariant();
    }
    return {};
}

bool hasVariable(const Expression &expression) {
    const QList<Expression> &elements = expression.elements();
    return expression.kind() == Expression::Kind::Variable ||
           std::any_of(elements.cbegin(), elements.cend(), hasVariable);
}

Expression substituted(const Expression &expression, const QVariantMap &variables) {
    if (expression.kind() == Expression::Kind::Variable) {
        const auto found = variables.constFind(expression.variableName());
        if (found == variables.cend())
            throw PredicateError(QStringLiteral("no value for the substitution variable $%1")
                                     .arg(expression.variableName())
                                     .toStdString());
        return Expression::constant(found.value());
    }
    if (expression.kind() != Expression::Kind::Aggregate)
        return expression;
    QList<Expression> elements;
    for (const Expression &element : expression.elements())
        elements << substituted(element, variables);
    return Expression::aggregate(elements);
}

QString operatorText(ComparisonOperator op) {
    switch (op) {
        case ComparisonOperator::Equal:
            return QStringLiteral("==");
        case ComparisonOperator::NotEqual:
            return QStringLiteral("!=");
        case ComparisonOperator::Less:
            return QStringLiteral("<");
        case ComparisonOperator::LessOrEqual:
            return QStringLiteral("<=");
        case ComparisonOperator::Greater:
            return QStringLiteral(">");
        case ComparisonOperator::GreaterOrEqual:
            return QStringLiteral(">=");
        case ComparisonOperator::In:
            return QStringLiteral("IN");
        case ComparisonOperator::Contains:
            return QStringLiteral("CONTAINS");
        case ComparisonOperator::BeginsWith:
            return QStringLiteral("BEGINSWITH");
        case ComparisonOperator::EndsWith:
            return QStringLiteral("ENDSWITH");
        case ComparisonOperator::Like:
            return QStringLiteral("LIKE");
        case ComparisonOperator::Matches:
            return QStringLiteral("MATCHES");
        case ComparisonOperator::Between:
            return QStringLiteral("BETWEEN");
    }
    return {};
}

QString modifierText(ComparisonModifier modifier) {
    switch (modifier) {
        case ComparisonModifier::Direct:
            break;
        case ComparisonModifier::Any:
            return QStringLiteral("ANY ");
        case ComparisonModifier::All:
            return QStringLiteral("ALL ");
        case ComparisonModifier::None:
            return QStringLiteral("NONE ");
    }
    return {};
}

QString optionsText(int options) {
    if (!(options & (CaseInsensitive | DiacriticInsensitive)))
        return {};
    return QLatin1Char('[') + QLatin1String(options & CaseInsensitive ? "c" : "") +
           QLatin1String(options & DiacriticInsensitive ? "d" : "") + QLatin1Char(']');
}

// Whether `inner` needs parentheses as an operand of a predicate of kind
// `outer`. NOT binds tighter than AND, AND tighter than OR; a compound of the
// same kind is kept in parentheses so that it reads back as the same tree.
bool needsParentheses(Predicate::Kind outer, Predicate::Kind inner) {
    switch (inner) {
        case Predicate::Kind::And:
            return outer != Predicate::Kind::Or;
        case Predicate::Kind::Or:
            return true;
        default:
            return false;
    }
}

QString operandText(Predicate::Kind outer, const Predicate &inner) {
    if (needsParentheses(outer, inner.kind()))
        return QLatin1Char('(') + inner.description() + QLatin1Char(')');
    return inner.description();
}

}  // namespace

std::shared_ptr<Predicate::Node> Predicate::newNode(Kind kind) {
    auto node = std::make_shared<Node>();
    node->kind = kind;
    return node;
}

Predicate::Predicate() : m_node(newNode(Kind::True)) {}

Predicate::Predicate(std::shared_ptr<const Node> node) : m_node(std::move(node)) {}

Predicate Predicate::truePredicate() {
    return Predicate();
}

Predicate Predicate::falsePredicate() {
    return Predicate(newNode(Kind::False));
}

Predicate Predicate::comparison(const Expression &lhs, ComparisonOperator op, const Expression &rhs,
                                int options, ComparisonModifier modifier) {
    auto node = newNode(Kind::Comparison);
    node->lhs = lhs;
    node->rhs = rhs;
    node->op = op;
    node->options = options;
    node->modifier = modifier;
    node->evaluator.emplace(op, options, modifier, rhs);
    return Predicate(std::move(node));
}

Predicate Predicate::compound(Kind kind, const QList<Predicate> &subpredicates) {
    if (subpredicates.isEmpty())
        return Predicate(newNode(kind == Kind::And ? Kind::True : Kind::False));
    if (subpredicates.size() == 1)
        return subpredicates.first();
    auto node = newNode(kind);
    node->subpredicates = subpredicates;
    return Predicate(std::move(node));
}

Predicate Predicate::andPredicate(const QList<Predicate> &subpredicates) {
    return compound(Kind::And, subpredicates);
}

Predicate Predicate::orPredicate(const QList<Predicate> &subpredicates) {
    return compound(Kind::Or, subpredicates);
}

Predicate Predicate::notPredicate(const Predicate &predicate) {
    auto node = newNode(Kind::Not);
    node->subpredicates = {predicate};
    return Predicate(std::move(node));
}

Predicate Predicate::fromFormat(const QString &format, const QVariantList &arguments) {
    return PredicateParser(format, arguments).parse();
}

Predicate::Kind Predicate::kind() const {
    return m_node->kind;
}

const QList<Predicate> &Predicate::subpredicates() const {
    return m_node->subpredicates;
}

const Expression &Predicate::leftExpression() const {
    return m_node->lhs;
}

const Expression &Predicate::rightExpression() const {
    return m_node->rhs;
}

ComparisonOperator Predicate::comparisonOperator() const {
    return m_node->op;
}

int Predicate::options() const {
    return m_node->options;
}

ComparisonModifier Predicate::modifier() const {
    return m_node->modifier;
}

Predicate Predicate::withSubstitutionVariables(const QVariantMap &variables) const {
    if (!hasVariables())
        return *this;
    switch (kind()) {
        case Kind::Comparison:
            return comparison(substituted(m_node->lhs, variables), m_node->op,
                              substituted(m_node->rhs, variables), m_node->options,
                              m_node->modifier);
        case Kind::Not:
            return notPredicate(subpredicates().first().withSubstitutionVariables(variables));
        case Kind::And:
        case Kind::Or: {
            auto node = newNode(kind());
            for (const Predicate &sub : subpredicates())
                node->subpredicates << sub.withSubstitutionVariables(variables);
            return Predicate(std::move(node));
        }
        default:
            return *this;
    }
}

bool Predicate::hasVariables() const {
    if (kind() == Kind::Comparison)
        return hasVariable(m_node->lhs) || hasVariable(m_node->rhs);
    return std::any_of(subpredicates().cbegin(), subpredicates().cend(),
                       [](const Predicate &sub) { return sub.hasVariables(); });
}

QString Predicate::description() const {
    switch (kind()) {
        case Kind::True:
            return QStringLiteral("TRUEPREDICATE");
        case Kind::False:
            return QStringLiteral("FALSEPREDICATE");
        case Kind::Comparison:
            return modifierText(m_node->modifier) + m_node->lhs.description() + QLatin1Char(' ') +
                   operatorText(m_node->op) + optionsText(m_node->options) + QLatin1Char(' ') +
                   m_node->rhs.description();
        case Kind::Not:
            return QStringLiteral("NOT ") + operandText(Kind::Not, subpredicates().first());
        case Kind::And:
        case Kind::Or: {
            QStringList parts;
            for (const Predicate &sub : subpredicates())
                parts << operandText(kind(), sub);
            return parts.join(kind() == Kind::And ? QLatin1String(" AND ") : QLatin1String(" OR "));
        }
    }
    return {};
}

bool Predicate::evaluate(const KeyValueCoding *object) const {
    const auto holds = [object](const Predicate &sub) { return sub.evaluate(object); };
    switch (kind()) {
        case Kind::True:
            return true;
        case Kind::False:
            return false;
        case Kind::Comparison:
            return m_node->evaluator->evaluate(valueOf(m_node->lhs, object),
                                               valueOf(m_node->rhs, object));
        case Kind::Not:
            return !subpredicates().first().evaluate(object);
        case Kind::And:
            return std::all_of(subpredicates().cbegin(), subpredicates().cend(), holds);
        case Kind::Or:
            return std::any_of(subpredicates().cbegin(), subpredicates().cend(), holds);
    }
    return false;
}

bool Predicate::operator==(const Predicate &other) const {
    if (m_node == other.m_node)
        return true;
    const Node &a = *m_node, &b = *other.m_node;
    if (a.kind != b.kind)
        return false;
    if (a.kind != Kind::Comparison)
        return a.subpredicates == b.subpredicates;
    return a.lhs == b.lhs && a.op == b.op && a.rhs == b.rhs && a.options == b.options &&
           a.modifier == b.modifier;
}
