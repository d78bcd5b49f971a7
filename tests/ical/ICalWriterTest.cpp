#include <gtest/gtest.h>

#include <QRegularExpression>

#include "ical/ICalFixture.h"
#include "ical/ICalWriteOptions.h"
#include "ical/ICalWriter.h"
#include "model/RichText.h"
#include "model/SyncableObjectMO.h"
#include "model/util/OwnAddresses.h"
#include "time/CalendarDates.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceRecord.h"
#include "time/recurrence/RecurrenceRule.h"

namespace {

using namespace ICalWriteOptions;

class ICalWriterTest : public ICalTest {
protected:
    QByteArray write(CommonDataMO *item, ICalMethod method = ICalMethod::None,
                     quint32 options = 0) {
        ICalWriter::Request request;
        request.method = method;
        request.options = options;
        return ICalWriter::wholeObject(item, request);
    }
    QStringList event(CommonDataMO *item, ICalMethod method = ICalMethod::None,
                      quint32 options = 0) {
        const QByteArray text = write(item, method, options);
        for (const char *kind : {"VEVENT", "VTODO", "VJOURNAL"}) {
            if (const QStringList lines = component(text, QLatin1String(kind)); !lines.isEmpty())
                return lines;
        }
        return {};
    }
    ExtraDataMO *addReminder(CommonDataMO *item, qint64 type, double relative,
                             const QString &entity = QStringLiteral("Reminder")) {
        ExtraDataMO *reminder = makeExtra(entity, item);
        reminder->setIntegerValue(type, QStringLiteral("reminderType"));
        reminder->setDoubleValue(relative, QStringLiteral("relativeSeconds"));
        return reminder;
    }
};

TEST_F(ICalWriterTest, TheItemTypeChoosesTheComponent) {
    CommonDataMO *sticky = makeItem(QStringLiteral("Note"), 3);
    const QByteArray published = write(sticky, ICalMethod::Publish);
    EXPECT_TRUE(hasLine(component(published, QStringLiteral("VEVENT")),
                        QStringLiteral("X-TOLVERN-EVENT-TYPE:STICKY")));
    // Scheduling messages know only events, to-dos and journals.
    EXPECT_FALSE(component(write(sticky, ICalMethod::Reply), QStringLiteral("VJOURNAL")).isEmpty());

    CommonDataMO *journal = makeItem(QStringLiteral("Diary"), 4);
    EXPECT_FALSE(component(write(journal), QStringLiteral("VJOURNAL")).isEmpty());
    EXPECT_TRUE(hasLine(
        component(write(journal, ICalMethod::None, JournalAsEvent), QStringLiteral("VEVENT")),
        QStringLiteral("X-TOLVERN-EVENT-TYPE:JOURNAL")));
}

TEST_F(ICalWriterTest, StatusClassAndIdentity) {
    CommonDataMO *item = makeItem(QStringLiteral("Review"));
    item->setIntegerValue(5, QStringLiteral("status"));
    QStringList lines = event(item);
    EXPECT_FALSE(hasLine(lines, QStringLiteral("STATUS")));
    // No organizer: sequence 0 and the item's own uid.
    EXPECT_EQ(lineStarting(lines, QStringLiteral("SEQUENCE")), QStringLiteral("SEQUENCE:0"));
    EXPECT_EQ(lineStarting(lines, QStringLiteral("UID")), QStringLiteral("UID:") + item->uid());

    item->setIntegerValue(8, QStringLiteral("status"));
    item->setIntegerValue(2, QStringLiteral("classification"));
    lines = event(item);
    EXPECT_TRUE(hasLine(lines, QStringLiteral("STATUS:CONFIRMED")));
    EXPECT_TRUE(hasLine(lines, QStringLiteral("CLASS:PRIVATE")));
    // Cancelling a scheduling message cancels whatever the status.
    EXPECT_TRUE(
        hasLine(event(item, ICalMethod::Cancel, Cancelling), QStringLiteral("STATUS:CANCELLED")));

    ExtraDataMO *organizer = makeExtra(QStringLiteral("Organizer"), item);
    organizer->setValue(QStringLiteral("email"), QStringLiteral("boss@example.org"));
    organizer->setValue(QStringLiteral("meetingUID"), QStringLiteral("meeting-1"));
    organizer->setIntegerValue(4, QStringLiteral("localSequence"));
    lines = event(item);
    EXPECT_TRUE(hasLine(lines, QStringLiteral("UID:meeting-1")));
    EXPECT_TRUE(hasLine(lines, QStringLiteral("SEQUENCE:4")));
    EXPECT_TRUE(hasLine(lines, QStringLiteral("ORGANIZER:mailto:boss@example.org")));
    // Data of this machine keeps the item's own uid.
    EXPECT_TRUE(
        hasLine(event(item, ICalMethod::None, LocalData), QStringLiteral("UID:") + item->uid()));
}

TEST_F(ICalWriterTest, OnlyFormattedTextGetsItsRichCopy) {
    CommonDataMO *item = makeItem(QStringLiteral("Plain"));
    item->setStringValue(QStringLiteral("Notes"), QStringLiteral("content"));
    EXPECT_FALSE(hasLine(event(item), QStringLiteral("X-TOLVERN-SUMMARY")));
    item->setAttributedStringValue(
        RichText(QStringLiteral("Bold"),
                 {QVariantMap{{QStringLiteral("location"), 0},
                              {QStringLiteral("length"), 4},
                              {QStringLiteral("font"), QStringLiteral("Helvetica-Bold")}}}),
        QStringLiteral("title"));
    const QStringList lines = event(item);
    EXPECT_TRUE(hasLine(lines, QStringLiteral("SUMMARY:Bold")));
    const QString rich = lineStarting(lines, QStringLiteral("X-TOLVERN-SUMMARY"));
    EXPECT_TRUE(rich.contains(QLatin1String("ENCODING=BASE64")));
    EXPECT_TRUE(rich.contains(QLatin1String("FMTTYPE=application/x-nsarchive")));
    EXPECT_FALSE(
        hasLine(event(item, ICalMethod::None, NoRichText), QStringLiteral("X-TOLVERN-SUMMARY")));
}

TEST_F(ICalWriterTest, AToDoTakesItsStartFromANearbyAlarm) {
    CommonDataMO *todo = makeItem(QStringLiteral("File taxes"), 1);
    todo->setCalendarDateValue(utc(2024, 5, 1, 17), QStringLiteral("dueTimeAndZone"));
    ExtraDataMO *alarm = addReminder(todo, 0, 0);
    alarm->setDateValue(utc(2024, 5, 1, 9).date(), QStringLiteral("absoluteTime"));
    QStringList lines = event(todo, ICalMethod::None, ToDoStart);
    EXPECT_TRUE(hasLine(lines, QStringLiteral("DTSTART:20240501T090000Z")));
    EXPECT_TRUE(hasLine(lines, QStringLiteral("DUE:20240501T170000Z")));
    // Without the option, no start; an alarm far away gives the due time.
    EXPECT_FALSE(hasLine(event(todo), QStringLiteral("DTSTART")));
    alarm->setDateValue(utc(2024, 4, 20, 9).date(), QStringLiteral("absoluteTime"));
    EXPECT_TRUE(hasLine(event(todo, ICalMethod::None, ToDoStart),
                        QStringLiteral("DTSTART:20240501T170000Z")));
}

TEST_F(ICalWriterTest, AlarmsOfEachKind) {
    CommonDataMO *item = makeItem(QStringLiteral("Flight"));
    item->setCalendarDateValue(utc(2024, 5, 1, 9), QStringLiteral("startTimeAndZone"));
    addReminder(item, 1, -600)->setValue(QStringLiteral("url"), QStringLiteral("Glass"));
    ExtraDataMO *mail = addReminder(item, 2, -3600);
    mail->setArchivedValue(QStringList{QStringLiteral("me@example.org")},
                           QStringLiteral("recipients"));
    addReminder(item, 3, 0);  // a placeholder is never written
    addReminder(item, 0, -60, QStringLiteral("LocalReminder"));

    QString text = QString::fromUtf8(write(item));
    EXPECT_EQ(text.count(QLatin1String("BEGIN:VALARM")), 2);
    EXPECT_TRUE(text.contains(QLatin1String("TRIGGER:-PT10M")));
    EXPECT_TRUE(text.contains(QLatin1String("ACTION:AUDIO")));
    EXPECT_TRUE(text.contains(QLatin1String("ATTACH:Glass")));
    EXPECT_TRUE(text.contains(QLatin1String("ATTENDEE:mailto:me@example.org")));
    EXPECT_FALSE(text.contains(QLatin1String("X-TOLVERN-REMINDER-TYPE")));

    text = QString::fromUtf8(write(item, ICalMethod::None, LocalData | SoundAsDisplay));
    EXPECT_EQ(text.count(QLatin1String("BEGIN:VALARM")), 3);
    EXPECT_TRUE(text.contains(QLatin1String("X-TOLVERN-REMINDER-TYPE:LOCAL")));
    EXPECT_FALSE(text.contains(QLatin1String("ACTION:AUDIO")));
    EXPECT_FALSE(text.contains(QLatin1String("Glass")));

    CommonDataMO *bare = makeItem(QStringLiteral("Bare"));
    addReminder(bare, 3, 0);
    const QStringList placeholder =
        component(write(bare, ICalMethod::None, PlaceholderAlarm), QStringLiteral("VALARM"));
    EXPECT_TRUE(hasLine(placeholder, QStringLiteral("ACTION:NONE")));
    EXPECT_TRUE(hasLine(placeholder, QStringLiteral("TRIGGER;VALUE=DATE-TIME:19760401T005545Z")));
}

TEST_F(ICalWriterTest, AttendeesCarryOnlyTheWordsTheyHave) {
    OwnAddresses::setProvider([] { return QStringList{QStringLiteral("me@example.org")}; });
    CommonDataMO *item = makeItem(QStringLiteral("Meeting"));
    ExtraDataMO *organizer = makeExtra(QStringLiteral("Organizer"), item);
    organizer->setValue(QStringLiteral("email"), QStringLiteral("boss@example.org"));
    ExtraDataMO *observer = makeExtra(QStringLiteral("Attendee"), item);
    observer->setValue(QStringLiteral("email"), QStringLiteral("watcher@example.org"));
    observer->setIntegerValue(2, QStringLiteral("role"));
    ExtraDataMO *me = makeExtra(QStringLiteral("Attendee"), item);
    me->setValue(QStringLiteral("email"), QStringLiteral("me@example.org"));
    me->setValue(QStringLiteral("name"), QStringLiteral("Me Myself"));
    me->setIntegerValue(3, QStringLiteral("status"));
    me->setIntegerValue(2, QStringLiteral("attendeeType"));
    me->setIntegerValue(3, QStringLiteral("role"));

    QStringList lines = event(item);
    EXPECT_EQ(lineStarting(lines, QStringLiteral("ATTENDEE:mailto:watcher")),
              QStringLiteral("ATTENDEE:mailto:watcher@example.org"));
    const QString mine = lineStarting(lines, QStringLiteral("ATTENDEE;CN=Me Myself"));
    for (const char *word : {"PARTSTAT=ACCEPTED", "CUTYPE=RESOURCE", "ROLE=CHAIR"})
        EXPECT_TRUE(mine.contains(QLatin1String(word))) << word << " in " << mine.toStdString();
    EXPECT_FALSE(mine.contains(QLatin1String("RSVP")));
    EXPECT_TRUE(lineStarting(event(item, ICalMethod::Request), QStringLiteral("ATTENDEE;CN=Me"))
                    .contains(QLatin1String("RSVP=TRUE")));

    // A reply carries only the user, declining under any low option bit.
    lines = event(item, ICalMethod::Reply, Cancelling);
    EXPECT_EQ(lines.filter(QRegularExpression(QStringLiteral("^ATTENDEE"))).size(), 1);
    EXPECT_TRUE(lineStarting(lines, QStringLiteral("ATTENDEE"))
                    .contains(QLatin1String("PARTSTAT=DECLINED")));
    EXPECT_TRUE(lineStarting(event(item, ICalMethod::Reply, LocalData), QStringLiteral("ATTENDEE"))
                    .contains(QLatin1String("PARTSTAT=DECLINED")));
    EXPECT_TRUE(lineStarting(event(item, ICalMethod::Reply), QStringLiteral("ATTENDEE"))
                    .contains(QLatin1String("PARTSTAT=ACCEPTED")));
    OwnAddresses::setProvider({});
}

}  // namespace

namespace {

TEST_F(ICalWriterTest, ASeriesIsWrittenWithItsExceptionsAndDetachedInstances) {
    const QTimeZone newYork("America/New_York");
    CommonDataMO *series = makeItem(QStringLiteral("Standup"));
    series->setCalendarDateValue(CalendarDates::dateWithYear(2024, 3, 4, 9, 0, 0, false, newYork),
                                 QStringLiteral("startTimeAndZone"));
    series->setCalendarDateValue(CalendarDates::dateWithYear(2024, 3, 4, 9, 15, 0, false, newYork),
                                 QStringLiteral("endTimeAndZone"));
    ExtraDataMO *rule = ItemRecurrence::attachRecurrence(
        *RecurrenceRule::fromICalendarText(QStringLiteral("FREQ=DAILY;COUNT=20")), series, false,
        false);
    // An exception stored in UTC is written as the wall clock of the start's zone.
    RecurrenceRecord(rule).setExceptionDates({utc(2024, 3, 12, 13)});

    CommonDataMO *moved =
        CommonDataMO::makeObject(QStringLiteral("DetachedEvent"), m_calendar, nullptr);
    moved->setObject(QStringLiteral("originalEvent"), series);
    moved->objectInfo()->setValue(QStringLiteral("uid"), series->uid());  // one UID per series
    moved->setCalendarDateValue(utc(2024, 3, 14, 13), QStringLiteral("originalTimeAndZone"));
    moved->setCalendarDateValue(CalendarDates::dateWithYear(2024, 3, 14, 11, 0, 0, false, newYork),
                                QStringLiteral("startTimeAndZone"));

    const QByteArray text = write(series, ICalMethod::Request, ThisAndFuture);
    const QStringList lines = unfolded(text);
    EXPECT_EQ(text.count("BEGIN:VEVENT"), 2);
    EXPECT_EQ(text.count("BEGIN:VTIMEZONE"), 1);
    EXPECT_TRUE(lines.contains(QStringLiteral("EXDATE;TZID=America/New_York:20240312T090000")));
    EXPECT_TRUE(lines.contains(
        QStringLiteral("RECURRENCE-ID;TZID=America/New_York;RANGE=THISANDFUTURE:20240314T090000")));
    EXPECT_TRUE(lines.contains(QStringLiteral("DTSTART;TZID=America/New_York:20240314T110000")));
    // The caller's sequence numbers win.
    ICalWriter::Request request;
    request.sequences.insert(series->uid(), 7);
    EXPECT_EQ(
        unfolded(ICalWriter::wholeObject(series, request)).count(QStringLiteral("SEQUENCE:7")), 2);
}

// Each zone is written once, covering every year from that of the earliest
// date of any zone (a year before it when that date comes before its year's
// first change of offset) to this one.
TEST_F(ICalWriterTest, ACalendarsZonesCoverItsEarliestDate) {
    const QTimeZone berlin("Europe/Berlin");
    const QTimeZone tokyo("Asia/Tokyo");
    const auto addItem = [&](const char *title, const CalendarDate &start) {
        CommonDataMO *item = makeItem(QString::fromLatin1(title));
        item->setCalendarDateValue(start, QStringLiteral("startTimeAndZone"));
        return item;
    };
    // The earliest date comes neither first nor last.
    addItem("Summer", CalendarDates::dateWithYear(2019, 6, 10, 9, 0, 0, false, berlin));
    addItem("Far east", CalendarDates::dateWithYear(2020, 5, 2, 9, 0, 0, false, tokyo));
    CommonDataMO *winter =
        addItem("Winter", CalendarDates::dateWithYear(2019, 1, 15, 9, 0, 0, false, berlin));
    addItem("Spring", CalendarDates::dateWithYear(2019, 4, 1, 9, 0, 0, false, berlin));

    // The year of each zone's earliest DTSTART, by TZID.
    QHash<QString, int> firstYears;
    QString zone;
    for (const QString &line : unfolded(ICalWriter::calendarExport(m_calendar))) {
        if (line == QLatin1String("BEGIN:VTIMEZONE"))
            zone.clear();
        else if (line.startsWith(QLatin1String("TZID:")))
            zone = line.mid(5);
        else if (!zone.isEmpty() && line.startsWith(QLatin1String("DTSTART:"))) {
            const int year = line.mid(8, 4).toInt();
            firstYears[zone] = firstYears.contains(zone) ? std::min(firstYears[zone], year) : year;
        } else if (line == QLatin1String("END:VTIMEZONE"))
            zone.clear();
    }
    EXPECT_EQ(firstYears, (QHash<QString, int>{{QStringLiteral("Europe/Berlin"), 2018},
                                               {QStringLiteral("Asia/Tokyo"), 2018}}));

    // Without the winter date, the range starts in the year of the spring one.
    winter->setCalendarDateValue(CalendarDates::dateWithYear(2019, 5, 15, 9, 0, 0, false, berlin),
                                 QStringLiteral("startTimeAndZone"));
    const QByteArray text = ICalWriter::calendarExport(m_calendar);
    EXPECT_EQ(text.count("BEGIN:VTIMEZONE"), 2);
    EXPECT_TRUE(text.contains("DTSTART:20190101T000000\r\nTZOFFSETTO:+0900"));
    EXPECT_FALSE(text.contains("DTSTART:2018"));
}

// A calendar's zones are added in the order its items first use them,
// although each detached instance is written right after its original; the
// library places each zone added before the ones added earlier.
TEST_F(ICalWriterTest, ACalendarsZonesComeInTheOrderItsItemsFirstUseThem) {
    const auto start = [](const char *zone) {
        return CalendarDates::dateWithYear(2024, 3, 4, 9, 0, 0, false, QTimeZone(zone));
    };
    CommonDataMO *series = makeItem(QStringLiteral("Standup"));
    series->setCalendarDateValue(start("Europe/Berlin"), QStringLiteral("startTimeAndZone"));
    ItemRecurrence::attachRecurrence(
        *RecurrenceRule::fromICalendarText(QStringLiteral("FREQ=DAILY;COUNT=5")), series, false,
        false);
    makeItem(QStringLiteral("Far east"))
        ->setCalendarDateValue(start("Asia/Tokyo"), QStringLiteral("startTimeAndZone"));
    CommonDataMO *moved =
        CommonDataMO::makeObject(QStringLiteral("DetachedEvent"), m_calendar, nullptr);
    moved->setObject(QStringLiteral("originalEvent"), series);
    moved->objectInfo()->setValue(QStringLiteral("uid"), series->uid());
    moved->setCalendarDateValue(start("Europe/Berlin"), QStringLiteral("originalTimeAndZone"));
    moved->setCalendarDateValue(start("America/New_York"), QStringLiteral("startTimeAndZone"));

    QStringList zones;
    QStringList items;  // each item's title, or the instance's recurrence
    for (const QString &line : unfolded(ICalWriter::calendarExport(m_calendar))) {
        if (line.startsWith(QLatin1String("TZID:")))
            zones << line.mid(5);
        else if (line.startsWith(QLatin1String("SUMMARY:")))
            items << line.mid(8);
        else if (line.startsWith(QLatin1String("RECURRENCE-ID")))
            items << QStringLiteral("instance");
    }
    EXPECT_EQ(zones, (QStringList{QStringLiteral("America/New_York"), QStringLiteral("Asia/Tokyo"),
                                  QStringLiteral("Europe/Berlin")}));
    EXPECT_EQ(items, (QStringList{QStringLiteral("Standup"), QStringLiteral("instance"),
                                  QStringLiteral("Far east")}));
}

}  // namespace
