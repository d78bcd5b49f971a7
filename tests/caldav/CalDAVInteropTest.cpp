#include <gtest/gtest.h>

#include <QDir>
#include <QUrl>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/support/CalendarClients.h"
#include "caldav/support/SyncTestSuite.h"
#include "ical/ICalImporter.h"
#include "model/CommonDataMO.h"
#include "model/SyncableObjectMO.h"
#include "time/recurrence/ItemRecurrence.h"

// Other CalDAV clients from Debian work on the same calendar as our sync:
// vdirsyncer mirrors the server into a local folder, python3-icalendar and
// khal read what we sent there, khal writes an event that vdirsyncer sends
// to the server, and our sync reads it back.
namespace {

// One item of every shape, as a user's file would bring it.
constexpr char kItemsOfEveryShape[] =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Interop test//EN\r\n"
    "BEGIN:VEVENT\r\nUID:zoned-1\r\nDTSTAMP:20261101T000000Z\r\nSUMMARY:Zoned\r\n"
    "DTSTART;TZID=Europe/Berlin:20261201T100000\r\nDTEND;TZID=Europe/Berlin:20261201T113000\r\n"
    "END:VEVENT\r\n"
    "BEGIN:VEVENT\r\nUID:allday-1\r\nDTSTAMP:20261101T000000Z\r\nSUMMARY:All day\r\n"
    "DTSTART;VALUE=DATE:20261202\r\nDTEND;VALUE=DATE:20261204\r\nEND:VEVENT\r\n"
    "BEGIN:VEVENT\r\nUID:floating-1\r\nDTSTAMP:20261101T000000Z\r\nSUMMARY:Floating\r\n"
    "DTSTART:20261203T090000\r\nDTEND:20261203T100000\r\nEND:VEVENT\r\n"
    "BEGIN:VEVENT\r\nUID:weekly-1\r\nDTSTAMP:20261101T000000Z\r\nSUMMARY:Weekly\r\n"
    "DTSTART;TZID=America/New_York:20261207T080000\r\n"
    "DTEND;TZID=America/New_York:20261207T083000\r\nRRULE:FREQ=WEEKLY;COUNT=5\r\n"
    "EXDATE;TZID=America/New_York:20261221T080000\r\nEND:VEVENT\r\n"
    "BEGIN:VEVENT\r\nUID:weekly-1\r\nDTSTAMP:20261101T000000Z\r\nSUMMARY:Weekly moved\r\n"
    "RECURRENCE-ID;TZID=America/New_York:20261214T080000\r\n"
    "DTSTART;TZID=America/New_York:20261214T093000\r\n"
    "DTEND;TZID=America/New_York:20261214T100000\r\nEND:VEVENT\r\n"
    "BEGIN:VTODO\r\nUID:todo-1\r\nDTSTAMP:20261101T000000Z\r\nSUMMARY:Due\r\n"
    "DUE;TZID=Europe/Berlin:20261205T170000\r\nEND:VTODO\r\n"
    "END:VCALENDAR\r\n";

template <typename Server>
class CalDAVInteropTest : public SyncTestSuite<Server> {
protected:
    // The local calendar of the server's calendar.
    CommonDataMO *localCalendar() {
        SyncableObjectMO *syncable =
            CalDAVRemoteObjects(this->service())
                .localObjectForHREF(QUrl(this->server->calendarURL()).path());
        return syncable ? syncable->objectData() : nullptr;
    }
    QString collectionName() const {
        return QUrl(this->server->calendarURL()).path().section('/', -2, -2);
    }
};

using InteropServers = ::testing::Types<RadicaleServer, XandikosServer, DAViCalServer>;
TYPED_TEST_SUITE(CalDAVInteropTest, InteropServers);

TYPED_TEST(CalDAVInteropTest, VdirsyncerAndKhalReadWhatWeSendAndWeReadWhatKhalWrites) {
    this->sync();
    CommonDataMO *calendar = this->localCalendar();
    ASSERT_NE(calendar, nullptr);
    const ICalImporter::Result imported =
        ICalImporter(QByteArray(kItemsOfEveryShape)).importInto(calendar);
    ASSERT_EQ(imported.uids.size(), 5);
    ASSERT_TRUE(imported.skipped.isEmpty());
    const CalDAVAccountCheck::Outcome pushed = this->sync();
    EXPECT_EQ(pushed.counts.pushed, 5);
    EXPECT_EQ(pushed.counts.conflicts, 0);

    CalendarClients clients(this->server->url(QLatin1String(SyncAccount<TypeParam>::principal)),
                            this->user(), this->password());
    const QString collection = this->collectionName();
    ASSERT_EQ(clients.sync(), QString());
    EXPECT_EQ(QDir(clients.collectionFolder(collection)).entryList({"*.ics"}).size(), 5);
    const QStringList expected{
        "allday-1|VEVENT||All day|2026-12-02 date|2026-12-04 date|||",
        "floating-1|VEVENT||Floating|2026-12-03T09:00:00 floating|2026-12-03T10:00:00 floating|||",
        "todo-1|VTODO||Due|||2026-12-05T17:00:00 Europe/Berlin||",
        "weekly-1|VEVENT|2026-12-14T08:00:00 America/New_York|Weekly moved|"
        "2026-12-14T09:30:00 America/New_York|2026-12-14T10:00:00 America/New_York|||",
        "weekly-1|VEVENT||Weekly|2026-12-07T08:00:00 America/New_York|"
        "2026-12-07T08:30:00 America/New_York||FREQ=WEEKLY;COUNT=5|"
        "2026-12-21T08:00:00 America/New_York",
        "zoned-1|VEVENT||Zoned|2026-12-01T10:00:00 Europe/Berlin|"
        "2026-12-01T11:30:00 Europe/Berlin|||",
    };
    const ProcessResult read = clients.componentLines(collection);
    ASSERT_EQ(read.exitCode, 0) << read.err.toStdString();
    EXPECT_EQ(read.out.split('\n', Qt::SkipEmptyParts), expected) << read.out.toStdString();

    // khal expands the rule without the exception date, with the moved
    // occurrence in its place, and shows every time in UTC.
    const ProcessResult listed =
        clients.khal(collection, {"list", "--format", "{start} {end} {title}", "--day-format", "",
                                  "2026-12-01", "2027-01-10"});
    ASSERT_EQ(listed.exitCode, 0) << listed.err.toStdString();
    const QStringList expectedList{
        "2026-12-01 09:00 2026-12-01 10:30 Zoned",
        "2026-12-02 2026-12-03 All day",
        "2026-12-02 2026-12-03 All day",
        "2026-12-03 09:00 2026-12-03 10:00 Floating",
        "2026-12-07 13:00 2026-12-07 13:30 Weekly",
        "2026-12-14 14:30 2026-12-14 15:00 Weekly moved",
        "2026-12-28 13:00 2026-12-28 13:30 Weekly",
        "2027-01-04 13:00 2027-01-04 13:30 Weekly",
    };
    EXPECT_EQ(listed.out.split('\n', Qt::SkipEmptyParts), expectedList) << listed.out.toStdString();

    // What khal makes reaches us: a weekly event in Berlin's zone.
    const ProcessResult made = clients.khal(
        collection, {"new", "-a", "interop", "-r", "weekly", "-u", "2027-01-31", "2026-12-20 10:00",
                     "2026-12-20 11:15", "Europe/Berlin", "Written by khal"});
    ASSERT_EQ(made.exitCode, 0) << made.err.toStdString();
    ASSERT_EQ(clients.sync(), QString());
    const CalDAVAccountCheck::Outcome pulled = this->sync();
    EXPECT_EQ(pulled.counts.pulled, 1);
    EXPECT_EQ(pulled.counts.pushed, 0);
    QStringList uids = this->itemUIDs(calendar);
    for (const QString &uid : imported.uids)
        uids.removeOne(uid);
    ASSERT_EQ(uids.size(), 1);
    CommonDataMO *khalEvent = this->item(calendar, uids.first());
    EXPECT_EQ(khalEvent->effectiveTitle(), QStringLiteral("Written by khal"));
    const std::optional<CalendarDate> start =
        khalEvent->calendarDateValueForKey("startTimeAndZone");
    const std::optional<CalendarDate> end = khalEvent->calendarDateValueForKey("endTimeAndZone");
    ASSERT_TRUE(start && end);
    EXPECT_EQ(start->timeZone().id(), QByteArray("Europe/Berlin"));
    EXPECT_EQ(start->date(),
              Date::fromDateTime(QDateTime(QDate(2026, 12, 20), QTime(9, 0), Qt::UTC)));
    EXPECT_EQ(end->date(),
              Date::fromDateTime(QDateTime(QDate(2026, 12, 20), QTime(10, 15), Qt::UTC)));
    EXPECT_FALSE(khalEvent->boolValueForKey("allDay"));
    ItemRecurrence recurrence(khalEvent);
    const Date from = Date::fromDateTime(QDateTime(QDate(2026, 12, 1), QTime(0, 0), Qt::UTC));
    const std::vector<Date> occurrences =
        recurrence.series().occurrences(from, from.addingSeconds(70 * Date::kSecondsPerDay), 20);
    // Sundays from 20 December to 24 January: khal ends the rule at the start
    // of 31 January in Berlin.
    EXPECT_EQ(occurrences.size(), 6U);

    // Nothing more to do on either side.
    const CalDAVAccountCheck::Outcome quiet = this->sync();
    EXPECT_EQ(quiet.counts.pulled, 0);
    EXPECT_EQ(quiet.counts.pushed, 0);
}

}  // namespace
