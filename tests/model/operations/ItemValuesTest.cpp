#include <gtest/gtest.h>

#include "model/ChangeChecksum.h"
#include "model/Queries.h"
#include "model/objects/ModelFixture.h"

namespace {

class ItemValuesTest : public ModelTest {
protected:
    ItemValuesTest() { Queries::setContext(&context()); }
    ~ItemValuesTest() override { Queries::setContext(nullptr); }
};

TEST(ChangeChecksumCrc, MatchesTheKnownCheckValueAndKeepsOnlyTheLowLengthBytes) {
    // CRC-16 with polynomial 0x1021 and initial value 0 of "123456789".
    EXPECT_EQ(ChangeChecksum::crc16("123456789"), 0x31C3);
    EXPECT_EQ(ChangeChecksum::crc16(QByteArray()), 0);
    // 65536 + 3 bytes checksum like their first 3.
    const QByteArray longer = QByteArray(65536, 'q') + "abc";
    EXPECT_EQ(ChangeChecksum::crc16(longer), ChangeChecksum::crc16(QByteArray(3, 'q')));
}

TEST_F(ItemValuesTest, ChecksumsMoveOnARealChangeAndStayOnANoOp) {
    CommonDataMO *item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
    item->setStringValue(QStringLiteral("Lunch"), QStringLiteral("title"));
    item->setValue(QStringLiteral("location"), QStringLiteral("Canteen"));
    item->setIntegerValue(5, QStringLiteral("priority"));
    ExtraDataMO *alarm = makeExtra(QStringLiteral("Reminder"), item);
    alarm->setDoubleValue(-600, QStringLiteral("relativeSeconds"));
    const ChangeChecksum::Dict before = ChangeChecksum::checksumDict(*item);
    EXPECT_EQ(before.value(QStringLiteral("title")),
              QString::number(ChangeChecksum::crc16("Lunch")));
    EXPECT_TRUE(before.contains(QStringLiteral("reminders")));
    EXPECT_FALSE(before.contains(QStringLiteral("attendees")));

    // The same values written again, and local-only changes, change nothing.
    item->setStringValue(QStringLiteral("Lunch"), QStringLiteral("title"));
    item->setValue(QStringLiteral("location"), QStringLiteral("Canteen"));
    item->setBoolValue(true, QStringLiteral("localHidden"));
    makeExtra(QStringLiteral("LocalReminder"), item);
    EXPECT_TRUE(
        ChangeChecksum::changedKeysBetweenChecksumDict(before, ChangeChecksum::checksumDict(*item))
            .isEmpty());

    item->setValue(QStringLiteral("location"), QStringLiteral("Garden"));
    alarm->setDoubleValue(-900, QStringLiteral("relativeSeconds"));
    makeExtra(QStringLiteral("Attendee"), item)
        ->setValue(QStringLiteral("email"), QStringLiteral("ann@example.com"));
    item->setIntegerValue(0, QStringLiteral("priority"));
    EXPECT_EQ(
        ChangeChecksum::changedKeysBetweenChecksumDict(before, ChangeChecksum::checksumDict(*item)),
        (QStringList{QStringLiteral("attendees"), QStringLiteral("location"),
                     QStringLiteral("priority"), QStringLiteral("reminders")}));
}

TEST_F(ItemValuesTest, SearchTextJoinsTheSearchedWords) {
    CommonDataMO *item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
    item->setStringValue(QStringLiteral("Lunch"), QStringLiteral("title"));
    item->setTagListValue({QStringLiteral("Food")}, QStringLiteral("tags"));
    item->calcSearchText();
    EXPECT_EQ(item->valueForKey(QStringLiteral("localSearchText")).toString(),
              QStringLiteral(" Food Lunch "));

    item->setStringValue(QStringLiteral("line one\nline\ttwo"), QStringLiteral("content"));
    item->setStringValue(QString(40000, QLatin1Char('x')), QStringLiteral("localContent"));
    ExtraDataMO *link = makeExtra(QStringLiteral("ContactLink"), item);
    link->setValue(QStringLiteral("company"), QStringLiteral("Acme"));
    link->setValue(QStringLiteral("primaryEmail"), QStringLiteral("desk@acme.test"));
    ExtraDataMO *guest = makeExtra(QStringLiteral("Attendee"), item);
    guest->setValue(QStringLiteral("name"), QStringLiteral("Room 4"));
    guest->setValue(QStringLiteral("email"), QStringLiteral("room4"));
    guest->setValue(QStringLiteral("directoryURL"), QStringLiteral("ldap://rooms/4"));
    item->calcSearchText();
    EXPECT_EQ(item->valueForKey(QStringLiteral("localSearchText")).toString(),
              QStringLiteral(" Food Lunch line one line two Acme desk@acme.test Room 4 "
                             "ldap://rooms/4 "));
}

TEST_F(ItemValuesTest, DeepCopyTakesContentButNotIdentityOrLocalState) {
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    CommonDataMO *source = makeItem(calendar, QStringLiteral("E"));
    source->setStringValue(QStringLiteral("Review"), QStringLiteral("title"));
    source->setIntegerValue(3, QStringLiteral("access"));
    source->setBoolValue(true, QStringLiteral("localHidden"));
    source->setValue(QStringLiteral("location"), QStringLiteral("Room 1"));
    makeExtra(QStringLiteral("Reminder"), source);
    makeExtra(QStringLiteral("RecurrenceRule"), source)
        ->setIntegerValue(2, QStringLiteral("frequency"));

    CommonDataMO *copy = makeItem(calendar, QStringLiteral("C"));
    copy->deepCopyFromObject(*source, true);
    EXPECT_EQ(copy->stringValueForKey(QStringLiteral("title")), QStringLiteral("Review"));
    EXPECT_EQ(copy->valueForKey(QStringLiteral("location")).toString(), QStringLiteral("Room 1"));
    EXPECT_EQ(copy->integerValueForKey(QStringLiteral("access")), 0);
    EXPECT_FALSE(copy->boolValueForKey(QStringLiteral("localHidden")));
    EXPECT_EQ(copy->uid(), QStringLiteral("C"));
    EXPECT_TRUE(copy->extrasForRelationship(QStringLiteral("reminders")).isEmpty());
    const QList<ExtraDataMO *> rules = copy->extrasForRelationship(QStringLiteral("recurrences"));
    ASSERT_EQ(rules.size(), 1);
    EXPECT_EQ(rules.first()->integerValueForKey(QStringLiteral("frequency")), 2);
    EXPECT_NE(rules.first()->uid(),
              source->extrasForRelationship(QStringLiteral("recurrences")).first()->uid());

    CommonDataMO *withAlarms = makeItem(calendar, QStringLiteral("W"));
    withAlarms->deepCopyFromObject(*source, false);
    EXPECT_EQ(withAlarms->extrasForRelationship(QStringLiteral("reminders")).size(), 1);
}

}  // namespace
