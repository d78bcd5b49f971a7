#include <gtest/gtest.h>

#include "model/store/PredicateFixture.h"
#include "model/store/PredicateParser.h"

namespace {

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

TEST_F(PredicateTest, EvaluatingAVariableThrows) {
    EXPECT_THROW(holds(QStringLiteral("n IN {1, $X}")), PredicateError);
    EXPECT_THROW(holds(QStringLiteral("NOT $X == 1")), PredicateError);
}

}  // namespace
