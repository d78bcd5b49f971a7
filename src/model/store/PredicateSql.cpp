#include "model/store/PredicateSql.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "model/foundation/Date.h"
#include "model/store/ManagedObject.h"
#include "model/store/PersistentStore.h"
#include "model/store/ValueComparison.h"

namespace {

class Compiler {
public:
    Compiler(const PersistentStore &store, PredicateSql &out) : m_store(store), m_out(out) {}

    // The condition, or nothing when it cannot be expressed exactly.
    std::optional<QString> predicate(const Predicate &p, const EntityDescription *entity,
                                     const QString &alias);

private:
    std::optional<QString> comparison(const Predicate &p, const EntityDescription *entity,
                                      const QString &alias);
    std::optional<QString> throughRelationship(const Predicate &p, const PropertyDescription *first,
                                               const QString &rest, const QString &alias);
    // "left op rhs" for an SQL expression `left` and a constant or aggregate.
    std::optional<QString> compareTo(const QString &left, ComparisonOperator op,
                                     const Expression &rhs);
    // An attribute or to-one column of the entity's own row.
    std::optional<QString> column(const QString &key, const EntityDescription *entity,
                                  const QString &alias) const;
    std::optional<QString> value(const QVariant &constant);
    std::optional<QString> rangeLookup(const QList<Predicate> &conjuncts,
                                       const EntityDescription *entity, const QString &alias);
    QString newAlias() { return QStringLiteral("t%1").arg(++m_aliases); }

    const PersistentStore &m_store;
    PredicateSql &m_out;
    int m_aliases = 0;
};

std::optional<QString> Compiler::predicate(const Predicate &p, const EntityDescription *entity,
                                           const QString &alias) {
    switch (p.kind()) {
        case Predicate::Kind::True:
            return QStringLiteral("1");
        case Predicate::Kind::False:
            return QStringLiteral("0");
        case Predicate::Kind::Comparison:
            return comparison(p, entity, alias);
        case Predicate::Kind::Not: {
            const qsizetype mark = m_out.bindings.size();
            const auto inner = predicate(p.subpredicates().first(), entity, alias);
            if (!inner) {
                m_out.bindings.resize(mark);
                return std::nullopt;
            }
            return QStringLiteral("NOT (%1)").arg(*inner);
        }
        case Predicate::Kind::And:
        case Predicate::Kind::Or: {
            const bool isAnd = p.kind() == Predicate::Kind::And;
            QStringList parts;
            for (const Predicate &sub : p.subpredicates()) {
                const qsizetype mark = m_out.bindings.size();
                const auto part = predicate(sub, entity, alias);
                if (part) {
                    parts << QStringLiteral("(%1)").arg(*part);
                    continue;
                }
                m_out.bindings.resize(mark);
                if (!isAnd)
                    return std::nullopt;
                // A conjunct left out only widens the selection; the caller
                // filters the rows in memory.
                m_out.exact = false;
            }
            if (isAnd) {
                if (const auto range = rangeLookup(p.subpredicates(), entity, alias))
                    parts << *range;
            }
            if (parts.isEmpty())
                return QStringLiteral("1");
            return parts.join(isAnd ? QStringLiteral(" AND ") : QStringLiteral(" OR "));
        }
    }
    return std::nullopt;
}

std::optional<QString> Compiler::column(const QString &key, const EntityDescription *entity,
                                        const QString &alias) const {
    const PropertyDescription *property = entity->property(key);
    if (!property || property->isToMany || (property->isAttribute() && property->isTransient))
        return std::nullopt;
    // Sub-entities may add columns the entity itself lacks; those are fine.
    return alias + QLatin1Char('.') + sqlIdentifier(property->name);
}

std::optional<QString> Compiler::value(const QVariant &constant) {
    if (!constant.isValid() || constant.isNull())
        return std::nullopt;
    if (constant.metaType() == QMetaType::fromType<ManagedObject *>()) {
        const ManagedObject *object = constant.value<ManagedObject *>();
        if (!object)
            return std::nullopt;
        m_out.bindings << object->objectID().primaryKey;
    } else if (constant.metaType() == QMetaType::fromType<ObjectID>()) {
        m_out.bindings << constant.value<ObjectID>().primaryKey;
    } else if (constant.metaType() == QMetaType::fromType<Date>()) {
        m_out.bindings << constant.value<Date>().secondsSinceReference();
    } else {
        switch (constant.typeId()) {
            case QMetaType::QString:
            case QMetaType::Bool:
            case QMetaType::Int:
            case QMetaType::UInt:
            case QMetaType::LongLong:
            case QMetaType::ULongLong:
            case QMetaType::Long:
            case QMetaType::Double:
            case QMetaType::Float:
            case QMetaType::QByteArray:
                m_out.bindings << constant;
                break;
            default:
                return std::nullopt;
        }
    }
    return QStringLiteral("?");
}

namespace {

// The constant a conjunct "key op constant" compares key with, when op is one
// of `ops` and the constant a number.
std::optional<double> bound(const QList<Predicate> &conjuncts, const QString &key,
                            std::initializer_list<ComparisonOperator> ops) {
    for (const Predicate &p : conjuncts) {
        if (p.kind() != Predicate::Kind::Comparison || p.options() != 0 ||
            p.modifier() != ComparisonModifier::Direct ||
            p.leftExpression().kind() != Expression::Kind::KeyPath ||
            p.leftExpression().keyPath() != key ||
            p.rightExpression().kind() != Expression::Kind::Constant ||
            std::find(ops.begin(), ops.end(), p.comparisonOperator()) == ops.end())
            continue;
        const QVariant &constant = p.rightExpression().constantValue();
        if (ValueComparison::isNumber(constant) && !std::isnan(constant.toDouble()))
            return constant.toDouble();
    }
    return std::nullopt;
}

}  // namespace

// "low <= b AND high >= a" (or < and >) on the two attributes of a range
// index: the rows the index's tree finds. The tree holds a superset of the
// matching rows, and the comparisons themselves stay in the condition.
std::optional<QString> Compiler::rangeLookup(const QList<Predicate> &conjuncts,
                                             const EntityDescription *entity,
                                             const QString &alias) {
    using Op = ComparisonOperator;
    for (const EntityDescription::RangeIndex &range : entity->rangeIndexes()) {
        const auto upper = bound(conjuncts, range.low->name, {Op::LessOrEqual, Op::Less});
        const auto lower = bound(conjuncts, range.high->name, {Op::GreaterOrEqual, Op::Greater});
        if (!upper || !lower)
            continue;
        m_out.bindings << PersistentStore::rangeIndexValue(std::floor(*upper))
                       << PersistentStore::rangeIndexValue(std::ceil(*lower));
        return QStringLiteral("%1.Z_PK IN (SELECT id FROM %2 WHERE low <= ? AND high >= ?)")
            .arg(alias, sqlIdentifier(PersistentStore::rangeIndexTable(range)));
    }
    return std::nullopt;
}

std::optional<QString> Compiler::comparison(const Predicate &p, const EntityDescription *entity,
                                            const QString &alias) {
    if (p.options() != 0 || p.modifier() == ComparisonModifier::All ||
        p.modifier() == ComparisonModifier::None)
        return std::nullopt;
    const Expression &lhs = p.leftExpression();
    const Expression &rhs = p.rightExpression();
    if (lhs.kind() != Expression::Kind::KeyPath)
        return std::nullopt;
    const QStringList path = lhs.keyPath().split(QLatin1Char('.'));
    const PropertyDescription *first = entity->property(path.first());
    if (!first)
        return std::nullopt;
    if (path.size() > 1) {
        if (!first->isRelationship)
            return std::nullopt;
        return throughRelationship(p, first, path.mid(1).join(QLatin1Char('.')), alias);
    }
    const auto left = column(path.first(), entity, alias);
    if (!left)
        return std::nullopt;
    if (rhs.kind() != Expression::Kind::KeyPath)
        return compareTo(*left, p.comparisonOperator(), rhs);

    // Attribute against attribute of the same row.
    const auto right = column(rhs.keyPath(), entity, alias);
    if (!right)
        return std::nullopt;
    switch (p.comparisonOperator()) {
        case ComparisonOperator::Equal:
            return QStringLiteral("%1 IS %2").arg(*left, *right);
        case ComparisonOperator::NotEqual:
            return QStringLiteral("%1 IS NOT %2").arg(*left, *right);
        case ComparisonOperator::Less:
            return QStringLiteral("%1 < %2").arg(*left, *right);
        case ComparisonOperator::LessOrEqual:
            return QStringLiteral("%1 <= %2").arg(*left, *right);
        case ComparisonOperator::Greater:
            return QStringLiteral("%1 > %2").arg(*left, *right);
        case ComparisonOperator::GreaterOrEqual:
            return QStringLiteral("%1 >= %2").arg(*left, *right);
        default:
            return std::nullopt;
    }
}

// A key path through a relationship becomes a sub-select on the destination's
// table: "a.b op v" is "a IN (SELECT pk ... WHERE b op v)" for a to-one and
// "pk IN (SELECT fk ... WHERE b op v)" for a to-many (ANY); "a.@count" counts.
std::optional<QString> Compiler::throughRelationship(const Predicate &p,
                                                     const PropertyDescription *first,
                                                     const QString &rest, const QString &alias) {
    if (first->isManyToMany())
        return std::nullopt;
    const PersistentStore::TableLayout &layout = m_store.layout(first->destination);
    const QString sub = newAlias();
    if (rest == QLatin1String("@count")) {
        if (!first->isToMany)
            return std::nullopt;
        const QString count =
            QStringLiteral(
                "(SELECT COUNT(*) FROM %1 %2 WHERE %2.%3 = %4.Z_PK AND %2.Z_ENT IN (%5))")
                .arg(sqlIdentifier(layout.table), sub, sqlIdentifier(first->inverse->name), alias,
                     m_store.entityCodeList(first->inverse->entity, true));
        return compareTo(count, p.comparisonOperator(), p.rightExpression());
    }
    // nil through a relationship also matches a missing destination: that is
    // left to memory, like the collection operators.
    const Expression &rhs = p.rightExpression();
    if (rest.contains(QLatin1Char('@')) ||
        (rhs.kind() == Expression::Kind::Constant && !rhs.constantValue().isValid()))
        return std::nullopt;
    const Predicate inner = Predicate::comparison(Expression::keyPath(rest), p.comparisonOperator(),
                                                  rhs, p.options(), ComparisonModifier::Direct);
    const bool wasExact = m_out.exact;
    const auto condition = predicate(inner, first->destination, sub);
    const bool innerExact = m_out.exact;
    m_out.exact = wasExact;
    if (!condition || !innerExact)
        return std::nullopt;
    if (first->isToMany)
        return QStringLiteral("%1.Z_PK IN (SELECT %2.%3 FROM %4 %2 WHERE %5)")
            .arg(alias, sub, sqlIdentifier(first->inverse->name), sqlIdentifier(layout.table),
                 *condition);
    return QStringLiteral("%1.%2 IN (SELECT %3.Z_PK FROM %4 %3 WHERE %5)")
        .arg(alias, sqlIdentifier(first->name), sub, sqlIdentifier(layout.table), *condition);
}

std::optional<QString> Compiler::compareTo(const QString &left, ComparisonOperator op,
                                           const Expression &rhs) {
    const qsizetype mark = m_out.bindings.size();
    const auto fail = [&]() -> std::optional<QString> {
        m_out.bindings.resize(mark);
        return std::nullopt;
    };
    if (op == ComparisonOperator::Between) {
        if (rhs.kind() != Expression::Kind::Aggregate || rhs.elements().size() != 2 ||
            !value(rhs.elements()[0].constantValue()) || !value(rhs.elements()[1].constantValue()))
            return fail();
        return QStringLiteral("%1 BETWEEN ? AND ?").arg(left);
    }
    if (op == ComparisonOperator::In) {
        QVariantList members;
        if (rhs.kind() == Expression::Kind::Aggregate) {
            for (const Expression &element : rhs.elements()) {
                if (element.kind() != Expression::Kind::Constant)
                    return fail();
                members << element.constantValue();
            }
        } else if (rhs.kind() == Expression::Kind::Constant) {
            members = rhs.constantValue().toList();
        } else {
            return fail();
        }
        QStringList placeholders;
        for (const QVariant &member : members) {
            if (!value(member))
                return fail();
            placeholders << QStringLiteral("?");
        }
        if (placeholders.isEmpty())
            return QStringLiteral("0");
        return QStringLiteral("%1 IN (%2)").arg(left, placeholders.join(QStringLiteral(", ")));
    }
    if (rhs.kind() != Expression::Kind::Constant)
        return fail();
    const QVariant &constant = rhs.constantValue();
    if (!constant.isValid() || constant.isNull()) {
        switch (op) {
            case ComparisonOperator::Equal:
                return QStringLiteral("%1 IS NULL").arg(left);
            case ComparisonOperator::NotEqual:
                return QStringLiteral("%1 IS NOT NULL").arg(left);
            default:
                return QStringLiteral("0");  // nothing orders against nil
        }
    }
    if (!value(constant))
        return fail();
    switch (op) {
        case ComparisonOperator::Equal:
            return QStringLiteral("%1 = ?").arg(left);
        case ComparisonOperator::NotEqual:
            return QStringLiteral("%1 IS NOT ?").arg(left);
        case ComparisonOperator::Less:
            return QStringLiteral("%1 < ?").arg(left);
        case ComparisonOperator::LessOrEqual:
            return QStringLiteral("%1 <= ?").arg(left);
        case ComparisonOperator::Greater:
            return QStringLiteral("%1 > ?").arg(left);
        case ComparisonOperator::GreaterOrEqual:
            return QStringLiteral("%1 >= ?").arg(left);
        case ComparisonOperator::BeginsWith:
            m_out.bindings << m_out.bindings.last();
            return QStringLiteral("substr(%1, 1, length(?)) = ?").arg(left);
        case ComparisonOperator::EndsWith:
            m_out.bindings << m_out.bindings.last();
            return QStringLiteral("substr(%1, -length(?)) = ?").arg(left);
        case ComparisonOperator::Contains:
            return QStringLiteral("instr(%1, ?) > 0").arg(left);
        default:
            return fail();
    }
}

}  // namespace

PredicateSql PredicateSql::compile(const Predicate &predicate, const EntityDescription *entity,
                                   const PersistentStore &store, const QString &alias) {
    PredicateSql out;
    Compiler compiler(store, out);
    const auto condition = compiler.predicate(predicate, entity, alias);
    if (condition) {
        out.condition = *condition;
    } else {
        out.condition = QStringLiteral("1");
        out.bindings.clear();
        out.exact = false;
    }
    return out;
}
