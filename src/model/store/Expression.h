#pragma once

#include <QList>
#include <QString>
#include <QVariant>
#include <memory>

// One side of a comparison in a predicate: a constant value, a key path
// evaluated on the object, a substitution variable ("$NAME") filled in before
// the predicate is used, or an aggregate ("{1, 2, 3}") of expressions.
class Expression {
public:
    enum class Kind { Constant, KeyPath, Variable, Aggregate, Self };

    Expression();  // the constant "no value" (nil)
    static Expression constant(const QVariant &value);
    static Expression keyPath(const QString &path);
    static Expression variable(const QString &name);
    static Expression aggregate(const QList<Expression> &elements);
    static Expression self();  // the evaluated object itself ("SELF")

    Kind kind() const { return m_kind; }
    const QVariant &constantValue() const { return m_value; }
    const QString &keyPath() const { return m_name; }
    const QString &variableName() const { return m_name; }
    const QList<Expression> &elements() const { return m_elements; }

    // Text that Predicate::fromFormat reads back: strings quoted, nil, key
    // paths bare, "$NAME", "{a, b}".
    QString description() const;
    bool operator==(const Expression &other) const;

private:
    Kind m_kind = Kind::Constant;
    QVariant m_value;
    QString m_name;
    QList<Expression> m_elements;
};
