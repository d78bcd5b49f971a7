#include "model/store/Expression.h"

#include <QLocale>
#include <QStringList>
#include <cmath>

#include "model/foundation/Date.h"
#include "model/store/KeyValueCoding.h"
#include "model/store/ObjectID.h"
#include "model/store/PredicateLexer.h"
#include "model/store/ValueComparison.h"

namespace {

QString quotedLiteral(const QString &text) {
    QString result;
    result.reserve(text.size() + 2);
    result += QLatin1Char('"');
    for (QChar c : text) {
        switch (c.unicode()) {
            case '"':
            case '\\':
                result += QLatin1Char('\\');
                result += c;
                break;
            case '\n':
                result += QLatin1String("\\n");
                break;
            case '\r':
                result += QLatin1String("\\r");
                break;
            case '\t':
                result += QLatin1String("\\t");
                break;
            default:
                if (c.unicode() < 0x20 || c.unicode() == 0x7f)
                    result += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
                else
                    result += c;
        }
    }
    result += QLatin1Char('"');
    return result;
}

QString shortest(double value) {
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

// A real keeps a fraction or an exponent so that it reads back as a real.
QString real(double value) {
    QString text = shortest(value);
    if (std::isfinite(value) && !text.contains(QLatin1Char('.')) &&
        !text.contains(QLatin1Char('e')))
        text += QLatin1String(".0");
    return text;
}

QString listDescription(const QStringList &members) {
    return QLatin1Char('{') + members.join(QLatin1String(", ")) + QLatin1Char('}');
}

QString valueDescription(const QVariant &value) {
    if (ValueComparison::isNil(value))
        return QStringLiteral("nil");
    if (value.metaType() == QMetaType::fromType<Date>())
        return QStringLiteral("DATE(%1)")
            .arg(shortest(value.value<Date>().secondsSinceReference()));
    if (value.metaType() == QMetaType::fromType<ObjectID>())
        return QLatin1Char('<') + value.value<ObjectID>().uriRepresentation() + QLatin1Char('>');
    if (const KeyValueCoding *object = KeyValue::object(value))
        return QStringLiteral("<object 0x%1>").arg(quintptr(object), 0, 16);
    if (KeyValue::isCollection(value)) {
        QStringList members;
        for (const QVariant &member : KeyValue::members(value))
            members << valueDescription(member);
        return listDescription(members);
    }
    switch (value.typeId()) {
        case QMetaType::Bool:
            return value.toBool() ? QStringLiteral("YES") : QStringLiteral("NO");
        case QMetaType::Double:
        case QMetaType::Float:
            return real(value.toDouble());
        case QMetaType::QString:
            return quotedLiteral(value.toString());
        case QMetaType::QByteArray:
            return QLatin1Char('<') + QString::fromLatin1(value.toByteArray().toHex()) +
                   QLatin1Char('>');
        default:
            if (ValueComparison::isNumber(value))
                return value.toString();
            return QStringLiteral("<%1 %2>").arg(QLatin1String(value.typeName()), value.toString());
    }
}

QString keyPathDescription(const QString &path) {
    if (PredicateLexer::isReservedWord(path.section(QLatin1Char('.'), 0, 0)))
        return QLatin1Char('#') + path;
    return path;
}

}  // namespace

Expression::Expression() = default;

Expression Expression::constant(const QVariant &value) {
    Expression expression;
    expression.m_value = value;
    return expression;
}

Expression Expression::keyPath(const QString &path) {
    Expression expression;
    expression.m_kind = Kind::KeyPath;
    expression.m_name = path;
    return expression;
}

Expression Expression::variable(const QString &name) {
    Expression expression;
    expression.m_kind = Kind::Variable;
    expression.m_name = name;
    return expression;
}

Expression Expression::aggregate(const QList<Expression> &elements) {
    Expression expression;
    expression.m_kind = Kind::Aggregate;
    expression.m_elements = elements;
    return expression;
}

Expression Expression::self() {
    Expression expression;
    expression.m_kind = Kind::Self;
    return expression;
}

QString Expression::description() const {
    switch (m_kind) {
        case Kind::Constant:
            return valueDescription(m_value);
        case Kind::KeyPath:
            return keyPathDescription(m_name);
        case Kind::Variable:
            return QLatin1Char('$') + m_name;
        case Kind::Aggregate: {
            QStringList elements;
            for (const Expression &element : m_elements)
                elements << element.description();
            return listDescription(elements);
        }
        case Kind::Self:
            return QStringLiteral("SELF");
    }
    return {};
}

bool Expression::operator==(const Expression &other) const {
    if (m_kind != other.m_kind)
        return false;
    switch (m_kind) {
        case Kind::Constant:
            if (ValueComparison::isNil(m_value) || ValueComparison::isNil(other.m_value))
                return ValueComparison::isNil(m_value) && ValueComparison::isNil(other.m_value);
            if (ValueComparison::isNumber(m_value) && ValueComparison::isNumber(other.m_value))
                return ValueComparison::equal(m_value, other.m_value);
            return m_value.metaType() == other.m_value.metaType() && m_value == other.m_value;
        case Kind::KeyPath:
        case Kind::Variable:
            return m_name == other.m_name;
        case Kind::Aggregate:
            return m_elements == other.m_elements;
        case Kind::Self:
            return true;
    }
    return false;
}
