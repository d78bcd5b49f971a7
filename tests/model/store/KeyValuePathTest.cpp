#include <gtest/gtest.h>

#include <QStringList>

#include "model/foundation/Date.h"
#include "model/store/FakeObject.h"
#include "model/store/KeyValueCoding.h"
#include "model/store/Predicate.h"
#include "model/store/StringFolding.h"

namespace {

// A calendar with three events; the events have attendees (a to-many of a
// to-many) and one event has no location object.
class KeyValuePathTest : public ::testing::Test {
protected:
    KeyValuePathTest() {
        ann.set(QStringLiteral("email"), QStringLiteral("ann@example.com"));
        bob.set(QStringLiteral("email"), QStringLiteral("bob@example.com"));
        nobody.set(QStringLiteral("name"), QStringLiteral("Nobody"));  // no email
        room.set(QStringLiteral("name"), QStringLiteral("Room 1"));
        first.set(QStringLiteral("price"), 10).link(QStringLiteral("location"), &room);
        first.linkMany(QStringLiteral("attendees"), {&ann, &bob});
        second.set(QStringLiteral("price"), 20).linkMany(QStringLiteral("attendees"), {&nobody});
        third.set(QStringLiteral("price"), 30).linkMany(QStringLiteral("attendees"), {});
        calendar.set(QStringLiteral("title"), QStringLiteral("Work"));
        calendar.linkMany(QStringLiteral("events"), {&first, &second, &third});
        first.link(QStringLiteral("calendar"), &calendar);
    }

    QVariant path(const FakeObject &object, const char *keyPath) {
        return KeyValue::valueForKeyPath(&object, QString::fromLatin1(keyPath));
    }

    FakeObject ann, bob, nobody, room, first, second, third, calendar;
};

TEST_F(KeyValuePathTest, FollowsToOneLinksAndStopsAtNil) {
    EXPECT_EQ(path(first, "location.name"), QVariant(QStringLiteral("Room 1")));
    EXPECT_EQ(path(first, "calendar.title"), QVariant(QStringLiteral("Work")));
    EXPECT_EQ(path(first, "calendar.events.price").toList(), (QVariantList{10, 20, 30}));
    EXPECT_FALSE(path(second, "location.name").isValid());
    EXPECT_FALSE(path(second, "location.name.more").isValid());
    EXPECT_FALSE(path(first, "title").isValid());
    EXPECT_FALSE(KeyValue::valueForKeyPath(nullptr, QStringLiteral("title")).isValid());
    EXPECT_EQ(KeyValue::object(path(first, "location")), &room);
}

TEST_F(KeyValuePathTest, ToManyStepsCollectEveryMemberFlattenedOneLevel) {
    // A plain to-many key keeps the relationship's own value.
    EXPECT_EQ(path(calendar, "events").value<QList<KeyValueCoding *>>().size(), 3);
    // A key through a to-many gives one value per member, nil kept.
    EXPECT_EQ(path(first, "attendees.email").toList(),
              (QVariantList{QStringLiteral("ann@example.com"), QStringLiteral("bob@example.com")}));
    EXPECT_EQ(path(second, "attendees.email").toList(), QVariantList{QVariant()});
    // A to-many of a to-many is flattened: every attendee of every event.
    const QVariant attendees = path(calendar, "events.attendees");
    EXPECT_EQ(KeyValue::objects(attendees), (QList<const KeyValueCoding *>{&ann, &bob, &nobody}));
    EXPECT_EQ(path(calendar, "events.attendees.email").toList(),
              (QVariantList{QStringLiteral("ann@example.com"), QStringLiteral("bob@example.com"),
                            QVariant()}));
    EXPECT_EQ(path(calendar, "events.location").toList().size(), 3);
    EXPECT_EQ(path(third, "attendees.email").toList(), QVariantList());
}

TEST_F(KeyValuePathTest, CollectionOperators) {
    EXPECT_EQ(path(calendar, "events.@count"), QVariant(qint64(3)));
    EXPECT_EQ(path(third, "attendees.@count"), QVariant(qint64(0)));
    EXPECT_EQ(path(first, "location.@count"), QVariant(qint64(1)));   // a to-one
    EXPECT_EQ(path(second, "location.@count"), QVariant(qint64(0)));  // an empty to-one
    EXPECT_EQ(path(calendar, "events.attendees.@count"), QVariant(qint64(3)));
    EXPECT_EQ(path(calendar, "events.price.@sum"), QVariant(qint64(60)));
    EXPECT_EQ(path(calendar, "events.@sum.price"), QVariant(qint64(60)));
    EXPECT_EQ(path(calendar, "events.price.@min"), QVariant(10));
    EXPECT_EQ(path(calendar, "events.@max.price"), QVariant(30));
    EXPECT_DOUBLE_EQ(path(calendar, "events.price.@avg").toDouble(), 20.0);
    // Nil members are skipped; an email list orders as strings.
    EXPECT_EQ(path(calendar, "events.attendees.email.@max"),
              QVariant(QStringLiteral("bob@example.com")));
    EXPECT_EQ(path(calendar, "events.attendees.email.@count"), QVariant(qint64(3)));

    second.set(QStringLiteral("price"), 2.5);
    EXPECT_EQ(path(calendar, "events.price.@sum"), QVariant(42.5));
    EXPECT_EQ(path(third, "attendees.price.@sum"), QVariant(qint64(0)));
    EXPECT_FALSE(path(third, "attendees.price.@avg").isValid());
    EXPECT_FALSE(path(third, "attendees.price.@min").isValid());
    EXPECT_FALSE(path(calendar, "events.@median").isValid());
}

TEST(KeyValue, CollectionsAndObjects) {
    FakeObject a, b;
    const QVariant links = QVariant::fromValue(QList<KeyValueCoding *>{&a, &b});
    EXPECT_TRUE(KeyValue::isCollection(links));
    EXPECT_TRUE(KeyValue::isCollection(QVariant(QStringList{QStringLiteral("x")})));
    EXPECT_TRUE(KeyValue::isCollection(QVariant(QVariantList{})));
    EXPECT_FALSE(KeyValue::isCollection(QVariant(QStringLiteral("x"))));
    EXPECT_FALSE(KeyValue::isCollection(ref(&a)));
    EXPECT_FALSE(KeyValue::isCollection(QVariant()));

    EXPECT_EQ(KeyValue::objects(links), (QList<const KeyValueCoding *>{&a, &b}));
    EXPECT_EQ(KeyValue::objects(QVariantList{ref(&b), 5, QVariant()}),
              (QList<const KeyValueCoding *>{&b}));
    EXPECT_TRUE(KeyValue::objects(ref(&a)).isEmpty());
    EXPECT_EQ(KeyValue::members(QStringList{QStringLiteral("x"), QStringLiteral("y")}),
              (QVariantList{QStringLiteral("x"), QStringLiteral("y")}));
    EXPECT_TRUE(KeyValue::members(QVariant(5)).isEmpty());

    EXPECT_EQ(KeyValue::object(ref(&a)), &a);
    EXPECT_EQ(KeyValue::object(QVariant::fromValue<KeyValueCoding *>(nullptr)), nullptr);
    EXPECT_EQ(KeyValue::object(QVariant(5)), nullptr);
    EXPECT_EQ(KeyValue::object(links), nullptr);
}

TEST(StringFolding, FoldsCaseAndDiacriticsIntoNfc) {
    const QString ecole = QStringLiteral("\u00C9cole");  // "École"
    EXPECT_EQ(foldString(ecole, 0), ecole);
    EXPECT_EQ(foldString(ecole, CaseInsensitive), QStringLiteral("\u00E9cole"));
    EXPECT_EQ(foldString(ecole, DiacriticInsensitive), QStringLiteral("Ecole"));
    EXPECT_EQ(foldString(ecole, CaseInsensitive | DiacriticInsensitive), QStringLiteral("ecole"));
    EXPECT_EQ(foldString(QStringLiteral("ABC xyz"), CaseInsensitive), QStringLiteral("abc xyz"));
    EXPECT_EQ(foldString(QStringLiteral("ABC"), DiacriticInsensitive), QStringLiteral("ABC"));

    // Canonically equivalent spellings fold alike: decomposed "e" + acute.
    const QString decomposed = QStringLiteral("E\u0301cole");
    EXPECT_EQ(foldString(decomposed, 0), decomposed);
    EXPECT_EQ(foldString(decomposed, CaseInsensitive), QStringLiteral("\u00E9cole"));
    EXPECT_EQ(foldString(QStringLiteral("Ångström"), CaseInsensitive | DiacriticInsensitive),
              QStringLiteral("angstrom"));
    EXPECT_EQ(foldString(QStringLiteral("\u03A3\u039F\u03A6\u0399\u0391"), CaseInsensitive),
              foldString(QStringLiteral("\u03C3\u03BF\u03C6\u03B9\u03B1"), CaseInsensitive));
    // Letters outside the first plane (surrogate pairs): Deseret capital and
    // small long i fold together; a combining mark above the BMP is dropped.
    EXPECT_EQ(foldString(QString::fromUcs4(U"\U00010400x"), CaseInsensitive),
              QString::fromUcs4(U"\U00010428x"));
    EXPECT_EQ(foldString(QString::fromUcs4(U"a\U0001D167b"), DiacriticInsensitive),
              QStringLiteral("ab"));
    EXPECT_EQ(foldString(QStringLiteral("na\u00EFve caf\u00E9"), DiacriticInsensitive),
              QStringLiteral("naive cafe"));
}

}  // namespace
