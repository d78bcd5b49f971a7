#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QSignalSpy>

#include "ical/ICalImportFixture.h"
#include "ical/ICalReadOptions.h"
#include "ical/ICalWriter.h"
#include "model/AttachmentFiles.h"
#include "model/CurrentUser.h"
#include "model/RichText.h"
#include "model/SyncHooks.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Paths.h"
#include "model/util/OwnAddresses.h"
#include "time/CalendarDates.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceRecord.h"

namespace {

using namespace ICalReadOptions;

class ICalReaderTest : public ICalImportTest {
protected:
    std::optional<CalendarDate> date(const QString &uid, const char *key) const {
        return item(uid)->calendarDateValueForKey(QLatin1String(key));
    }
    QString title(const CommonDataMO *event) const {
        return event->stringValueForKey(QStringLiteral("title")).value_or(QString());
    }
    static Date instant(int year, int month, int day, int hour, int minute = 0) {
        return utc(year, month, day, hour, minute).date();
    }
};

TEST_F(ICalReaderTest, AllDayFloatingAndZonedTimesOfAService) {
    ICalImporter importer(dataFile(QStringLiteral("service-allday-floating.ics")));
    EXPECT_EQ(importer.calendarName(), QStringLiteral("Family"));
    const ICalImporter::Result result = importer.importInto(m_calendar, 0);
    EXPECT_EQ(result.stored, 4);
    EXPECT_TRUE(result.skipped.isEmpty());

    // An all-day event that ends on its first day lasts that day.
    const QString moving = QStringLiteral("allday-same-day@google.com");
    EXPECT_TRUE(item(moving)->boolValueForKey(QStringLiteral("allDay")));
    EXPECT_EQ(date(moving, "startTimeAndZone"), CalendarDate::dateOnly(2024, 5, 10));
    EXPECT_EQ(date(moving, "endTimeAndZone"), CalendarDate::dateOnly(2024, 5, 11));
    EXPECT_EQ(date(QStringLiteral("trip@google.com"), "endTimeAndZone"),
              CalendarDate::dateOnly(2024, 6, 4));
    // The server's own category is no tag of the user's.
    EXPECT_EQ(item(moving)->tagListValueForKey(QStringLiteral("tags")),
              QStringList{QStringLiteral("Work")});
    EXPECT_EQ(item(moving)->integerValueForKey(QStringLiteral("blocksTime")), 0);
    EXPECT_EQ(item(moving)->dateValueForKey(QStringLiteral("createTime")), instant(2024, 3, 1, 10));
    EXPECT_EQ(item(moving)->objectInfo()->dateValueForKey(QStringLiteral("lastModTime")),
              instant(2024, 3, 2, 11));

    CommonDataMO *trip = item(QStringLiteral("trip@google.com"));
    EXPECT_FALSE(trip->valueForKey(QStringLiteral("location")).isValid());
    EXPECT_EQ(trip->valueForKey(QStringLiteral("locationURL")).toString(),
              QStringLiteral("https://maps.example.com/lake"));
    EXPECT_EQ(trip->stringValueForKey(QStringLiteral("content")),
              QStringLiteral("Bring the tent, the stove\nand the map"));
    EXPECT_EQ(trip->integerValueForKey(QStringLiteral("blocksTime")), 1);

    // A time without zone stays on the wall clock wherever it is read.
    const QString floating = QStringLiteral("floating@google.com");
    EXPECT_TRUE(item(floating)->boolValueForKey(QStringLiteral("floatingEvent")));
    EXPECT_FALSE(item(floating)->boolValueForKey(QStringLiteral("allDay")));
    EXPECT_EQ(date(floating, "startTimeAndZone")->wallClock(), (WallClock{2024, 6, 12, 9, 0, 0}));
    EXPECT_TRUE(date(floating, "startTimeAndZone")->isUniversal());

    // DURATION gives the end; a private event without SUMMARY gets a stand-in title.
    const QString timed = QStringLiteral("utc-duration@google.com");
    EXPECT_EQ(date(timed, "endTimeAndZone")->date(), instant(2024, 6, 15, 15, 30));
    EXPECT_FALSE(item(timed)->boolValueForKey(QStringLiteral("floatingEvent")));
    EXPECT_EQ(title(item(timed)), QStringLiteral("[Private Event]"));
    EXPECT_EQ(item(timed)->integerValueForKey(QStringLiteral("classification")), 1);

    CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    importer.describeCalendar(calendar);
    EXPECT_EQ(calendar->stringValueForKey(QStringLiteral("title")), QStringLiteral("Family"));
    EXPECT_EQ(calendar->stringValueForKey(QStringLiteral("content")),
              QStringLiteral("Birthdays and trips"));
    EXPECT_EQ(colorValueFromColor(*calendar->colorValueForKey(QStringLiteral("localColor"))),
              0x1BADF8);
    EXPECT_EQ(calendar->valueForKey(QStringLiteral("transDefaultTimeZone")).toString(),
              QStringLiteral("Europe/Berlin"));
}

TEST_F(ICalReaderTest, PlaceholderTitlesFollowPrivacyAndBusyness) {
    importText(calendarText({"BEGIN:VEVENT", "UID:busy", "DTSTART:20240101T100000Z", "END:VEVENT",
                             "BEGIN:VEVENT", "UID:free", "DTSTART:20240101T100000Z",
                             "TRANSP:TRANSPARENT", "END:VEVENT"}));
    EXPECT_EQ(title(item(QStringLiteral("busy"))), QStringLiteral("[Busy]"));
    EXPECT_EQ(title(item(QStringLiteral("free"))), QStringLiteral("[Available]"));
}

TEST_F(ICalReaderTest, SeriesInAWindowsZoneWithExceptionsExtraDatesAndMovedOccurrences) {
    const ICalImporter::Result result =
        importText(dataFile(QStringLiteral("client-windows-zones.ics")));
    EXPECT_EQ(result.stored, 4);
    EXPECT_TRUE(result.skipped.isEmpty());

    const QString uid = QStringLiteral("weekly-sync@example.com");
    CommonDataMO *series = item(uid);
    ASSERT_NE(series, nullptr);
    const CalendarDate start = *date(uid, "startTimeAndZone");
    EXPECT_EQ(start.timeZone().id(), QByteArray("Europe/Berlin"));
    EXPECT_EQ(start.date(), instant(2024, 5, 1, 7, 30));
    ItemRecurrence recurrence(series);
    ASSERT_EQ(recurrence.ruleRecords().size(), 1);
    const RecurrenceRule rule = RecurrenceRecord(recurrence.ruleRecords().first()).recurrenceRule();
    EXPECT_EQ(rule.frequency, RecurrenceRule::Weekly);
    EXPECT_EQ(rule.count, 10);
    const QList<CalendarDate> exceptions = recurrence.exceptionDates();
    ASSERT_EQ(exceptions.size(), 2);
    EXPECT_EQ(exceptions[0].date(), instant(2024, 5, 15, 7, 30));
    EXPECT_EQ(exceptions[1].date(), instant(2024, 5, 22, 7, 30));
    const QList<CalendarDate> extra =
        RecurrenceRecord(recurrence.ruleRecords().first()).customDates();
    ASSERT_EQ(extra.size(), 1);
    EXPECT_EQ(extra[0].date(), instant(2024, 5, 24, 7, 30));

    // Both moved occurrences belong to the series, the one that came first too.
    const QList<CommonDataMO *> detached = recurrence.detachedInstances();
    ASSERT_EQ(detached.size(), 2);
    for (CommonDataMO *instance : detached) {
        EXPECT_EQ(instance->uid(), uid);
        const Date original =
            instance->calendarDateValueForKey(QStringLiteral("originalTimeAndZone"))->date();
        if (original == instant(2024, 5, 8, 7, 30)) {
            EXPECT_EQ(title(instance), QStringLiteral("Weekly sync (moved)"));
            EXPECT_EQ(instance->calendarDateValueForKey(QStringLiteral("startTimeAndZone"))->date(),
                      instant(2024, 5, 8, 9, 30));
        } else {
            EXPECT_EQ(original, instant(2024, 5, 29, 7, 30));
            EXPECT_EQ(instance->valueForKey(QStringLiteral("location")).toString(),
                      QStringLiteral("Room 4"));
        }
        EXPECT_TRUE(ItemRecurrence(instance).ruleRecords().isEmpty());
    }

    const QString call = QStringLiteral("call-ny@example.com");
    EXPECT_EQ(date(call, "startTimeAndZone")->timeZone().id(), QByteArray("America/New_York"));
    EXPECT_EQ(date(call, "startTimeAndZone")->date(), instant(2024, 7, 3, 13));
    const RecurrenceRule monthly =
        RecurrenceRecord(ItemRecurrence(item(call)).ruleRecords().first()).recurrenceRule();
    EXPECT_EQ(monthly.until, instant(2024, 12, 3, 14));
}

TEST_F(ICalReaderTest, AnOccurrenceWithoutItsSeriesIsAnItemOfItsOwn) {
    const ICalImporter::Result result =
        importText(eventText({"UID:orphan", "RECURRENCE-ID:20240301T100000Z",
                              "DTSTART:20240301T120000Z", "SUMMARY:Lost occurrence"}));
    EXPECT_EQ(result.stored, 1);
    ASSERT_NE(item(QStringLiteral("orphan")), nullptr);
    EXPECT_EQ(title(item(QStringLiteral("orphan"))), QStringLiteral("Lost occurrence"));
}

TEST_F(ICalReaderTest, AttendeesAndOrganizerWithEveryCode) {
    importText(dataFile(QStringLiteral("meeting-people.ics")));
    const QString uid = QStringLiteral("planning@example.org");
    struct Expected {
        const char *email;
        qint64 status, role, type;
        bool rsvp;
    };
    for (const Expected &expected :
         {Expected{"ann@example.org", 1, 0, 0, true}, Expected{"ben@example.org", 3, 1, 1, false},
          Expected{"cat@example.org", 9, 2, 2, false}, Expected{"dan@example.org", 2, 3, 3, false},
          Expected{"eve@example.org", 5, 0, 4, false}, Expected{"fay@example.org", 6, 0, 0, false},
          Expected{"gus@example.org", 4, 0, 0, false}, Expected{"hal@example.org", 1, 0, 0, false},
          Expected{"ida@example.org", 1, 0, 0, false}}) {
        SCOPED_TRACE(expected.email);
        ExtraDataMO *attendee = record(uid, "attendees", "email", QLatin1String(expected.email));
        ASSERT_NE(attendee, nullptr);
        EXPECT_EQ(attendee->integerValueForKey(QStringLiteral("status")), expected.status);
        EXPECT_EQ(attendee->integerValueForKey(QStringLiteral("role")), expected.role);
        EXPECT_EQ(attendee->integerValueForKey(QStringLiteral("attendeeType")), expected.type);
        EXPECT_EQ(attendee->boolValueForKey(QStringLiteral("rsvp")), expected.rsvp);
        EXPECT_FALSE(attendee->uid().isEmpty());
    }
    EXPECT_EQ(records(uid, "attendees").size(), 9);

    ASSERT_EQ(records(uid, "organizers").size(), 1);
    ExtraDataMO *organizer = records(uid, "organizers").first();
    EXPECT_EQ(organizer->valueForKey(QStringLiteral("email")).toString(),
              QStringLiteral("olga@example.org"));
    EXPECT_EQ(organizer->valueForKey(QStringLiteral("name")).toString(),
              QStringLiteral("Olga Organiser"));
    EXPECT_EQ(organizer->valueForKey(QStringLiteral("directoryURL")).toString(),
              QStringLiteral("/principals/olga/"));
    EXPECT_EQ(organizer->valueForKey(QStringLiteral("meetingUID")).toString(), uid);
    EXPECT_EQ(organizer->integerValueForKey(QStringLiteral("localSequence")), 4);
    EXPECT_EQ(organizer->integerValueForKey(QStringLiteral("localRequestSequence")), 4);
    EXPECT_TRUE(organizer->boolValueForKey(QStringLiteral("localFromITIP")));

    CommonDataMO *meeting = item(uid);
    EXPECT_EQ(meeting->objectInfo()->valueForKey(QStringLiteral("lastModBy")).toString(),
              QStringLiteral("OS X"));
    EXPECT_EQ(meeting->integerValueForKey(QStringLiteral("status")), 2);
    EXPECT_EQ(meeting->integerValueForKey(QStringLiteral("priority")), 5);
    EXPECT_EQ(meeting->integerValueForKey(QStringLiteral("travelTimeBefore")), 900);
    EXPECT_EQ(meeting->valueForKey(QStringLiteral("url")).toString(),
              QStringLiteral("https://example.org/planning"));
    // Unknown properties are kept with their parameters.
    const QVariantMap room = meeting->unarchivedValueForKey(QStringLiteral("xProps"))
                                 .toMap()
                                 .value(QStringLiteral("X-EXAMPLE-ROOM"))
                                 .toMap();
    EXPECT_EQ(room.value(QStringLiteral("prop-value")).toString(), QStringLiteral("Blue room"));
    EXPECT_EQ(room.value(QStringLiteral("X-FLOOR")).toString(), QStringLiteral("3"));
    EXPECT_EQ(room.value(QStringLiteral("X-WING")).toString(), QStringLiteral("North, upper"));
    EXPECT_FALSE(meeting->unarchivedValueForKey(QStringLiteral("xProps"))
                     .toMap()
                     .contains(QStringLiteral("X-APPLE-TRAVEL-DURATION")));

    ASSERT_EQ(records(uid, "contacts").size(), 1);
    ExtraDataMO *contact = records(uid, "contacts").first();
    EXPECT_EQ(contact->valueForKey(QStringLiteral("contactID")).toString(),
              QStringLiteral("contact-17"));
    EXPECT_EQ(contact->integerValueForKey(QStringLiteral("contactType")), 0);
    EXPECT_EQ(contact->integerValueForKey(QStringLiteral("nameOrder")), 1);
    EXPECT_EQ(contact->valueForKey(QStringLiteral("lastName")).toString(), QStringLiteral("Kay"));

    // Without attendees the organizer is read only when asked for.
    const QString lonely = QStringLiteral("lonely-organizer@example.org");
    EXPECT_TRUE(records(lonely, "organizers").isEmpty());
    importText(dataFile(QStringLiteral("meeting-people.ics")), OrganizerAlways);
    EXPECT_EQ(records(lonely, "organizers").size(), 1);
}

TEST_F(ICalReaderTest, ReadingAgainMergesIntoTheStoredItem) {
    const QByteArray first = dataFile(QStringLiteral("meeting-people.ics"));
    importText(first);
    const QString uid = QStringLiteral("planning@example.org");
    const QString annUID =
        record(uid, "attendees", "email", QStringLiteral("ann@example.org"))->uid();

    // The same text again: the same records, updated in place.
    const ICalImporter::Result again = importText(first);
    EXPECT_EQ(again.stored, 0);
    EXPECT_EQ(again.updated, 2);
    EXPECT_EQ(records(uid, "attendees").size(), 9);
    EXPECT_EQ(record(uid, "attendees", "email", QStringLiteral("ann@example.org"))->uid(), annUID);

    // Who is gone from the text is gone from the item; a new status is taken.
    QByteArray edited = first;
    edited.replace("ATTENDEE;CN=Ida:mailto:ida@example.org\r\n", "");
    edited.replace("CN=Ann;PARTSTAT=NEEDS-ACTION", "CN=Ann;PARTSTAT=ACCEPTED");
    edited.replace("X-TOLVERN-CONTACT", "X-OTHER-CONTACT");
    importText(edited);
    EXPECT_EQ(records(uid, "attendees").size(), 8);
    EXPECT_EQ(record(uid, "attendees", "email", QStringLiteral("ida@example.org")), nullptr);
    EXPECT_EQ(record(uid, "attendees", "email", QStringLiteral("ann@example.org"))
                  ->integerValueForKey(QStringLiteral("status")),
              3);
    EXPECT_TRUE(records(uid, "contacts").isEmpty());
    EXPECT_EQ(m_calendar->objectsForKey(QStringLiteral("childrenDirect")).size(), 2);
}

TEST_F(ICalReaderTest, ReadingASeriesAgainKeepsOneRuleAndOneInstancePerOccurrence) {
    QByteArray text = dataFile(QStringLiteral("client-windows-zones.ics"));
    importText(text);
    const QString uid = QStringLiteral("weekly-sync@example.com");
    ExtraDataMO *rule = ItemRecurrence(item(uid)).ruleRecords().first();
    importText(text);
    EXPECT_EQ(ItemRecurrence(item(uid)).ruleRecords(), QList<ExtraDataMO *>{rule});
    EXPECT_EQ(ItemRecurrence(item(uid)).detachedInstances().size(), 2);

    // A new rule replaces the old record.
    text.replace("RRULE:FREQ=WEEKLY;BYDAY=WE;COUNT=10", "RRULE:FREQ=DAILY;INTERVAL=2");
    importText(text);
    const QList<ExtraDataMO *> rules = ItemRecurrence(item(uid)).ruleRecords();
    ASSERT_EQ(rules.size(), 1);
    EXPECT_EQ(RecurrenceRecord(rules.first()).recurrenceRule().frequency, RecurrenceRule::Daily);
    EXPECT_EQ(RecurrenceRecord(rules.first()).recurrenceRule().interval, 2);
    EXPECT_EQ(RecurrenceRecord(rules.first()).exceptionDates().size(), 2);
}

TEST_F(ICalReaderTest, AlarmsOfEveryKind) {
    const QString uid = QStringLiteral("alarms@example.com");
    importText(dataFile(QStringLiteral("alarms.ics")));
    const auto reminder = [&](const char *alarmUID) {
        return record(uid, "reminders", "uid", QLatin1String(alarmUID));
    };
    // X-FOO and the writer's placeholder make nothing.
    EXPECT_EQ(records(uid, "reminders").size(), 6);
    EXPECT_EQ(reminder("A7"), nullptr);
    EXPECT_EQ(reminder("A8"), nullptr);

    ASSERT_NE(reminder("A6"), nullptr);
    EXPECT_TRUE(reminder("A6")->boolValueForKey(QStringLiteral("snooze")));
    ASSERT_NE(reminder("A1"), nullptr);
    EXPECT_FALSE(reminder("A1")->boolValueForKey(QStringLiteral("snooze")));
    EXPECT_EQ(reminder("A1")->integerValueForKey(QStringLiteral("reminderType")), 0);
    EXPECT_EQ(reminder("A1")->doubleValueForKey(QStringLiteral("relativeSeconds")), -900);
    EXPECT_TRUE(reminder("A1")->boolValueForKey(QStringLiteral("defaultAlarm")));

    ASSERT_NE(reminder("A2"), nullptr);
    EXPECT_EQ(reminder("A2")->integerValueForKey(QStringLiteral("reminderType")), 1);
    EXPECT_EQ(reminder("A2")->dateValueForKey(QStringLiteral("absoluteTime")),
              instant(2024, 10, 1, 7));
    EXPECT_EQ(reminder("A2")->valueForKey(QStringLiteral("url")).toString(),
              QStringLiteral("Basso"));
    EXPECT_EQ(reminder("A2")->dateValueForKey(QStringLiteral("acknowledged")),
              instant(2024, 10, 1, 7, 1));

    ASSERT_NE(reminder("A3"), nullptr);
    EXPECT_EQ(reminder("A3")->integerValueForKey(QStringLiteral("reminderType")), 2);
    EXPECT_EQ(
        reminder("A3")->unarchivedValueForKey(QStringLiteral("recipients")).toStringList(),
        (QStringList{QStringLiteral("me@example.com"), QStringLiteral("partner@example.com")}));

    ASSERT_NE(reminder("A4"), nullptr);
    EXPECT_EQ(reminder("A4")->integerValueForKey(QStringLiteral("reminderType")), 4);
    EXPECT_EQ(reminder("A4")->valueForKey(QStringLiteral("url")).toString(),
              QStringLiteral("file:///usr/local/bin/notify"));

    // A display alarm tied to a place, its settings kept with it.
    ASSERT_NE(reminder("A5"), nullptr);
    EXPECT_EQ(reminder("A5")->integerValueForKey(QStringLiteral("reminderType")), 10);
    const QVariantMap place =
        reminder("A5")->unarchivedValueForKey(QStringLiteral("xProps")).toMap();
    EXPECT_EQ(place.value(QStringLiteral("X-APPLE-PROXIMITY"))
                  .toMap()
                  .value(QStringLiteral("prop-value")),
              QStringLiteral("ARRIVE"));
    EXPECT_EQ(place.value(QStringLiteral("X-APPLE-STRUCTURED-LOCATION"))
                  .toMap()
                  .value(QStringLiteral("X-TITLE")),
              QStringLiteral("Dentist"));
}

TEST_F(ICalReaderTest, SnoozeLocalAndOwnAddressesInAlarms) {
    OwnAddresses::setProvider([] { return QStringList{QStringLiteral("Me@Example.com")}; });
    importText(
        eventText({"UID:snooze", "DTSTART:20241001T080000Z", "BEGIN:VALARM", "ACTION:DISPLAY",
                   "TRIGGER:-PT10M", "RELATED-TO;RELTYPE=SNOOZE:A1",
                   "X-TOLVERN-REMINDER-TYPE:LOCAL", "END:VALARM", "BEGIN:VALARM", "ACTION:EMAIL",
                   "TRIGGER:-PT1H", "ATTENDEE:mailto:me@example.com", "END:VALARM", "BEGIN:VALARM",
                   "ACTION:NONE", "TRIGGER:-PT5M", "END:VALARM"}),
        AlarmsWithoutOwnAddresses);
    OwnAddresses::setProvider({});
    const QList<ExtraDataMO *> reminders = records(QStringLiteral("snooze"), "reminders");
    ASSERT_EQ(reminders.size(), 3);
    EXPECT_EQ(reminders[0]->entityName(), QStringLiteral("LocalReminder"));
    EXPECT_TRUE(reminders[0]->boolValueForKey(QStringLiteral("snooze")));
    EXPECT_FALSE(reminders[0]->uid().isEmpty());
    // Only the user's own address: no recipients at all.
    EXPECT_EQ(reminders[1]->integerValueForKey(QStringLiteral("reminderType")), 2);
    EXPECT_FALSE(reminders[1]->unarchivedValueForKey(QStringLiteral("recipients")).isValid());
    // ACTION:NONE at another time than the sentinel is a placeholder reminder.
    EXPECT_EQ(reminders[2]->integerValueForKey(QStringLiteral("reminderType")), 3);
}

TEST_F(ICalReaderTest, WithoutOptionsNoAlarmOrAttachmentIsRead) {
    const QByteArray text =
        eventText({"UID:bare", "DTSTART:20241001T080000Z", "ATTACH:https://example.com/a.pdf",
                   "BEGIN:VALARM", "ACTION:DISPLAY", "TRIGGER:-PT10M", "END:VALARM"});
    importText(text, 0);
    EXPECT_TRUE(records(QStringLiteral("bare"), "reminders").isEmpty());
    EXPECT_TRUE(records(QStringLiteral("bare"), "attachments").isEmpty());
    importText(text, Alarms | Attachments);
    EXPECT_EQ(records(QStringLiteral("bare"), "reminders").size(), 1);
    EXPECT_EQ(records(QStringLiteral("bare"), "attachments").size(), 1);
}

TEST_F(ICalReaderTest, InlineLinkedAndManagedAttachments) {
    importText(eventText({"UID:files", "DTSTART:20241001T080000Z",
                          "ATTACH;ENCODING=BASE64;VALUE=BINARY;FMTTYPE=text/plain;"
                          "X-APPLE-FILENAME=../notes.txt:SGVsbG8gd29ybGQ=",
                          "ATTACH;ENCODING=BASE64;VALUE=BINARY;FMTTYPE=image/png:iVBORw0K",
                          "ATTACH:https://example.com/agenda.pdf",
                          "ATTACH;MANAGED-ID=M1;FILENAME=plan.pdf;SIZE=10:https://example.com/m1"}),
               Attachments);
    const QString uid = QStringLiteral("files");
    EXPECT_EQ(records(uid, "attachments").size(), 3);
    ExtraDataMO *notes = record(uid, "attachments", "fileName", QStringLiteral("notes.txt"));
    ASSERT_NE(notes, nullptr);
    QFile copy(*AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*notes));
    EXPECT_TRUE(copy.fileName().startsWith(QDir(Paths::attachmentsFolder()).absolutePath()));
    ASSERT_TRUE(copy.open(QIODevice::ReadOnly));
    EXPECT_EQ(copy.readAll(), QByteArray("Hello world"));
    EXPECT_NE(record(uid, "attachments", "fileName", QStringLiteral("Attachment.png")), nullptr);
    EXPECT_NE(
        record(uid, "attachments", "fileURL", QStringLiteral("https://example.com/agenda.pdf")),
        nullptr);

    importText(eventText({"UID:files", "DTSTART:20241001T080000Z",
                          "ATTACH;MANAGED-ID=M1;FILENAME=plan.pdf;SIZE=10:https://example.com/m1"}),
               Attachments | ManagedAttachments);
    ASSERT_EQ(records(uid, "attachments").size(), 1);
    const QVariantMap managed =
        records(uid, "attachments").first()->dictionaryValueForKey(QStringLiteral("url"));
    EXPECT_EQ(managed.value(QStringLiteral("id")).toString(), QStringLiteral("M1"));
    EXPECT_EQ(managed.value(QStringLiteral("fn")).toString(), QStringLiteral("plan.pdf"));
    EXPECT_EQ(managed.value(QStringLiteral("url")).toString(),
              QStringLiteral("https://example.com/m1"));
    EXPECT_EQ(
        records(uid, "attachments").first()->valueForKey(QStringLiteral("fileName")).toString(),
        QStringLiteral("plan.pdf"));
}

TEST_F(ICalReaderTest, FoldedLinesEncodingsAndCharsets) {
    importText(dataFile(QStringLiteral("folded-multibyte.ics")));
    CommonDataMO *folded = item(QStringLiteral("folded@example.com"));
    ASSERT_NE(folded, nullptr);
    QString summary;
    for (int i = 0; i < 4; ++i)
        summary += QStringLiteral("Fête à Zürich – 東京で会議 – ");
    // The parser keeps no blank at the end of a line.
    EXPECT_EQ(title(folded), summary.trimmed());
    EXPECT_TRUE(folded->stringValueForKey(QStringLiteral("content"))
                    ->startsWith(QStringLiteral("Ünïcödé ✓ 日本語のテキスト Ünïcödé")));
    EXPECT_EQ(folded->valueForKey(QStringLiteral("location")).toString(),
              QStringLiteral("Café Müller"));

    // Shift JIS named by CHARSET, and bytes that are not UTF-8 without one.
    QByteArray text = eventText({"UID:sjis", "DTSTART:20241001T080000Z", "SUMMARY;CHARSET=SJIS:@",
                                 "LOCATION:Caf@", "DESCRIPTION;CHARSET=utf-8:ok"});
    text.replace("SJIS:@", "SJIS:\x93\x8C\x8B\x9E");
    text.replace("Caf@", "Caf\xE9");
    importText(text);
    EXPECT_EQ(title(item(QStringLiteral("sjis"))), QStringLiteral("東京"));
    EXPECT_EQ(item(QStringLiteral("sjis"))->valueForKey(QStringLiteral("location")).toString(),
              QStringLiteral("Café"));
}

TEST_F(ICalReaderTest, ParameterValuesAndPlainTextReadAsWritten) {
    importText(eventText(
        {"UID:words", "DTSTART:20241001T080000Z", "SUMMARY;LANGUAGE=en:Plain words",
         "DESCRIPTION;ENCODING=QUOTED-PRINTABLE:a=3Db",
         "ORGANIZER;CN=\"Boss: The One\";SCHEDULE-AGENT=client:mailto:boss@example.org",
         "ATTENDEE;CN=\"Doe, Jane; PhD\";PARTSTAT=accepted;ROLE=opt-participant;RSVP=false:"
         "MAILTO:jane@example.org",
         "ATTENDEE;CN=Émile;CUTYPE=room;RSVP=TRUE;EMAIL=/principals/emile:mailto:emile@example.org",
         "ATTENDEE;CN=\"\";PARTSTAT=X-MAYBE;ROLE=X-OBSERVER:mailto:x@example.org"}));
    const QString uid = QStringLiteral("words");
    ASSERT_NE(item(uid), nullptr);
    EXPECT_EQ(title(item(uid)), QStringLiteral("Plain words"));
    // Quoted-printable text is decoded even when its bytes are plain ASCII.
    EXPECT_EQ(item(uid)->stringValueForKey(QStringLiteral("content")), QStringLiteral("a=b"));

    ExtraDataMO *jane = record(uid, "attendees", "email", QStringLiteral("jane@example.org"));
    ASSERT_NE(jane, nullptr);
    EXPECT_EQ(jane->valueForKey(QStringLiteral("name")).toString(),
              QStringLiteral("Doe, Jane; PhD"));
    EXPECT_EQ(jane->integerValueForKey(QStringLiteral("status")), 3);
    EXPECT_EQ(jane->integerValueForKey(QStringLiteral("role")), 1);
    EXPECT_FALSE(jane->boolValueForKey(QStringLiteral("rsvp")));
    EXPECT_FALSE(jane->valueForKey(QStringLiteral("directoryURL")).isValid());

    ExtraDataMO *emile = record(uid, "attendees", "email", QStringLiteral("emile@example.org"));
    ASSERT_NE(emile, nullptr);
    EXPECT_EQ(emile->valueForKey(QStringLiteral("name")).toString(), QStringLiteral("Émile"));
    EXPECT_EQ(emile->integerValueForKey(QStringLiteral("attendeeType")), 3);
    EXPECT_TRUE(emile->boolValueForKey(QStringLiteral("rsvp")));
    EXPECT_EQ(emile->valueForKey(QStringLiteral("directoryURL")).toString(),
              QStringLiteral("/principals/emile/"));

    ExtraDataMO *other = record(uid, "attendees", "email", QStringLiteral("x@example.org"));
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(other->valueForKey(QStringLiteral("name")).toString(), QString());
    EXPECT_EQ(other->integerValueForKey(QStringLiteral("status")), 1);
    EXPECT_EQ(other->integerValueForKey(QStringLiteral("role")), 0);

    ASSERT_EQ(records(uid, "organizers").size(), 1);
    ExtraDataMO *boss = records(uid, "organizers").first();
    EXPECT_EQ(boss->valueForKey(QStringLiteral("name")).toString(),
              QStringLiteral("Boss: The One"));
    EXPECT_TRUE(boss->boolValueForKey(QStringLiteral("localFromITIP")));
}

TEST_F(ICalReaderTest, ToDosAndJournalEntries) {
    importText(dataFile(QStringLiteral("todos-journals.ics")));
    CommonDataMO *taxes = item(QStringLiteral("todo-due@example.com"));
    ASSERT_NE(taxes, nullptr);
    EXPECT_EQ(taxes->integerValueForKey(QStringLiteral("eventType")), 1);
    EXPECT_EQ(taxes->calendarDateValueForKey(QStringLiteral("dueTimeAndZone"))->date(),
              instant(2024, 11, 10, 17));
    EXPECT_FALSE(taxes->calendarDateValueForKey(QStringLiteral("startTimeAndZone")));
    EXPECT_EQ(taxes->integerValueForKey(QStringLiteral("priority")), 1);
    EXPECT_EQ(taxes->integerValueForKey(QStringLiteral("percentComplete")), 40);

    CommonDataMO *passport = item(QStringLiteral("todo-done@example.com"));
    EXPECT_TRUE(passport->boolValueForKey(QStringLiteral("allDay")));
    EXPECT_EQ(passport->dateValueForKey(QStringLiteral("completionTime")),
              instant(2024, 11, 2, 12));
    EXPECT_EQ(passport->calendarDateValueForKey(QStringLiteral("dueTimeAndZone")),
              CalendarDate::dateOnly(2024, 11, 3));
    const QList<ExtraDataMO *> rules = ItemRecurrence(passport).ruleRecords();
    ASSERT_EQ(rules.size(), 1);
    EXPECT_TRUE(RecurrenceRecord(rules.first()).recurrenceRule().regenerate);

    CommonDataMO *someday = item(QStringLiteral("todo-undated@example.com"));
    EXPECT_FALSE(someday->calendarDateValueForKey(QStringLiteral("dueTimeAndZone")));
    EXPECT_FALSE(someday->calendarDateValueForKey(QStringLiteral("startTimeAndZone")));

    CommonDataMO *journal = item(QStringLiteral("journal@example.com"));
    EXPECT_EQ(journal->integerValueForKey(QStringLiteral("eventType")), 4);
    EXPECT_TRUE(journal->boolValueForKey(QStringLiteral("allDay")));
    EXPECT_EQ(journal->stringValueForKey(QStringLiteral("content")), QStringLiteral("Quiet day."));

    // The program's own type word wins over the component.
    importText(calendarText({"BEGIN:VEVENT", "UID:sticky", "DTSTART:20241001T080000Z",
                             "X-TOLVERN-EVENT-TYPE:STICKY", "END:VEVENT"}));
    EXPECT_EQ(item(QStringLiteral("sticky"))->integerValueForKey(QStringLiteral("eventType")), 3);
}

TEST_F(ICalReaderTest, RichTextCopiesCountOnlyWhileTheirTextIsCurrent) {
    CommonDataMO *source = makeItem(QString());
    source->setCalendarDateValue(utc(2024, 5, 1, 10), QStringLiteral("startTimeAndZone"));
    const RichText bold(
        QStringLiteral("Launch"),
        {QVariantMap{{QStringLiteral("location"), 0},
                     {QStringLiteral("length"), 6},
                     {QStringLiteral("NSFont"), QStringLiteral("Helvetica-Bold")}}});
    source->setAttributedStringValue(bold, QStringLiteral("title"));
    const QByteArray written = ICalWriter::wholeObject(source);
    const QString uid = source->uid();
    source->objectInfo()->setValue(QStringLiteral("uid"), QStringLiteral("moved-away"));

    importText(written);
    ASSERT_NE(item(uid), nullptr);
    EXPECT_EQ(item(uid)->attributedStringValueForKey(QStringLiteral("title")), bold);

    // Another client changed the title and kept the stale copy.
    QByteArray edited = written;
    edited.replace("SUMMARY:Launch", "SUMMARY:Launch party");
    importText(edited);
    EXPECT_EQ(item(uid)->attributedStringValueForKey(QStringLiteral("title")),
              RichText(QStringLiteral("Launch party")));
}

TEST_F(ICalReaderTest, ABrokenComponentIsSkippedAndTheOthersStored) {
    const ICalImporter::Result result =
        importText(dataFile(QStringLiteral("broken-component.ics")));
    EXPECT_EQ(result.stored, 2);
    ASSERT_EQ(result.skipped.size(), 2);
    EXPECT_EQ(result.skipped[0].component, QStringLiteral("broken@example.com"));
    EXPECT_TRUE(result.skipped[0].reason.contains(QLatin1String("DTSTART")));
    EXPECT_EQ(result.skipped[1].component, QStringLiteral("busy@example.com"));
    EXPECT_NE(item(QStringLiteral("good-1@example.com")), nullptr);
    EXPECT_NE(item(QStringLiteral("good-2@example.com")), nullptr);
    EXPECT_EQ(item(QStringLiteral("broken@example.com")), nullptr);
    EXPECT_EQ(m_calendar->objectsForKey(QStringLiteral("childrenDirect")).size(), 2);

    // Without a UID the position names it.
    const ICalImporter::Result anonymous =
        importText(calendarText({"BEGIN:VEVENT", "SUMMARY:No start", "END:VEVENT"}));
    ASSERT_EQ(anonymous.skipped.size(), 1);
    EXPECT_EQ(anonymous.skipped[0].component, QStringLiteral("component 1"));
}

TEST_F(ICalReaderTest, TextThatIsNotICalendarIsRefused) {
    for (const QByteArray &text :
         {QByteArray(), QByteArray("hello world\n"), QByteArray("%PDF-1.4\n\x00\x01\x02", 12),
          QByteArray("BEGIN:VEVENT\r\nUID:x\r\nEND:VEVENT\r\n")})
        EXPECT_THROW(ICalImporter{text}, ICalImporter::NotICalendar) << text.toStdString();
    // Several calendars in one text are all read.
    QByteArray two = eventText({"UID:one", "DTSTART:20241001T080000Z"}) +
                     eventText({"UID:two", "DTSTART:20241002T080000Z"});
    EXPECT_EQ(importText(two).stored, 2);
}

// What the items of a service's calendar tell the service.
class ServiceCalls : public SyncHooks {
public:
    ServiceCalls() { SyncHooks::setShared(this); }
    ~ServiceCalls() override { SyncHooks::setShared(nullptr); }
    void notePendingChanges(ModelObject *service) override {
        calls << QStringLiteral("pending ") +
                     service->valueForKey(QStringLiteral("uid")).toString();
    }
    void delaySyncIfNeeded(ModelObject *service) override {
        calls << QStringLiteral("delay ") + service->valueForKey(QStringLiteral("uid")).toString();
    }
    QStringList calls;
};

}  // namespace

TEST_F(ICalReaderTest, AnImportedItemIsStampedAndReportedAsTheSyncExpects) {
    ServiceCalls hooks;
    ModelObject *service =
        ModelObject::as<ModelObject>(context().insertNewObject(QStringLiteral("RemoteService")));
    service->setValue(QStringLiteral("serviceName"), QStringLiteral("CalDAV Synchronization"));
    service->setValue(QStringLiteral("uid"), QStringLiteral("SVC"));
    service->setBoolValue(true, QStringLiteral("autoPublishChanges"));
    m_calendar->objectInfo()->setObject(QStringLiteral("ownedBy"), service);
    context().save();
    hooks.calls.clear();
    QSignalSpy changed(&context(), &ManagedObjectContext::objectsDidChange);
    QSignalSpy saved(&context(), &ManagedObjectContext::didSave);
    m_clock.advance(100);

    importText(eventText(
        {QStringLiteral("UID:stamped@example.org"), QStringLiteral("DTSTAMP:20240102T030405Z"),
         QStringLiteral("DTSTART:20240301T090000Z"), QStringLiteral("SUMMARY:Planning"),
         QStringLiteral("ATTENDEE;CN=Ann:mailto:ann@example.org"),
         QStringLiteral("ORGANIZER;CN=Olga:mailto:olga@example.org"),
         QStringLiteral("BEGIN:VALARM"), QStringLiteral("ACTION:DISPLAY"),
         QStringLiteral("TRIGGER:-PT15M"), QStringLiteral("END:VALARM")}));
    CommonDataMO *event = item(QStringLiteral("stamped@example.org"));
    ASSERT_NE(event, nullptr);
    SyncableObjectMO *info = event->objectInfo();
    // The sender's stamp, this machine's user and the time it came.
    EXPECT_EQ(info->dateValueForKey(QStringLiteral("lastModTime")),
              instant(2024, 1, 2, 3, 4).addingSeconds(5));
    EXPECT_EQ(info->valueForKey(QStringLiteral("lastModBy")).toString(), CurrentUser::name());
    EXPECT_EQ(info->dateValueForKey(QStringLiteral("localReceivedTime")), m_clock.now());
    EXPECT_TRUE(info->isLocallyModified());
    // The owner heard of it, and publishes it.
    EXPECT_TRUE(hooks.calls.contains(QStringLiteral("delay SVC")));
    EXPECT_TRUE(hooks.calls.contains(QStringLiteral("pending SVC")));
    // New objects with every value taken down as a change.
    EXPECT_TRUE(info->isInserted());
    EXPECT_TRUE(event->isInserted());
    for (const char *key : {"title", "startTimeAndZone", "createTime"})
        EXPECT_TRUE(event->changedKeys().contains(QLatin1String(key))) << key;
    for (const char *key : {"uid", "lastModTime", "localReceivedTime", "lastModBy"})
        EXPECT_TRUE(info->changedKeys().contains(QLatin1String(key))) << key;

    context().processPendingChanges();
    ASSERT_EQ(changed.size(), 1);
    const auto reported = changed.first().first().value<ChangeSet>();
    for (ManagedObject *object :
         {static_cast<ManagedObject *>(event), static_cast<ManagedObject *>(info)})
        EXPECT_TRUE(reported.inserted.contains(object));
    EXPECT_EQ(records(QStringLiteral("stamped@example.org"), "attendees").size(), 1);
    EXPECT_EQ(records(QStringLiteral("stamped@example.org"), "reminders").size(), 1);
    context().save();
    ASSERT_EQ(saved.size(), 1);
    EXPECT_TRUE(saved.first().first().value<ChangeSet>().inserted.contains(info));
}

TEST_F(ICalReaderTest, EachTextNamesItsOwnSenderAsModifier) {
    // Texts from different senders, one after another: each item is marked
    // by the sender of its own text, not by the one read before.
    const auto sentBy = [](const QByteArray &product, const QByteArray &uid) {
        return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:" + product +
               "\r\nBEGIN:VEVENT\r\nUID:" + uid +
               "\r\nDTSTAMP:20240102T030405Z\r\nDTSTART:20240301T090000Z\r\nEND:VEVENT\r\n"
               "END:VCALENDAR\r\n";
    };
    const auto modifier = [this](const char *uid) {
        return item(QLatin1String(uid))->objectInfo()->valueForKey(QStringLiteral("lastModBy"));
    };
    importText(sentBy("-//Apple Inc.//Mac OS X 10.15//EN", "mac"));
    importText(sentBy("-//Example Corp.//Planner 2.1//EN", "planner"));
    importText(sentBy("-//Apple Inc.//iOS 17.1//EN", "phone"));
    importText(sentBy("-//Apple Inc.//Mac OS X 10.15//EN", "mac-again"));
    EXPECT_EQ(modifier("mac").toString(), QStringLiteral("OS X"));
    EXPECT_EQ(modifier("planner").toString(), CurrentUser::name());
    EXPECT_EQ(modifier("phone").toString(), QStringLiteral("iOS"));
    EXPECT_EQ(modifier("mac-again").toString(), QStringLiteral("OS X"));
}
