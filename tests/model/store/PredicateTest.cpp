#include <gtest/gtest.h>

#include <QStringList>

#include "model/foundation/Date.h"
#include "model/store/FakeObject.h"
#include "model/store/Predicate.h"
#include "model/store/PredicateParser.h"

namespace {

Predicate parse(const QString &format, const QVariantList &arguments = {}) {
    return Predicate::fromFormat(format, arguments);
}

QVariantList keys(std::initializer_list<const char *> names) {
    QVariantList list;
    for (const char *name : names)
        list << QString::fromLatin1(name);
    return list;
}

Predicate comparison(const char *key, ComparisonOperator op, const QVariant &value) {
    return Predicate::comparison(Expression::keyPath(QString::fromLatin1(key)), op,
                                 Expression::constant(value));
}

// One object with a value of every kind; "missing" has none.
class PredicateTest : public ::testing::Test {
protected:
    PredicateTest() {
        sample.set(QStringLiteral("n"), 5)
            .set(QStringLiteral("big"), qint64(1) << 40)
            .set(QStringLiteral("r"), 1.5)
            .set(QStringLiteral("s"), QStringLiteral("Hello"))
            .set(QStringLiteral("accented"), QStringLiteral("Le Caf\u00E9 Noir"))
            .set(QStringLiteral("empty"), QString(""))
            .set(QStringLiteral("flag"), true)
            .set(QStringLiteral("off"), false)
            .set(QStringLiteral("d"), QVariant::fromValue(Date(100.0)))
            .set(QStringLiteral("data"), QByteArray("ab"))
            .set(QStringLiteral("tags"),
                 QStringList{QStringLiteral("Red"), QStringLiteral("green")})
            .set(QStringLiteral("star"), QStringLiteral("a*b"))
            .set(QStringLiteral("emoji"), QString::fromUcs4(U"a\U0001F600b"))
            .set(QStringLiteral("low"), 1)
            .set(QStringLiteral("high"), 9);
    }

    struct Case {
        const char *format;
        bool expected;
    };

    bool holds(const QString &format, const QVariantList &arguments = {}) {
        return parse(format, arguments).evaluate(&sample);
    }
    void check(std::initializer_list<Case> cases) {
        for (const Case &c : cases) {
            SCOPED_TRACE(c.format);
            EXPECT_EQ(holds(QString::fromUtf8(c.format)), c.expected);
        }
    }

    FakeObject sample;
};

TEST_F(PredicateTest, NumbersBooleansAndDates) {
    check({
        {"n == 5", true},
        {"n = 5", true},
        {"n == 5.0", true},
        {"n != 4", true},
        {"n <> 5", false},
        {"n < 6", true},
        {"n < 5", false},
        {"n <= 5", true},
        {"n =< 4", false},
        {"n > 4", true},
        {"n > 5", false},
        {"n >= 5", true},
        {"n => 6", false},
        {"r > 1", true},
        {"r < 2", true},
        {"r == 1.5", true},
        {"n > r", true},
        {"big > 1099511627775", true},
        {"big == 1099511627776", true},
        {"n == -5", false},
        {"n > -5", true},
        {"r < 15e-1", false},
        {"r <= 15e-1", true},
        {"flag == YES", true},
        {"flag == TRUE", true},
        {"flag == 1", true},
        {"flag == NO", false},
        {"off == NO", true},
        {"off == false", true},
        {"off != YES", true},
        // Dates against dates and against seconds since 2001.
        {"d == DATE(100)", true},
        {"d > DATE(99.5)", true},
        {"d < DATE(99.5)", false},
        {"d == 100", true},
        {"d > 99", true},
        {"d <= 100.0", true},
        {"d < 100", false},
        // Attribute against attribute.
        {"low < high", true},
        {"low == high", false},
        {"n BETWEEN {low, high}", true},
    });
}

TEST_F(PredicateTest, StringsWithOptions) {
    check({
        {"s == 'Hello'", true},
        {"s == \"hello\"", false},
        {"s ==[c] 'hello'", true},
        {"s !=[c] 'HELLO'", false},
        {"s < 'Help'", true},
        {"s < 'Hello'", false},
        {"s > 'H'", true},
        {"s <[c] 'help'", true},
        {"s BEGINSWITH 'Hel'", true},
        {"s BEGINSWITH 'hel'", false},
        {"s BEGINSWITH[c] 'hel'", true},
        {"s ENDSWITH 'llo'", true},
        {"s ENDSWITH 'Hel'", false},
        {"s CONTAINS 'ell'", true},
        {"s CONTAINS 'ELL'", false},
        {"s CONTAINS[c] 'ELL'", true},
        {"s CONTAINS ''", true},
        {"empty CONTAINS 'a'", false},
        {"accented CONTAINS 'Cafe'", false},
        {"accented CONTAINS[d] 'Cafe'", true},
        {"accented CONTAINS[cd] 'CAFE'", true},
        {"accented CONTAINS[c] 'CAF\u00C9'", true},
        {"accented ==[cd] 'le cafe noir'", true},
        {"accented contains[n] 'Caf\u00E9'", true},
        // Keywords and operators are read in any case.
        {"s beginswith 'H' and s endswith 'o'", true},
    });
}

TEST_F(PredicateTest, LikeWildcardsAndEscapes) {
    check({
        {"s LIKE 'Hello'", true},
        {"s LIKE 'H*'", true},
        {"s LIKE '*o'", true},
        {"s LIKE '*ll*'", true},
        {"s LIKE 'H?llo'", true},
        {"s LIKE 'H?lo'", false},
        {"s LIKE 'h*'", false},
        {"s LIKE[c] 'h*'", true},
        {"s LIKE '*'", true},
        {"empty LIKE '*'", true},
        {"empty LIKE '?'", false},
        {"s LIKE 'Hell'", false},
        {"s LIKE '*l*l*o'", true},
        {"s LIKE '*l*l*l*'", false},
        // "\*" in the pattern is a literal star (written "\\*" in a string).
        {"star LIKE 'a\\\\*b'", true},
        {"s LIKE 'a\\\\*b'", false},
        {"star LIKE 'a*b'", true},
        {"star LIKE 'a?b'", true},
        {"star LIKE 'a\\\\?b'", false},
        // "?" is one character, also outside the first plane.
        {"emoji LIKE 'a?b'", true},
        {"emoji LIKE 'a??b'", false},
        {"accented LIKE[cd] 'le cafe*'", true},
    });
}

TEST_F(PredicateTest, MatchesWholeStringsByRegularExpression) {
    check({
        {"s MATCHES 'H.*o'", true},
        {"s MATCHES 'ell'", false},
        {"s MATCHES '.*ell.*'", true},
        {"s MATCHES 'h.*'", false},
        {"s MATCHES[c] 'h.*'", true},
        {"s MATCHES '\\\\w+'", true},
        {"s MATCHES '\\\\S+'", true},
        {"s MATCHES[c] '\\\\S+'", true},
        {"accented MATCHES[d] '.*Cafe.*'", true},
        {"n MATCHES '5'", false},
    });
    // A pattern from a key path is compiled when evaluated; a bad one fails.
    sample.set(QStringLiteral("pattern"), QStringLiteral("He(l+)o"));
    EXPECT_TRUE(holds(QStringLiteral("s MATCHES pattern")));
    sample.set(QStringLiteral("pattern"), QStringLiteral("He(l+o"));
    EXPECT_FALSE(holds(QStringLiteral("s MATCHES pattern")));
}

TEST_F(PredicateTest, InAndBetween) {
    check({
        {"n IN {1, 5, 9}", true},
        {"n IN {1, 2}", false},
        {"n IN {}", false},
        {"s IN {'a', 'Hello'}", true},
        {"s IN[c] {'HELLO'}", true},
        {"'ell' IN s", true},
        {"'ELL' IN[c] s", true},
        {"'x' IN s", false},
        {"'Red' IN tags", true},
        {"'red' IN tags", false},
        {"'red' IN[c] tags", true},
        {"tags CONTAINS 'green'", true},
        {"tags CONTAINS 'gree'", false},
        {"ANY tags CONTAINS 'gree'", true},
        {"n BETWEEN {5, 9}", true},
        {"n BETWEEN {1, 5}", true},
        {"n BETWEEN {6, 9}", false},
        {"r BETWEEN {1, 2}", true},
        {"s BETWEEN {'A', 'Z'}", true},
        {"s BETWEEN {1, 9}", false},
        {"d BETWEEN {DATE(50), DATE(150)}", true},
        {"d BETWEEN {101, 200}", false},
        {"missing BETWEEN {1, 9}", false},
    });
}

TEST_F(PredicateTest, InTakesListsFromArguments) {
    const QStringList uids{QStringLiteral("a"), QStringLiteral("b")};
    sample.set(QStringLiteral("uid"), QStringLiteral("b"));
    EXPECT_TRUE(holds(QStringLiteral("uid IN %@"), {uids}));
    EXPECT_TRUE(
        holds(QStringLiteral("uid IN %@"), {QVariant(QVariantList{1, QStringLiteral("b")})}));
    EXPECT_FALSE(holds(QStringLiteral("uid IN %@"), {QStringList{QStringLiteral("c")}}));
    EXPECT_FALSE(holds(QStringLiteral("uid IN %@"), {QStringList{}}));
    EXPECT_FALSE(holds(QStringLiteral("uid IN %@"), {QVariant()}));
    // A single value stands for a list of one.
    EXPECT_TRUE(holds(QStringLiteral("n IN %@"), {5}));
    EXPECT_TRUE(holds(
        QStringLiteral("d BETWEEN %@"),
        {QVariant(QVariantList{QVariant::fromValue(Date(0)), QVariant::fromValue(Date(100))})}));
    EXPECT_THROW(parse(QStringLiteral("d BETWEEN %@"), {QVariant(QVariantList{1, 2, 3})}),
                 PredicateError);
}

TEST_F(PredicateTest, NilAndValuesOfDifferentKinds) {
    check({
        {"missing == nil", true},
        {"missing == NULL", true},
        {"missing != nil", false},
        {"n == nil", false},
        {"n != nil", true},
        {"nil == nil", true},
        {"missing == 0", false},
        {"missing != 5", true},
        {"missing < 5", false},
        {"missing > 5", false},
        {"missing <= 5", false},
        {"missing >= 5", false},
        {"n < nil", false},
        {"n >= nil", false},
        {"missing == ''", false},
        {"missing IN {1, nil}", true},
        {"missing CONTAINS 'a'", false},
        {"missing LIKE '*'", false},
        {"missing BEGINSWITH ''", false},
        // A string and a number neither equal nor order.
        {"s == 5", false},
        {"s != 5", true},
        {"s < 5", false},
        {"s > 5", false},
        {"n == '5'", false},
        {"data == 5", false},
        {"empty == nil", false},
        {"empty == ''", true},
    });
}

TEST_F(PredicateTest, StringsOrderByCodePoint) {
    // U+FFFD sorts before U+1F600 by code point, though not by UTF-16 unit.
    sample.set(QStringLiteral("emoji"), QString::fromUcs4(U"\U0001F600"));
    EXPECT_TRUE(holds(QStringLiteral("emoji > %@"), {QStringLiteral("\uFFFD")}));
    EXPECT_FALSE(holds(QStringLiteral("emoji < %@"), {QStringLiteral("\uFFFD")}));
    EXPECT_TRUE(holds(QStringLiteral("s < %@"), {QStringLiteral("a")}));  // "H" < "a"
}

TEST_F(PredicateTest, DataComparesBytewise) {
    EXPECT_TRUE(holds(QStringLiteral("data == %@"), {QByteArray("ab")}));
    EXPECT_TRUE(holds(QStringLiteral("data < %@"), {QByteArray("b")}));
    EXPECT_TRUE(holds(QStringLiteral("data > %@"), {QByteArray("a")}));
    EXPECT_FALSE(holds(QStringLiteral("data == %@"), {QStringLiteral("ab")}));
}

// An organiser with a to-many of attendees, each with an email and a to-one
// person; one attendee has no email.
class PredicateCollections : public PredicateTest {
protected:
    PredicateCollections() {
        ann.set(QStringLiteral("email"), QStringLiteral("Ann@Example.com"))
            .set(QStringLiteral("age"), 30);
        bob.set(QStringLiteral("email"), QStringLiteral("bob@example.com"))
            .set(QStringLiteral("age"), 40);
        anonymous.set(QStringLiteral("age"), 50);
        sample.linkMany(QStringLiteral("attendees"), {&ann, &bob, &anonymous});
        sample.linkMany(QStringLiteral("nobody"), {});
        sample.link(QStringLiteral("organizer"), &ann);
    }
    FakeObject ann, bob, anonymous, stranger;
};

TEST_F(PredicateCollections, AnyAllNone) {
    check({
        {"ANY attendees.age > 45", true},
        {"SOME attendees.age > 45", true},
        {"attendees.age > 45", true},
        {"attendees.age > 50", false},
        {"ALL attendees.age >= 30", true},
        {"ALL attendees.age > 30", false},
        {"NONE attendees.age > 50", true},
        {"NONE attendees.age > 45", false},
        {"ANY attendees.email == nil", true},
        {"ALL attendees.email != nil", false},
        {"ANY attendees.email ==[c] 'ann@example.com'", true},
        {"ANY attendees.email == 'ann@example.com'", false},
        {"ANY attendees.email BEGINSWITH 'bob'", true},
        {"ANY attendees.age IN {40, 41}", true},
        {"ALL attendees.age BETWEEN {30, 50}", true},
        // No members: ANY is false, ALL and NONE are true.
        {"ANY nobody.age > 0", false},
        {"nobody.age > 0", false},
        {"ALL nobody.age > 0", true},
        {"NONE nobody.age > 0", true},
        // A single value with a modifier counts as one member, nil as none.
        {"ANY organizer.age == 30", true},
        {"ALL organizer.age == 30", true},
        {"NONE organizer.age == 30", false},
        {"ANY missing == nil", false},
        {"NONE missing == 1", true},
        // @count is a plain number.
        {"attendees.@count == 3", true},
        {"attendees.@count > 3", false},
        {"nobody.@count == 0", true},
        {"attendees.age.@sum == 120", true},
        {"attendees.@max.age == 50", true},
        {"attendees.email.@count == 3", true},
        {"NOT (ANY attendees.age > 45)", false},
    });
}

TEST_F(PredicateCollections, MembershipAndIdentity) {
    EXPECT_TRUE(holds(QStringLiteral("attendees CONTAINS %@"), {ref(&bob)}));
    EXPECT_FALSE(holds(QStringLiteral("attendees CONTAINS %@"), {ref(&stranger)}));
    EXPECT_TRUE(holds(QStringLiteral("%@ IN attendees"), {ref(&anonymous)}));
    EXPECT_FALSE(holds(QStringLiteral("%@ IN attendees"), {ref(&stranger)}));
    EXPECT_TRUE(holds(QStringLiteral("organizer == %@"), {ref(&ann)}));
    EXPECT_FALSE(holds(QStringLiteral("organizer == %@"), {ref(&bob)}));
    EXPECT_TRUE(holds(QStringLiteral("organizer != %@"), {ref(&bob)}));
    EXPECT_TRUE(holds(QStringLiteral("organizer IN %@"),
                      {QVariant::fromValue(QList<KeyValueCoding *>{&bob, &ann})}));
    EXPECT_TRUE(holds(QStringLiteral("SELF == %@"), {ref(&sample)}));
    EXPECT_TRUE(
        holds(QStringLiteral("SELF IN %@"), {QVariant(QVariantList{ref(&ann), ref(&sample)})}));
    EXPECT_FALSE(holds(QStringLiteral("SELF == %@"), {ref(&ann)}));
    EXPECT_TRUE(holds(QStringLiteral("SELF.organizer.email ==[c] 'ann@example.com'")));
    EXPECT_TRUE(holds(QStringLiteral("organizer == organizer")));
    EXPECT_FALSE(holds(QStringLiteral("organizer == nil")));
    // Objects do not order.
    EXPECT_FALSE(holds(QStringLiteral("organizer < %@"), {ref(&bob)}));
    EXPECT_FALSE(holds(QStringLiteral("organizer > %@"), {ref(&bob)}));
    // Without an object, key paths are nil.
    EXPECT_TRUE(parse(QStringLiteral("a == nil AND SELF == nil")).evaluate(nullptr));
}

TEST_F(PredicateTest, ThePredicatesOfTheQueries) {
    FakeObject container, other, data;
    FakeObject child;
    child.link(QStringLiteral("parentContainer"), &container)
        .set(QStringLiteral("uid"), QStringLiteral("U-1"))
        .set(QStringLiteral("localReceivedTime"), QVariant::fromValue(Date(200.0)));

    const Predicate byUid = parse(QStringLiteral("%K == $UID"), keys({"uid"}));
    EXPECT_TRUE(byUid.withSubstitutionVariables({{QStringLiteral("UID"), QStringLiteral("U-1")}})
                    .evaluate(&child));
    EXPECT_FALSE(byUid.withSubstitutionVariables({{QStringLiteral("UID"), QStringLiteral("U-2")}})
                     .evaluate(&child));

    const Predicate since = parse(QStringLiteral("(%K > $DATE) AND (%K == $CONTAINER)"),
                                  keys({"localReceivedTime", "parentContainer"}));
    const auto receivedSince = [&](double seconds, FakeObject *in) {
        return since
            .withSubstitutionVariables(
                {{QStringLiteral("DATE"), QVariant::fromValue(Date(seconds))},
                 {QStringLiteral("CONTAINER"), ref(in)}})
            .evaluate(&child);
    };
    EXPECT_TRUE(receivedSince(100, &container));
    EXPECT_FALSE(receivedSince(200, &container));
    EXPECT_FALSE(receivedSince(100, &other));
    // The store keeps dates as seconds: a number compares with a Date.
    child.set(QStringLiteral("localReceivedTime"), 200.0);
    EXPECT_TRUE(receivedSince(100, &container));

    const Predicate live =
        parse(QStringLiteral("(%K == $CONTAINER) AND (%K != nil)"),
              keys({"parentContainer", "objectData"}))
            .withSubstitutionVariables({{QStringLiteral("CONTAINER"), ref(&container)}});
    EXPECT_FALSE(live.evaluate(&child));
    child.link(QStringLiteral("objectData"), &data);
    EXPECT_TRUE(live.evaluate(&child));

    const Predicate modified =
        parse(QStringLiteral("(%K == $CONTAINER) AND ((%K == nil) OR (%K != %K))"),
              keys({"parentContainer", "ownerLastModTime", "lastModTime", "ownerLastModTime"}))
            .withSubstitutionVariables({{QStringLiteral("CONTAINER"), ref(&container)}});
    EXPECT_TRUE(modified.evaluate(&child));  // never agreed with the owner
    child.set(QStringLiteral("ownerLastModTime"), QVariant::fromValue(Date(5)));
    child.set(QStringLiteral("lastModTime"), QVariant::fromValue(Date(5)));
    EXPECT_FALSE(modified.evaluate(&child));
    child.set(QStringLiteral("lastModTime"), QVariant::fromValue(Date(6)));
    EXPECT_TRUE(modified.evaluate(&child));

    FakeObject event, attendee;
    event.set(QStringLiteral("eventType"), 0).linkMany(QStringLiteral("attendees"), {});
    const Predicate withAttendees =
        parse(QStringLiteral("(%K == %d) AND (%K.@count > 0)"),
              {QStringLiteral("eventType"), 0, QStringLiteral("attendees")});
    EXPECT_FALSE(withAttendees.evaluate(&event));
    event.linkMany(QStringLiteral("attendees"), {&attendee});
    EXPECT_TRUE(withAttendees.evaluate(&event));

    EXPECT_TRUE(parse(QStringLiteral("%K == nil"), keys({"ownedBy"})).evaluate(&event));
    EXPECT_TRUE(parse(QStringLiteral("(%K == %d) AND (%K == NO)"),
                      {QStringLiteral("eventType"), 0, QStringLiteral("allDay")})
                    .withSubstitutionVariables({})
                    .evaluate(&event.set(QStringLiteral("allDay"), false)));

    event.set(QStringLiteral("localFirstDay"), 10).set(QStringLiteral("localLastDay"), 12);
    const auto overlaps = [&](int first, int last) {
        return parse(QStringLiteral("localFirstDay <= %d AND localLastDay >= %d"), {last, first})
            .evaluate(&event);
    };
    EXPECT_TRUE(overlaps(12, 20));
    EXPECT_TRUE(overlaps(0, 10));
    EXPECT_FALSE(overlaps(13, 20));
    EXPECT_FALSE(overlaps(0, 9));

    attendee.set(QStringLiteral("email"), QStringLiteral("Ann@Example.COM"));
    EXPECT_TRUE(
        parse(QStringLiteral("ANY attendees.email ==[c] %@"), {QStringLiteral("ann@example.com")})
            .evaluate(&event));

    event.set(QStringLiteral("title"), QStringLiteral("R\u00E9union d'\u00E9quipe"));
    EXPECT_TRUE(parse(QStringLiteral("title CONTAINS[cd] %@"), {QStringLiteral("EQUIPE")})
                    .evaluate(&event));
    EXPECT_FALSE(
        parse(QStringLiteral("title CONTAINS[c] %@"), {QStringLiteral("EQUIPE")}).evaluate(&event));

    event.link(QStringLiteral("parentContainerDirect"), &container);
    const Predicate visible =
        parse(QStringLiteral("%K IN $visibleContainers"), keys({"parentContainerDirect"}));
    const auto visibleAmong = [&](const QList<KeyValueCoding *> &containers) {
        return visible
            .withSubstitutionVariables(
                {{QStringLiteral("visibleContainers"), QVariant::fromValue(containers)}})
            .evaluate(&event);
    };
    EXPECT_TRUE(visibleAmong({&other, &container}));
    EXPECT_FALSE(visibleAmong({&other}));
    EXPECT_FALSE(visibleAmong({}));
}

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

TEST_F(PredicateTest, EvaluatingAVariableThrows) {
    EXPECT_THROW(holds(QStringLiteral("n IN {1, $X}")), PredicateError);
    EXPECT_THROW(holds(QStringLiteral("NOT $X == 1")), PredicateError);
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
