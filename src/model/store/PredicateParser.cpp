#include "model/store/PredicateParser.h"

#include <QDateTime>
#include <QStringList>

#include "model/foundation/Date.h"
#include "model/store/ComparisonEvaluator.h"
#include "model/store/KeyValueCoding.h"
#include "model/store/ValueComparison.h"

namespace {

bool isCollectionOperator(const QString &text) {
    return text == QLatin1String("@count") || text == QLatin1String("@min") ||
           text == QLatin1String("@max") || text == QLatin1String("@sum") ||
           text == QLatin1String("@avg");
}

bool isKeyPath(const QString &path) {
    const QStringList keys = path.split(QLatin1Char('.'));
    for (qsizetype i = 0; i < keys.size(); ++i) {
        if (!PredicateLexer::isIdentifier(keys[i]) && (i == 0 || !isCollectionOperator(keys[i])))
            return false;
    }
    return true;
}

}  // namespace

PredicateParser::PredicateParser(const QString &format, const QVariantList &arguments)
    : m_format(format), m_arguments(arguments), m_lexer(format) {}

Predicate PredicateParser::parse() {
    advance();
    const Predicate predicate = disjunction();
    if (m_token.type != PredicateToken::Type::End)
        fail(QStringLiteral("expected AND, OR or the end"));
    if (m_nextArgument < m_arguments.size())
        fail(QStringLiteral("%1 format arguments given but only %2 used")
                 .arg(m_arguments.size())
                 .arg(m_nextArgument));
    return predicate;
}

void PredicateParser::enter() {
    if (++m_depth > kMaxDepth)
        fail(QStringLiteral("nesting deeper than %1 levels").arg(kMaxDepth));
}

void PredicateParser::expectSymbol(QLatin1String symbol, const QString &what) {
    if (!m_token.isSymbol(symbol))
        fail(QStringLiteral("expected %1").arg(what));
    advance();
}

Predicate PredicateParser::disjunction() {
    return Predicate::orPredicate(
        chain(QLatin1String("OR"), QLatin1String("||"), &PredicateParser::conjunction));
}

Predicate PredicateParser::conjunction() {
    return Predicate::andPredicate(
        chain(QLatin1String("AND"), QLatin1String("&&"), &PredicateParser::negation));
}

QList<Predicate> PredicateParser::chain(QLatin1String keyword, QLatin1String symbol,
                                        Predicate (PredicateParser::*operand)()) {
    QList<Predicate> operands{(this->*operand)()};
    while (m_token.isKeyword(keyword) || m_token.isSymbol(symbol)) {
        advance();
        operands << (this->*operand)();
    }
    return operands;
}

Predicate PredicateParser::negation() {
    if (m_token.isKeyword(QLatin1String("NOT")) || m_token.isSymbol(QLatin1String("!"))) {
        enter();
        advance();
        const Predicate negated = Predicate::notPredicate(negation());
        leave();
        return negated;
    }
    if (m_token.isSymbol(QLatin1String("("))) {
        enter();
        advance();
        const Predicate inner = disjunction();
        expectSymbol(QLatin1String(")"), QStringLiteral("')'"));
        leave();
        return inner;
    }
    if (m_token.isKeyword(QLatin1String("TRUEPREDICATE"))) {
        advance();
        return Predicate::truePredicate();
    }
    if (m_token.isKeyword(QLatin1String("FALSEPREDICATE"))) {
        advance();
        return Predicate::falsePredicate();
    }
    return comparison();
}

Predicate PredicateParser::comparison() {
    ComparisonModifier modifier = ComparisonModifier::Direct;
    if (m_token.isKeyword(QLatin1String("ANY")) || m_token.isKeyword(QLatin1String("SOME")))
        modifier = ComparisonModifier::Any;
    else if (m_token.isKeyword(QLatin1String("ALL")))
        modifier = ComparisonModifier::All;
    else if (m_token.isKeyword(QLatin1String("NONE")))
        modifier = ComparisonModifier::None;
    if (modifier != ComparisonModifier::Direct)
        advance();
    const Expression lhs = expression();
    const std::optional<ComparisonOperator> op = comparisonOperator();
    if (!op)
        fail(QStringLiteral("expected a comparison operator"));
    advance();
    const int options = comparisonOptions();
    const qsizetype rhsPosition = m_token.position;
    const Expression rhs = expression();
    checkRightSide(*op, options, rhs, rhsPosition);
    return Predicate::comparison(lhs, *op, rhs, options, modifier);
}

std::optional<ComparisonOperator> PredicateParser::comparisonOperator() const {
    static const std::pair<QLatin1String, ComparisonOperator> operators[] = {
        {QLatin1String("=="), ComparisonOperator::Equal},
        {QLatin1String("!="), ComparisonOperator::NotEqual},
        {QLatin1String("<"), ComparisonOperator::Less},
        {QLatin1String("<="), ComparisonOperator::LessOrEqual},
        {QLatin1String(">"), ComparisonOperator::Greater},
        {QLatin1String(">="), ComparisonOperator::GreaterOrEqual},
        {QLatin1String("IN"), ComparisonOperator::In},
        {QLatin1String("CONTAINS"), ComparisonOperator::Contains},
        {QLatin1String("BEGINSWITH"), ComparisonOperator::BeginsWith},
        {QLatin1String("ENDSWITH"), ComparisonOperator::EndsWith},
        {QLatin1String("LIKE"), ComparisonOperator::Like},
        {QLatin1String("MATCHES"), ComparisonOperator::Matches},
        {QLatin1String("BETWEEN"), ComparisonOperator::Between},
    };
    for (const auto &[spelling, op] : operators) {
        if (m_token.isSymbol(spelling) || m_token.isKeyword(spelling))
            return op;
    }
    return std::nullopt;
}

int PredicateParser::comparisonOptions() {
    if (!m_token.isSymbol(QLatin1String("[")))
        return 0;
    advance();
    if (m_token.type != PredicateToken::Type::Word)
        fail(QStringLiteral("expected comparison options (c, d or n)"));
    int options = 0;
    for (QChar letter : m_token.text) {
        switch (letter.toLower().unicode()) {
            case 'c':
                options |= CaseInsensitive;
                break;
            case 'd':
                options |= DiacriticInsensitive;
                break;
            case 'n':
                break;  // the operands are already normalised: compared as they are
            default:
                fail(QStringLiteral("unknown comparison option '%1'").arg(letter));
        }
    }
    advance();
    expectSymbol(QLatin1String("]"), QStringLiteral("']' after the comparison options"));
    return options;
}

void PredicateParser::checkRightSide(ComparisonOperator op, int options, const Expression &rhs,
                                     qsizetype position) const {
    if (rhs.kind() != Expression::Kind::Constant && rhs.kind() != Expression::Kind::Aggregate)
        return;
    if (op == ComparisonOperator::Between) {
        const qsizetype count = rhs.kind() == Expression::Kind::Aggregate
                                    ? rhs.elements().size()
                                    : KeyValue::members(rhs.constantValue()).size();
        if (count != 2)
            fail(QStringLiteral("BETWEEN needs two bounds, as in {1, 5}"), position);
    }
    if (op == ComparisonOperator::Matches && rhs.constantValue().typeId() == QMetaType::QString) {
        const QRegularExpression expression =
            ComparisonEvaluator::regularExpression(rhs.constantValue().toString(), options);
        if (!expression.isValid())
            fail(QStringLiteral("invalid regular expression (%1)").arg(expression.errorString()),
                 position);
    }
}

Expression PredicateParser::expression() {
    const PredicateToken token = m_token;
    switch (token.type) {
        case PredicateToken::Type::Number:
        case PredicateToken::Type::String:
            advance();
            return Expression::constant(token.value);
        case PredicateToken::Type::Variable:
            advance();
            return Expression::variable(token.text);
        case PredicateToken::Type::FormatSpecifier:
            return formatArgument();
        case PredicateToken::Type::Symbol:
            if (token.isSymbol(QLatin1String("{")))
                return aggregate();
            break;
        case PredicateToken::Type::Word:
            if (token.isKeyword(QLatin1String("NIL")) || token.isKeyword(QLatin1String("NULL"))) {
                advance();
                return Expression();
            }
            if (token.isKeyword(QLatin1String("TRUE")) || token.isKeyword(QLatin1String("YES")) ||
                token.isKeyword(QLatin1String("FALSE")) || token.isKeyword(QLatin1String("NO"))) {
                advance();
                return Expression::constant(token.isKeyword(QLatin1String("TRUE")) ||
                                            token.isKeyword(QLatin1String("YES")));
            }
            if (token.isKeyword(QLatin1String("SELF"))) {
                advance();
                if (!m_token.isSymbol(QLatin1String(".")))
                    return Expression::self();
                advance();
                if (m_token.type != PredicateToken::Type::Word)
                    fail(QStringLiteral("expected a key after 'SELF.'"));
                const QString first = m_token.text;
                advance();
                return keyPath(first);
            }
            if (token.escaped || !PredicateLexer::isReservedWord(token.text)) {
                advance();
                if (!token.escaped && token.isKeyword(QLatin1String("DATE")) &&
                    m_token.isSymbol(QLatin1String("(")))
                    return date();
                return keyPath(token.text);
            }
            break;
        default:
            break;
    }
    fail(QStringLiteral("expected a value, key path or variable"));
}

Expression PredicateParser::aggregate() {
    enter();
    advance();
    QList<Expression> elements;
    if (!m_token.isSymbol(QLatin1String("}"))) {
        elements << expression();
        while (m_token.isSymbol(QLatin1String(","))) {
            advance();
            elements << expression();
        }
    }
    expectSymbol(QLatin1String("}"), QStringLiteral("',' or '}'"));
    leave();
    return Expression::aggregate(elements);
}

Expression PredicateParser::keyPath(QString path) {
    while (m_token.isSymbol(QLatin1String("."))) {
        advance();
        const bool valid = m_token.type == PredicateToken::Type::Word ||
                           (m_token.type == PredicateToken::Type::CollectionOperator &&
                            isCollectionOperator(m_token.text));
        if (!valid)
            fail(QStringLiteral("expected a key or @count, @min, @max, @sum, @avg after '.'"));
        path += QLatin1Char('.') + m_token.text;
        advance();
    }
    return Expression::keyPath(path);
}

// "DATE(seconds since 2001)", the form in which descriptions print dates.
Expression PredicateParser::date() {
    advance();
    if (m_token.type != PredicateToken::Type::Number)
        fail(QStringLiteral("expected the seconds since 2001 in DATE(...)"));
    const Date date(m_token.value.toDouble());
    advance();
    expectSymbol(QLatin1String(")"), QStringLiteral("')' after the seconds of DATE("));
    return Expression::constant(QVariant::fromValue(date));
}

Expression PredicateParser::formatArgument() {
    const PredicateToken token = m_token;
    if (m_nextArgument >= m_arguments.size())
        fail(QStringLiteral("missing format argument for %%1").arg(token.text));
    const QVariant argument = m_arguments[m_nextArgument++];
    advance();
    const auto wrong = [&](const QString &expected) {
        fail(QStringLiteral("format argument %1 for %%2 is not %3")
                 .arg(m_nextArgument)
                 .arg(token.text, expected),
             token.position);
    };
    const QString &spec = token.text;
    if (spec == QLatin1String("K")) {
        const QString path =
            argument.typeId() == QMetaType::QString ? argument.toString() : QString();
        if (!isKeyPath(path))
            wrong(QStringLiteral("a key path"));
        return keyPath(path);
    }
    if (spec == QLatin1String("@")) {
        if (argument.typeId() == QMetaType::QDateTime && argument.toDateTime().isValid())
            return Expression::constant(
                QVariant::fromValue(Date::fromDateTime(argument.toDateTime())));
        return Expression::constant(argument);
    }
    if (spec == QLatin1String("s")) {
        if (argument.typeId() != QMetaType::QString && argument.typeId() != QMetaType::QByteArray)
            wrong(QStringLiteral("a string"));
        return Expression::constant(argument.toString());
    }
    if (spec == QLatin1String("c")) {
        if (argument.typeId() == QMetaType::QChar)
            return Expression::constant(QString(argument.toChar()));
        if (!ValueComparison::isInteger(argument) || argument.toLongLong() < 1 ||
            argument.toLongLong() > 0xFFFF)
            wrong(QStringLiteral("a character"));
        return Expression::constant(QString(QChar(char16_t(argument.toLongLong()))));
    }
    if (spec.endsWith(QLatin1Char('f')) || spec == QLatin1String("g")) {
        if (!ValueComparison::isNumber(argument))
            wrong(QStringLiteral("a number"));
        return Expression::constant(argument.toDouble());
    }
    // %d %i %u and their l/ll forms
    const int type = argument.typeId();
    if (!ValueComparison::isNumber(argument) || type == QMetaType::Double ||
        type == QMetaType::Float)
        wrong(QStringLiteral("an integer"));
    return Expression::constant(argument);
}
