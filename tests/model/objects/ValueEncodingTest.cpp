#include <gtest/gtest.h>

#include "model/Masking.h"
#include "model/foundation/TimeZones.h"
#include "model/objects/ModelFixture.h"

namespace {

class ValueEncodingTest : public ModelTest {
protected:
    ValueEncodingTest() {
        calendar = makeCalendar(QStringLiteral("CAL"));
        event = makeItem(calendar, QStringLiteral("EVENT"));
        service = makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("SERVICE"));
    }

    // The stored value, bypassing the typed accessors.
    static QVariant raw(const ManagedObject *object, const char *key) {
        return object->valueForKey(QLatin1String(key));
    }

    CommonDataMO *calendar;
    CommonDataMO *event;
    ModelObject *service;
};

}  // namespace

TEST_F(ValueEncodingTest, PlainValuesReadAsFalseZeroOrNoneWhenMissing) {
    EXPECT_FALSE(event->boolValueForKey(QStringLiteral("allDay")));
    EXPECT_EQ(event->integerValueForKey(QStringLiteral("priority")), 0);
    EXPECT_EQ(service->doubleValueForKey(QStringLiteral("syncInterval")), 0.0);
    EXPECT_FALSE(event->dateValueForKey(QStringLiteral("completionTime")));

    event->setBoolValue(true, QStringLiteral("allDay"));
    event->setIntegerValue(-(qint64(1) << 40), QStringLiteral("priority"));
    service->setDoubleValue(900.5, QStringLiteral("syncInterval"));
    event->setDateValue(Date(-12.5), QStringLiteral("completionTime"));
    EXPECT_TRUE(event->boolValueForKey(QStringLiteral("allDay")));
    EXPECT_EQ(event->integerValueForKey(QStringLiteral("priority")), -(qint64(1) << 40));
    EXPECT_EQ(service->doubleValueForKey(QStringLiteral("syncInterval")), 900.5);
    EXPECT_EQ(event->dateValueForKey(QStringLiteral("completionTime")), Date(-12.5));
    event->setDateValue(std::nullopt, QStringLiteral("completionTime"));
    EXPECT_FALSE(raw(event, "completionTime").isValid());
}

TEST_F(ValueEncodingTest, OpacityIsStoredOnlyStrictlyBetweenZeroAndOne) {
    const QString key = QStringLiteral("opacity");
    EXPECT_EQ(event->opacityValueForKey(key), 1.0) << "missing reads as opaque";
    event->setOpacityValue(0.5, key);
    EXPECT_EQ(raw(event, "opacity"), QVariant(0.5));
    EXPECT_EQ(event->opacityValueForKey(key), 0.5);
    for (double cleared : {1.0, 0.0, -0.25, 1.5}) {
        event->setOpacityValue(0.5, key);
        event->setOpacityValue(cleared, key);
        EXPECT_FALSE(raw(event, "opacity").isValid()) << cleared;
        EXPECT_EQ(event->opacityValueForKey(key), 1.0) << cleared;
    }
    event->setValue(key, -0.3);
    EXPECT_EQ(event->opacityValueForKey(key), 1.0) << "a non-positive stored value reads as opaque";
}

TEST_F(ValueEncodingTest, EmptyValuesAreStoredAsNoValue) {
    event->setTagListValue({QStringLiteral("a")}, QStringLiteral("tags"));
    event->setTagListValue({}, QStringLiteral("tags"));
    EXPECT_FALSE(raw(event, "tags").isValid());
    event->setTagListValue({QString(), QString()}, QStringLiteral("tags"));
    EXPECT_FALSE(raw(event, "tags").isValid()) << "empty tags are dropped, leaving an empty list";

    event->setStringValue(QStringLiteral("Lunch"), QStringLiteral("title"));
    event->setAttributedStringValue(
        RichText(QString(), {QVariantMap{{QStringLiteral("bold"), true}}}),
        QStringLiteral("title"));
    EXPECT_FALSE(raw(event, "title").isValid())
        << "zero-length text with formatting is still empty";
    event->setStringValue(QStringLiteral("Lunch"), QStringLiteral("title"));
    event->setStringValue(QString(), QStringLiteral("title"));
    EXPECT_FALSE(raw(event, "title").isValid());
    EXPECT_FALSE(event->stringValueForKey(QStringLiteral("title")));

    calendar->setMaskedStringValue(QStringLiteral("pw"), QStringLiteral("localReadPassword"));
    calendar->setMaskedStringValue(QString(), QStringLiteral("localReadPassword"));
    EXPECT_FALSE(raw(calendar, "localReadPassword").isValid());
    EXPECT_FALSE(calendar->unmaskedStringValueForKey(QStringLiteral("localReadPassword")));

    for (const QVariant &empty :
         {QVariant(QVariantList()), QVariant(QVariantMap()), QVariant(QString()),
          QVariant(QStringList()), QVariant(QByteArray()), QVariant()}) {
        event->setArchivedValue(QVariantList{1}, QStringLiteral("localInvitedAttendees"));
        event->setArchivedValue(empty, QStringLiteral("localInvitedAttendees"));
        EXPECT_FALSE(raw(event, "localInvitedAttendees").isValid()) << empty.typeName();
    }

    service->setDictionaryValue({{QStringLiteral("a"), QStringLiteral("b")}},
                                QStringLiteral("selfURL"));
    service->setDictionaryValue({}, QStringLiteral("selfURL"));
    EXPECT_FALSE(raw(service, "selfURL").isValid());

    event->setFontValue(FontDescription{QStringLiteral("Serif"), 12}, QStringLiteral("localFont"));
    event->setFontValue(std::nullopt, QStringLiteral("localFont"));
    EXPECT_FALSE(raw(event, "localFont").isValid());
}

TEST_F(ValueEncodingTest, ArchivedValuesRoundTripAndUndecodableOnesReadAsNoneWithALogLine) {
    const QVariantList value{QStringLiteral("a@example.com"), qint64(-7), 2.5,
                             QVariantMap{{QStringLiteral("k"), QVariant::fromValue(Date(12))}}};
    event->setArchivedValue(value, QStringLiteral("localInvitedAttendees"));
    EXPECT_EQ(event->unarchivedValueForKey(QStringLiteral("localInvitedAttendees")),
              QVariant(value));

    LogCapture log;
    event->setValue(QStringLiteral("localInvitedAttendees"), QByteArray("bplist00 garbage"));
    EXPECT_FALSE(event->unarchivedValueForKey(QStringLiteral("localInvitedAttendees")).isValid());
    EXPECT_TRUE(log.contains(QStringLiteral("NSKeyedUnarchiver - ")));
    event->setValue(QStringLiteral("tags"), QByteArray("not a list"));
    EXPECT_TRUE(event->tagListValueForKey(QStringLiteral("tags")).isEmpty());
    event->setValue(QStringLiteral("title"), QByteArray("\x01\x02"));
    EXPECT_FALSE(event->attributedStringValueForKey(QStringLiteral("title")));
    EXPECT_EQ(log.count(QStringLiteral("NSKeyedUnarchiver - ")), 3);
}

TEST_F(ValueEncodingTest, StringTablesUseTheStringsFileFormat) {
    const QVariantMap table{
        {QStringLiteral("/calendars/home/"), QStringLiteral("https://example.com/a b")},
        {QStringLiteral("quote\"key"), QStringLiteral("line\nbreak\\tab\t")},
        {QStringLiteral("Grüße"), QStringLiteral("\u2603")}};
    service->setDictionaryValue(table, QStringLiteral("selfURL"));
    EXPECT_TRUE(
        raw(service, "selfURL").toString().contains(QStringLiteral("\"/calendars/home/\" = ")));
    EXPECT_EQ(service->dictionaryValueForKey(QStringLiteral("selfURL")), table);

    LogCapture log;
    service->setValue(QStringLiteral("alternateURL"), QStringLiteral("\"unterminated = \"x\";"));
    EXPECT_TRUE(service->dictionaryValueForKey(QStringLiteral("alternateURL")).isEmpty());
    EXPECT_TRUE(log.contains(QStringLiteral("propertyListFromStringsFileFormat - ")));
}

TEST_F(ValueEncodingTest, CalendarDatesAreSecondsAndZoneName) {
    const QString key = QStringLiteral("startTimeAndZone");
    event->setValue(key, QStringLiteral("0:Universal"));
    const std::optional<CalendarDate> origin = event->calendarDateValueForKey(key);
    ASSERT_TRUE(origin);
    EXPECT_EQ(origin->date(), Date(0));
    EXPECT_EQ(origin->timeZone(), TimeZones::universal());
    event->setValue(key, QStringLiteral("700000000"));
    EXPECT_FALSE(event->calendarDateValueForKey(key)) << "no colon, no value";

    const QTimeZone paris = *TimeZones::zoneNamed(QStringLiteral("Europe/Paris"));
    event->setCalendarDateValue(CalendarDate(Date(700000000.4), paris), key);
    EXPECT_EQ(raw(event, "startTimeAndZone"), QVariant(QStringLiteral("700000000:Europe/Paris")));
    TimeZones::setSystemZone(*TimeZones::zoneNamed(QStringLiteral("Asia/Tokyo")));
    event->setCalendarDateValue(CalendarDate(Date(60), QTimeZone()),
                                QStringLiteral("endTimeAndZone"));
    TimeZones::setSystemZone(std::nullopt);
    EXPECT_EQ(raw(event, "endTimeAndZone"), QVariant(QStringLiteral("60:Asia/Tokyo")))
        << "a date without a zone is written with the system zone";
    event->setCalendarDateValue(std::nullopt, key);
    EXPECT_FALSE(raw(event, "startTimeAndZone").isValid());
}

TEST_F(ValueEncodingTest, CalendarDateListsAreDistinctSortedAndCommaJoined) {
    ExtraDataMO *rule = makeExtra(QStringLiteral("RecurrenceRule"), event);
    const QString key = QStringLiteral("exceptionDates");
    const QTimeZone berlin = *TimeZones::zoneNamed(QStringLiteral("Europe/Berlin"));
    rule->setCalendarDateArrayValue(
        {CalendarDate(Date(300), berlin), CalendarDate::dateOnly(2001, 1, 1),
         CalendarDate(Date(300), TimeZones::universal())},
        key);
    EXPECT_EQ(raw(rule, "exceptionDates"),
              QVariant(QStringLiteral("300:Europe/Berlin,43200:Universal")));
    const QList<CalendarDate> dates = rule->calendarDateArrayValueForKey(key);
    ASSERT_EQ(dates.size(), 2);
    EXPECT_EQ(dates[1], CalendarDate::dateOnly(2001, 1, 1));

    // A zone kept by a name with commas in it.
    rule->setValue(key, QStringLiteral("-60:(UTC+01:00) Amsterdam, Berlin, Rome,120:UTC"));
    const QList<CalendarDate> odd = rule->calendarDateArrayValueForKey(key);
    ASSERT_EQ(odd.size(), 2);
    EXPECT_EQ(odd[0].date(), Date(-60));
    EXPECT_EQ(odd[0].timeZone().offsetFromUtc(QDateTime::currentDateTimeUtc()), 3600);
    EXPECT_EQ(odd[1].date(), Date(120));

    rule->setValue(key, QString());
    EXPECT_TRUE(rule->calendarDateArrayValueForKey(key).isEmpty());
    rule->setCalendarDateArrayValue({CalendarDate(Date(1), berlin)}, key);
    ASSERT_EQ(rule->calendarDateArrayValueForKey(key).size(), 1) << "the cached list was dropped";
    rule->setCalendarDateArrayValue({}, key);
    EXPECT_FALSE(raw(rule, "exceptionDates").isValid());
}

TEST_F(ValueEncodingTest, ColoursAreRGBIntegersReadBackOpaque) {
    const QString key = QStringLiteral("localColor");
    EXPECT_FALSE(calendar->colorValueForKey(key));
    calendar->setColorValue(RGBColor{1.0, 0.5, 0.2, 0.3}, key);
    EXPECT_EQ(raw(calendar, "localColor").toLongLong(), 0xFF7F33);
    const std::optional<RGBColor> color = calendar->colorValueForKey(key);
    ASSERT_TRUE(color);
    EXPECT_EQ(*color, (RGBColor{1.0, 127 / 255.0, 51 / 255.0, 1.0}));
    calendar->setIntegerValue(0x0252D4, key);
    EXPECT_EQ(calendar->colorValueForKey(key), colorFromColorValue(0x0252D4))
        << "the cached colour was dropped";
    calendar->setColorValue(std::nullopt, key);
    EXPECT_FALSE(raw(calendar, "localColor").isValid());
}

TEST_F(ValueEncodingTest, StringListsJoinEntriesWithTheSeparator) {
    const QString key = QStringLiteral("location");
    event->setStringListValue({QStringLiteral("a"), QString(), QStringLiteral("b"), QString()},
                              key);
    EXPECT_EQ(raw(event, "location"), QVariant(QStringLiteral("a|&||&|b")));
    EXPECT_EQ(event->stringListValueForKey(key),
              (QStringList{QStringLiteral("a"), QString(), QStringLiteral("b")}));
    EXPECT_EQ(event->stringListValueForKey(key, QStringLiteral(", ")), QStringLiteral("a, , b"));
    event->setStringListValue({QString(), QString()}, key);
    EXPECT_FALSE(raw(event, "location").isValid());
    EXPECT_TRUE(event->stringListValueForKey(key).isEmpty());
}

TEST_F(ValueEncodingTest, MaskedStringsAreNotStoredInTheClearAndUnmaskBack) {
    const QString password =
        QStringLiteral("pässwörd-\u2603-long enough to wrap the key twice over");
    service->setMaskedStringValue(password, QStringLiteral("login"));
    const QByteArray stored = raw(service, "login").toByteArray();
    EXPECT_NE(stored, password.toUtf8());
    EXPECT_FALSE(stored.contains("long enough"));
    EXPECT_EQ(Masking::maskedData(stored), password.toUtf8()) << "the masking is its own inverse";
    EXPECT_EQ(service->unmaskedStringValueForKey(QStringLiteral("login")), password);
}

TEST_F(ValueEncodingTest, TagListsAreDistinctAndSortedIgnoringCaseAndAccents) {
    event->setTagListValue(
        {QStringLiteral("banana"), QStringLiteral("éclair"), QStringLiteral("Apple"),
         QStringLiteral("dog"), QStringLiteral("banana"), QStringLiteral("Eclair")},
        QStringLiteral("tags"));
    EXPECT_EQ(event->tagListValueForKey(QStringLiteral("tags")),
              (QStringList{QStringLiteral("Apple"), QStringLiteral("banana"), QStringLiteral("dog"),
                           QStringLiteral("Eclair"), QStringLiteral("éclair")}));
}

TEST_F(ValueEncodingTest, RichTextKeepsUnknownFormattingAndWrapsPlainStrings) {
    const QVariantList runs{QVariantMap{{QStringLiteral("location"), qint64(0)},
                                        {QStringLiteral("length"), qint64(5)},
                                        {QStringLiteral("bold"), true},
                                        {QStringLiteral("X-Unknown"), QByteArray("\x00\x01", 2)}}};
    event->setAttributedStringValue(RichText(QStringLiteral("Lunch with Ann"), runs),
                                    QStringLiteral("content"));
    context().save();
    reopen();
    auto *loaded =
        fetchByUID<SyncableObjectMO>(QStringLiteral("SyncableEvent"), QStringLiteral("EVENT"))
            ->objectData();
    EXPECT_EQ(loaded->attributedStringValueForKey(QStringLiteral("content")),
              RichText(QStringLiteral("Lunch with Ann"), runs));
    EXPECT_EQ(loaded->stringValueForKey(QStringLiteral("content")),
              QStringLiteral("Lunch with Ann"));

    loaded->setStringValue(QStringLiteral("Plain"), QStringLiteral("title"));
    EXPECT_EQ(loaded->attributedStringValueForKey(QStringLiteral("title")),
              RichText(QStringLiteral("Plain")));
    loaded->setArchivedValue(QStringLiteral("Archived string"), QStringLiteral("localTitle"));
    EXPECT_EQ(loaded->stringValueForKey(QStringLiteral("localTitle")),
              QStringLiteral("Archived string"));
}

TEST_F(ValueEncodingTest, FontsRoundTripAndIncompleteOnesReadAsNone) {
    const FontDescription font{QStringLiteral("Helvetica Neue"), 13.5, 700, true};
    calendar->setFontValue(font, QStringLiteral("localFont"));
    EXPECT_EQ(calendar->fontValueForKey(QStringLiteral("localFont")), font);
    calendar->setArchivedValue(QVariantMap{{QStringLiteral("pointSize"), 12.0}},
                               QStringLiteral("localFont"));
    EXPECT_FALSE(calendar->fontValueForKey(QStringLiteral("localFont"))) << "no family";
}

TEST_F(ValueEncodingTest, AccessorsRefuseKeysThatAreNotAttributesOfTheEntity) {
    EXPECT_THROW(event->boolValueForKey(QStringLiteral("nonsense")), std::invalid_argument);
    EXPECT_THROW(event->setIntegerValue(1, QStringLiteral("nonsense")), std::invalid_argument);
    EXPECT_THROW(event->dateValueForKey(QStringLiteral("objectInfo")), std::invalid_argument);
    EXPECT_THROW(calendar->opacityValueForKey(QStringLiteral("opacity")), std::invalid_argument)
        << "calendars have no opacity";
    EXPECT_THROW(service->tagListValueForKey(QStringLiteral("tags")), std::invalid_argument);
}

TEST_F(ValueEncodingTest, DecodedValuesAreDroppedFromTheCacheWhenTheAttributeChanges) {
    event->setStringValue(QStringLiteral("First"), QStringLiteral("title"));
    event->setTagListValue({QStringLiteral("one")}, QStringLiteral("tags"));
    ASSERT_EQ(event->stringValueForKey(QStringLiteral("title")), QStringLiteral("First"));
    ASSERT_EQ(event->tagListValueForKey(QStringLiteral("tags")),
              QStringList{QStringLiteral("one")});

    // A change through generic key-value access, not the typed setter.
    event->setValue(QStringLiteral("title"), event->valueForKey(QStringLiteral("localTitle")));
    EXPECT_FALSE(event->stringValueForKey(QStringLiteral("title")));
    EXPECT_EQ(event->tagListValueForKey(QStringLiteral("tags")),
              QStringList{QStringLiteral("one")});
}

TEST_F(ValueEncodingTest, TurningIntoAFaultDropsTheCache) {
    event->setStringValue(QStringLiteral("Stored"), QStringLiteral("title"));
    context().save();
    event->setStringValue(QStringLiteral("Unsaved"), QStringLiteral("title"));
    ASSERT_EQ(event->stringValueForKey(QStringLiteral("title")), QStringLiteral("Unsaved"));
    context().refreshObject(event, false);
    EXPECT_EQ(event->stringValueForKey(QStringLiteral("title")), QStringLiteral("Stored"));
}

TEST_F(ValueEncodingTest, SyncOptionsRecordWhichFlagsChanged) {
    EXPECT_TRUE(service->syncOptionsDict().isEmpty());
    service->setSyncOptionValue(true, QStringLiteral("filterAlarms"));
    service->setSyncOptionValue(qint64(3), QStringLiteral("level"));
    EXPECT_EQ(service->syncOptionsValueForFlag(QStringLiteral("level")).toLongLong(), 3);
    EXPECT_FALSE(service->syncOptionsDict().contains(QStringLiteral("syncOptionsChanged")))
        << "only replacing the whole dictionary records changes";
    service->clearSyncOptionsFlag(QStringLiteral("filterAlarms"));
    service->clearSyncOptionsFlag(QStringLiteral("level"));
    EXPECT_FALSE(raw(service, "syncOptions").isValid())
        << "an emptied dictionary is stored as no value";

    service->setSyncOptionsDict(
        {{QStringLiteral("a"), 1}, {QStringLiteral("b"), QStringLiteral("x")}});
    service->markSyncOptionsDictUnchanged();
    EXPECT_FALSE(service->syncOptionsDict().contains(QStringLiteral("syncOptionsChanged")));
    // b changes, c appears, a stays, then a disappears in a second change.
    service->setSyncOptionsDict({{QStringLiteral("a"), 1},
                                 {QStringLiteral("b"), QStringLiteral("y")},
                                 {QStringLiteral("c"), true}});
    service->setSyncOptionsDict(
        {{QStringLiteral("b"), QStringLiteral("y")}, {QStringLiteral("c"), true}});
    context().save();
    reopen();
    auto *loaded = fetchByUID(QStringLiteral("RemoteService"), QStringLiteral("SERVICE"));
    const QVariantMap changed =
        loaded->syncOptionsValueForFlag(QStringLiteral("syncOptionsChanged")).toMap();
    EXPECT_EQ(changed.keys(),
              (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
    EXPECT_EQ(loaded->syncOptionsValueForFlag(QStringLiteral("b")), QVariant(QStringLiteral("y")));
    loaded->markSyncOptionsDictUnchanged();
    EXPECT_EQ(loaded->syncOptionsDict().keys(),
              (QStringList{QStringLiteral("b"), QStringLiteral("c")}));
}
