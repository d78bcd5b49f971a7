#include <gtest/gtest.h>

#include "model/store/PredicateFixture.h"
#include "model/store/PredicateParser.h"

namespace {

TEST_F(PredicateTest, PrecedenceIsNotThenAndThenOr) {
    // Every combination of a, b and c against the same formula in C++.
    const struct {
        const char *format;
        bool (*formula)(bool, bool, bool);
    } cases[] = {
        {"a == 1 OR b == 1 AND c == 1", [](bool a, bool b, bool c) { return a || (b && c); }},
        {"a == 1 AND b == 1 OR c == 1", [](bool a, bool b, bool c) { return (a && b) || c; }},
        {"(a == 1 OR b == 1) AND c == 1", [](bool a, bool b, bool c) { return (a || b) && c; }},
        {"NOT a == 1 AND b == 1", [](bool a, bool b, bool) { return !a && b; }},
        {"NOT (a == 1 AND b == 1)", [](bool a, bool b, bool) { return !(a && b); }},
        {"!a == 1 || b == 1 && !c == 1", [](bool a, bool b, bool c) { return !a || (b && !c); }},
        {"not not a == 1 or c == 1", [](bool a, bool, bool c) { return a || c; }},
        {"a == 1 && (b == 1 || (c == 1))", [](bool a, bool b, bool c) { return a && (b || c); }},
        {"TRUEPREDICATE AND a == 1", [](bool a, bool, bool) { return a; }},
        {"FALSEPREDICATE OR NOT c == 1", [](bool, bool, bool c) { return !c; }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.format);
        const Predicate predicate = parse(QString::fromLatin1(c.format));
        for (int bits = 0; bits < 8; ++bits) {
            FakeObject object({{QStringLiteral("a"), bits & 1},
                               {QStringLiteral("b"), (bits >> 1) & 1},
                               {QStringLiteral("c"), (bits >> 2) & 1}});
            EXPECT_EQ(predicate.evaluate(&object), c.formula(bits & 1, bits & 2, bits & 4)) << bits;
        }
    }
}

TEST_F(PredicateTest, ParsesIntoTheExpectedTree) {
    const Predicate p =
        parse(QStringLiteral("(%K == $CONTAINER) AND ((%K == nil) OR (%K != %K))"),
              keys({"parentContainer", "ownerLastModTime", "lastModTime", "ownerLastModTime"}));
    ASSERT_EQ(p.kind(), Predicate::Kind::And);
    ASSERT_EQ(p.subpredicates().size(), 2);
    const Predicate &first = p.subpredicates()[0];
    EXPECT_EQ(first.kind(), Predicate::Kind::Comparison);
    EXPECT_EQ(first.leftExpression(), Expression::keyPath(QStringLiteral("parentContainer")));
    EXPECT_EQ(first.comparisonOperator(), ComparisonOperator::Equal);
    EXPECT_EQ(first.rightExpression(), Expression::variable(QStringLiteral("CONTAINER")));
    const Predicate &second = p.subpredicates()[1];
    ASSERT_EQ(second.kind(), Predicate::Kind::Or);
    EXPECT_EQ(second.subpredicates()[0].rightExpression(), Expression());
    EXPECT_EQ(second.subpredicates()[1].rightExpression(),
              Expression::keyPath(QStringLiteral("ownerLastModTime")));

    // Chains of one operator are one node; parentheses keep their own.
    EXPECT_EQ(parse(QStringLiteral("a == 1 AND b == 2 AND c == 3")).subpredicates().size(), 3);
    EXPECT_EQ(parse(QStringLiteral("(a == 1 AND b == 2) AND c == 3")).subpredicates().size(), 2);
    EXPECT_EQ(parse(QStringLiteral("((a == 1))")), comparison("a", ComparisonOperator::Equal, 1));

    const Predicate options = parse(QStringLiteral("ANY tags.name LIKE[cd] 'x*'"));
    EXPECT_EQ(options.modifier(), ComparisonModifier::Any);
    EXPECT_EQ(options.comparisonOperator(), ComparisonOperator::Like);
    EXPECT_EQ(options.options(), CaseInsensitive | DiacriticInsensitive);
    EXPECT_EQ(parse(QStringLiteral("NONE a < 1")).modifier(), ComparisonModifier::None);
    EXPECT_EQ(parse(QStringLiteral("all a < 1")).modifier(), ComparisonModifier::All);
    EXPECT_EQ(parse(QStringLiteral("a ==[n] 'x'")).options(), 0);

    // Format arguments: %K is a key path (continued by ".@count"), values are constants.
    const Predicate args = parse(QStringLiteral("%K.@count == %d AND %K == %@ AND %K == %f"),
                                 {QStringLiteral("a.b"), 3, QStringLiteral("s"),
                                  QStringLiteral("%K"), QStringLiteral("r"), 2});
    EXPECT_EQ(args.subpredicates()[0].leftExpression().keyPath(), QStringLiteral("a.b.@count"));
    EXPECT_EQ(args.subpredicates()[1].rightExpression().constantValue(),
              QVariant(QStringLiteral("%K")));
    EXPECT_EQ(args.subpredicates()[2].rightExpression().constantValue().typeId(),
              QMetaType::Double);
    EXPECT_EQ(parse(QStringLiteral("a == %s"), {QByteArray("x")}).rightExpression().constantValue(),
              QVariant(QStringLiteral("x")));
    EXPECT_EQ(parse(QStringLiteral("a == %c"), {65}).rightExpression().constantValue(),
              QVariant(QStringLiteral("A")));
    EXPECT_EQ(parse(QStringLiteral("a == %@"), {QDateTime::fromSecsSinceEpoch(978307260, Qt::UTC)})
                  .rightExpression()
                  .constantValue(),
              QVariant::fromValue(Date(60)));
    // Quoted text is never a format specifier.
    EXPECT_EQ(parse(QStringLiteral("a == '%@'")).rightExpression().constantValue(),
              QVariant(QStringLiteral("%@")));
    // Reserved words are keys when escaped, and anywhere after a dot.
    EXPECT_EQ(parse(QStringLiteral("#in == 1")).leftExpression().keyPath(), QStringLiteral("in"));
    EXPECT_EQ(parse(QStringLiteral("a.in.any == 1")).leftExpression().keyPath(),
              QStringLiteral("a.in.any"));
}

TEST_F(PredicateTest, SubstitutionLeavesTheTemplateUntouched) {
    const Predicate tmpl = parse(QStringLiteral("n IN {$LOW, 2} AND s == $NAME"));
    EXPECT_TRUE(tmpl.hasVariables());
    const Predicate filled =
        tmpl.withSubstitutionVariables({{QStringLiteral("LOW"), 5},
                                        {QStringLiteral("NAME"), QStringLiteral("Hello")},
                                        {QStringLiteral("UNUSED"), 1}});
    EXPECT_FALSE(filled.hasVariables());
    EXPECT_TRUE(filled.evaluate(&sample));
    EXPECT_EQ(filled.description(), QStringLiteral("n IN {5, 2} AND s == \"Hello\""));
    EXPECT_TRUE(tmpl.hasVariables());
    EXPECT_EQ(tmpl.description(), QStringLiteral("n IN {$LOW, 2} AND s == $NAME"));
    EXPECT_EQ(tmpl, parse(QStringLiteral("n IN {$LOW, 2} AND s == $NAME")));

    // A variable with no value is an error naming it, and so is evaluating
    // the template itself.
    try {
        tmpl.withSubstitutionVariables({{QStringLiteral("LOW"), 5}});
        FAIL() << "substituted without NAME";
    } catch (const PredicateError &error) {
        EXPECT_NE(std::string(error.what()).find("$NAME"), std::string::npos) << error.what();
    }
    EXPECT_THROW(tmpl.evaluate(&sample), PredicateError);
    // An invalid value is nil.
    EXPECT_TRUE(parse(QStringLiteral("missing == $X"))
                    .withSubstitutionVariables({{QStringLiteral("X"), QVariant()}})
                    .evaluate(&sample));
    // A predicate without variables is returned as it is.
    const Predicate plain = parse(QStringLiteral("n == 5"));
    EXPECT_EQ(plain.withSubstitutionVariables({}), plain);
    EXPECT_FALSE(plain.hasVariables());
}

TEST(PredicateDescription, PrintsThePredicateLanguage) {
    const struct {
        const char *format;
        const char *description;
    } cases[] = {
        {"a == 1", "a == 1"},
        {"a = 1.0", "a == 1.0"},
        {"a <> 1.25", "a != 1.25"},
        {"a => -3 && b =< 4", "a >= -3 AND b <= 4"},
        {"a == 1e20", "a == 1e+20"},
        {"a == 'say \"hi\"\\n\\ttab\\\\'", "a == \"say \\\"hi\\\"\\n\\ttab\\\\\""},
        {"a == \"\\u0001\"", "a == \"\\u0001\""},
        {"a == yes OR b == false", "a == YES OR b == NO"},
        {"a == null", "a == nil"},
        {"any a.b contains[dc] 'x'", "ANY a.b CONTAINS[cd] \"x\""},
        {"ALL a >[c] 'x'", "ALL a >[c] \"x\""},
        {"none a IN {1, 'b', {nil}}", "NONE a IN {1, \"b\", {nil}}"},
        {"a BETWEEN {1, 2}", "a BETWEEN {1, 2}"},
        {"a LIKE[d] 'x?'", "a LIKE[d] \"x?\""},
        {"a MATCHES 'x+' OR a BEGINSWITH 'b' OR a ENDSWITH 'e'",
         "a MATCHES \"x+\" OR a BEGINSWITH \"b\" OR a ENDSWITH \"e\""},
        {"!(a == 1)", "NOT a == 1"},
        {"NOT (a == 1 OR b == 2)", "NOT (a == 1 OR b == 2)"},
        {"(a == 1 OR b == 2) AND c == 3", "(a == 1 OR b == 2) AND c == 3"},
        {"(a == 1 AND b == 2) OR c == 3", "a == 1 AND b == 2 OR c == 3"},
        {"(a == 1 AND b == 2) AND c == 3", "(a == 1 AND b == 2) AND c == 3"},
        {"TRUEPREDICATE", "TRUEPREDICATE"},
        {"not falsepredicate", "NOT FALSEPREDICATE"},
        {"SELF == $ME", "SELF == $ME"},
        {"self.a == 1", "a == 1"},
        {"#and == 1 AND #Self.x == 2", "#and == 1 AND #Self.x == 2"},
        {"a.@count > 0", "a.@count > 0"},
        {"d == DATE(694224000.5)", "d == DATE(694224000.5)"},
        {"d < date(-12)", "d < DATE(-12)"},
        {"date == 1", "date == 1"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.format);
        const Predicate predicate = parse(QString::fromUtf8(c.format));
        if (c.description) {
            EXPECT_EQ(predicate.description(), QString::fromUtf8(c.description));
        }
        const Predicate again = parse(predicate.description());
        EXPECT_EQ(again, predicate) << qPrintable(predicate.description());
        EXPECT_EQ(again.description(), predicate.description());
    }
}

TEST(PredicateDescription, ConstantsFromArgumentsAndFactories) {
    const Predicate strings =
        parse(QStringLiteral("%K == %@"), {QStringLiteral("title"), QStringLiteral("a'b\"c\\")});
    EXPECT_EQ(strings.description(), QStringLiteral("title == \"a'b\\\"c\\\\\""));
    EXPECT_EQ(parse(strings.description()), strings);

    // Numbers keep their kind through a round trip; the key paths from %K
    // that are reserved words are escaped.
    const Predicate numbers = parse(
        QStringLiteral("%K == %d OR %K == %f OR %K == %@"),
        {QStringLiteral("in"), qint64(-7), QStringLiteral("x"), 3.0, QStringLiteral("y.any"), 0.1});
    EXPECT_EQ(numbers.description(), QStringLiteral("#in == -7 OR x == 3.0 OR y.any == 0.1"));
    EXPECT_EQ(parse(numbers.description()), numbers);

    const Predicate dated =
        comparison("d", ComparisonOperator::Greater, QVariant::fromValue(Date(1.25)));
    EXPECT_EQ(dated.description(), QStringLiteral("d > DATE(1.25)"));
    EXPECT_EQ(parse(dated.description()), dated);

    // Lists print as aggregates; objects and data as placeholders.
    EXPECT_EQ(
        parse(QStringLiteral("uid IN %@"), {QStringList{QStringLiteral("a"), QStringLiteral("b")}})
            .description(),
        QStringLiteral("uid IN {\"a\", \"b\"}"));
    FakeObject object;
    EXPECT_TRUE(parse(QStringLiteral("a == %@"), {ref(&object)})
                    .description()
                    .startsWith(QStringLiteral("a == <object 0x")));
    EXPECT_EQ(parse(QStringLiteral("a == %@"), {QByteArray("\x01\xff", 2)}).description(),
              QStringLiteral("a == <01ff>"));

    // The factories: AND/OR of none or one, and a deep tree.
    EXPECT_EQ(Predicate::andPredicate({}).kind(), Predicate::Kind::True);
    EXPECT_EQ(Predicate::orPredicate({}).kind(), Predicate::Kind::False);
    const Predicate one = comparison("a", ComparisonOperator::Less, 1);
    EXPECT_EQ(Predicate::andPredicate({one}), one);
    const Predicate tree =
        Predicate::orPredicate({Predicate::notPredicate(Predicate::andPredicate(
                                    {one, Predicate::orPredicate({one, one})})),
                                Predicate::andPredicate({Predicate::andPredicate({one, one}), one}),
                                Predicate::orPredicate({one, one}),
                                Predicate::notPredicate(Predicate::notPredicate(one))});
    EXPECT_EQ(parse(tree.description()), tree) << qPrintable(tree.description());
}

TEST(PredicateEquality, ComparesTrees) {
    EXPECT_EQ(parse(QStringLiteral("a == 1")), parse(QStringLiteral("a = 1")));
    EXPECT_EQ(parse(QStringLiteral("a == 1")), parse(QStringLiteral("a == %d"), {1}));
    EXPECT_NE(parse(QStringLiteral("a == 1")), parse(QStringLiteral("a == 2")));
    EXPECT_NE(parse(QStringLiteral("a == 1")), parse(QStringLiteral("b == 1")));
    EXPECT_NE(parse(QStringLiteral("a == 1")), parse(QStringLiteral("a != 1")));
    EXPECT_NE(parse(QStringLiteral("a == 1")), parse(QStringLiteral("a ==[c] 1")));
    EXPECT_NE(parse(QStringLiteral("a == 1")), parse(QStringLiteral("ANY a == 1")));
    EXPECT_NE(parse(QStringLiteral("a == '1'")), parse(QStringLiteral("a == 1")));
    EXPECT_NE(parse(QStringLiteral("a == $X")), parse(QStringLiteral("a == X")));
    EXPECT_NE(parse(QStringLiteral("a == 1 AND b == 1")),
              parse(QStringLiteral("a == 1 OR b == 1")));
    EXPECT_NE(parse(QStringLiteral("a == {1}")), parse(QStringLiteral("a == {1, 2}")));
    EXPECT_NE(parse(QStringLiteral("NOT a == 1")), parse(QStringLiteral("a == 1")));
    EXPECT_EQ(Predicate(), Predicate::truePredicate());
    EXPECT_NE(Predicate::truePredicate(), Predicate::falsePredicate());
}

TEST(PredicateErrors, MalformedTextIsAnErrorWithItsOffset) {
    const struct {
        const char *format;
        const char *message;  // part of the error
    } cases[] = {
        {"", "expected a value, key path or variable at offset 0"},
        {"   ", "at offset 3"},
        {"(a == 1", "expected ')' at offset 7"},
        {"a == 1)", "expected AND, OR or the end at offset 6"},
        {"((a == 1) OR b == 2", "expected ')'"},
        {"a ==", "expected a value, key path or variable at offset 4"},
        {"== 1", "expected a value"},
        {"a == 1 AND", "at offset 10"},
        {"AND a == 1", "at offset 0"},
        {"a == 1 OR OR b == 2", "at offset 10"},
        {"NOT", "at offset 3"},
        {"ANY", "at offset 3"},
        {"a", "expected a comparison operator at offset 1"},
        {"a b", "expected a comparison operator at offset 2"},
        {"a FOO 1", "expected a comparison operator at offset 2"},
        {"a ~ 1", "unexpected character '~' at offset 2"},
        {"a === 1", "at offset 4"},
        {"a == 'abc", "unterminated string at offset 5"},
        {"a == \"abc\\", "unterminated string at offset 5"},
        {"a == '\\u12'", "expected four hex digits"},
        {"a ==[x] 1", "unknown comparison option 'x'"},
        {"a ==[c 1", "expected ']'"},
        {"a ==[] 1", "expected comparison options"},
        {"a BETWEEN 5", "BETWEEN needs two bounds, as in {1, 5} at offset 10"},
        {"a BETWEEN {1, 2, 3}", "BETWEEN needs two bounds"},
        {"a MATCHES '('", "invalid regular expression"},
        {"a.1 == 2", "expected a key"},
        {"a. == 2", "expected a key"},
        {"a.@foo == 2", "expected a key or @count"},
        {"$ == 1", "unexpected character '$'"},
        {"a == 1e999", "number out of range"},
        {"a == 12abc", "unexpected letter in a number"},
        {"a IN {1,}", "expected a value"},
        {"a IN {1 2}", "expected ',' or '}'"},
        {"a == DATE(", "expected the seconds since 2001"},
        {"a == DATE(5", "expected ')' after the seconds"},
        {"a == %z", "unknown format specifier at offset 5"},
        {"a == %%", "unknown format specifier"},
        {"a == %@", "missing format argument for %@ at offset 5"},
        {"%K == 1", "missing format argument for %K"},
        {"SELF. == 1", "expected a key after 'SELF.'"},
        {"a == AND", "expected a value"},
        {"a == 1 b == 2", "expected AND, OR or the end at offset 7"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.format);
        try {
            parse(QString::fromUtf8(c.format));
            ADD_FAILURE() << "no error";
        } catch (const PredicateError &error) {
            EXPECT_NE(std::string(error.what()).find(c.message), std::string::npos) << error.what();
        }
    }
}

TEST(PredicateErrors, ArgumentsThatDoNotFit) {
    const struct {
        const char *format;
        QVariantList arguments;
        const char *message;
    } cases[] = {
        {"%K == 1", {5}, "format argument 1 for %K is not a key path"},
        {"%K == 1", {QStringLiteral("a b")}, "is not a key path"},
        {"%K == 1", {QString()}, "is not a key path"},
        {"%K == 1", {QStringLiteral("a.")}, "is not a key path"},
        {"%K == 1", {QStringLiteral("@count")}, "is not a key path"},
        {"a == %d", {QStringLiteral("5")}, "format argument 1 for %d is not an integer"},
        {"a == %ld", {1.5}, "is not an integer"},
        {"a == %f", {QStringLiteral("x")}, "is not a number"},
        {"a == %s", {5}, "is not a string"},
        {"a == %c", {0x110000}, "is not a character"},
        {"a == 1", {1}, "1 format arguments given but only 0 used"},
        {"a == %@ AND b == %@", {1}, "missing format argument for %@ at offset 17"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.format);
        try {
            parse(QString::fromUtf8(c.format), c.arguments);
            ADD_FAILURE() << "no error";
        } catch (const PredicateError &error) {
            EXPECT_NE(std::string(error.what()).find(c.message), std::string::npos) << error.what();
        }
    }
}

TEST(PredicateErrors, DeepNestingIsRefusedWithoutExhaustingTheStack) {
    const int deep = PredicateParser::kMaxDepth + 1;
    const QString limit =
        QStringLiteral("nesting deeper than %1 levels").arg(PredicateParser::kMaxDepth);
    for (const QString &format : {QString(100000, QLatin1Char('(')),
                                  QString(deep, QLatin1Char('!')) + QStringLiteral("a == 1"),
                                  QStringLiteral("a IN ") + QString(deep, QLatin1Char('{')),
                                  QString(deep, QLatin1Char('(')) + QStringLiteral("a == 1") +
                                      QString(deep, QLatin1Char(')'))}) {
        try {
            parse(format);
            ADD_FAILURE() << "no error";
        } catch (const PredicateError &error) {
            EXPECT_TRUE(QString::fromStdString(error.what()).contains(limit)) << error.what();
        }
    }
    const int allowed = PredicateParser::kMaxDepth;
    const Predicate nested = parse(QString(allowed, QLatin1Char('!')) + QStringLiteral("a == 1"));
    EXPECT_EQ(parse(nested.description()), nested);
}

}  // namespace
