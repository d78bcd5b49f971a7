#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

#include "app/StoreSession.h"
#include "app/commands/ItemLookup.h"
#include "model/CommonDataMO.h"
#include "model/DatabaseController.h"
#include "model/foundation/TimeZones.h"
#include "model/foundation/WallClock.h"
#include "model/store/ManagedObjectContext.h"
#include "support/TestSupport.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceRule.h"

namespace {

QProcessEnvironment newYorkEnvironment() {
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("TZ"), QStringLiteral("America/New_York"));
    return environment;
}

ProcessResult agenda(const QStringList &arguments) {
    return runMerovan(QStringList{QStringLiteral("agenda")} + arguments, newYorkEnvironment());
}

CalendarDate newYork(int year, int month, int day, int hour) {
    return CalendarDate::fromWallClock(WallClock{year, month, day, hour},
                                       QTimeZone("America/New_York"));
}

CommonDataMO *makeItem(CommonDataMO *calendar, const char *entity, const char *title,
                       const CalendarDate &start, const std::optional<CalendarDate> &end) {
    CommonDataMO *item = CommonDataMO::makeObject(QString::fromLatin1(entity), calendar, nullptr);
    item->setStringValue(QString::fromLatin1(title), QStringLiteral("title"));
    item->setBoolValue(start.isDateOnly(), QStringLiteral("allDay"));
    item->setCalendarDateValue(start, QStringLiteral("startTimeAndZone"));
    item->setCalendarDateValue(end, QStringLiteral("endTimeAndZone"));
    return item;
}

// A calendar "Work" with a weekly meeting (one week excepted, one moved),
// an all-day trip, a floating call, a to-do due on a day and an event
// outside the range; returns the uids of the meeting, the moved instance,
// the trip, the call and the to-do.
QStringList fillStore(const QString &calendarUID) {
    ItemRecurrence::installDaysMaintenance();
    StoreSession session;
    session.open();
    CommonDataMO *calendar = ItemLookup::calendarWithUID(calendarUID);
    CommonDataMO *meeting =
        makeItem(calendar, "Event", "Planning", newYork(2026, 11, 2, 9), newYork(2026, 11, 2, 10));
    ItemRecurrence::attachRecurrence(
        *RecurrenceRule::fromICalendarText(QStringLiteral("FREQ=WEEKLY;COUNT=4")), meeting, false,
        false);
    ItemRecurrence(meeting).addExceptionDate(newYork(2026, 11, 9, 9));
    CommonDataMO *moved = makeItem(calendar, "DetachedEvent", "Planning (moved)",
                                   newYork(2026, 11, 17, 14), newYork(2026, 11, 17, 15));
    moved->setObject(QStringLiteral("originalEvent"), meeting);
    moved->setCalendarDateValue(newYork(2026, 11, 16, 9), QStringLiteral("originalTimeAndZone"));
    CommonDataMO *trip = makeItem(calendar, "Event", "Trip", CalendarDate::dateOnly(2026, 11, 5),
                                  CalendarDate::dateOnly(2026, 11, 7));
    const CalendarDate floating =
        CalendarDate::fromWallClock(WallClock{2026, 11, 4, 8}, TimeZones::universal());
    CommonDataMO *call =
        makeItem(calendar, "Event", "Call", floating, floating.addingTimeInterval(1800));
    call->setBoolValue(true, QStringLiteral("floatingEvent"));
    CommonDataMO *toDo =
        makeItem(calendar, "Event", "Report", newYork(2026, 11, 3, 17), std::nullopt);
    toDo->setIntegerValue(1, QStringLiteral("eventType"));
    toDo->setCalendarDateValue(newYork(2026, 11, 3, 17), QStringLiteral("dueTimeAndZone"));
    makeItem(calendar, "Event", "Later", newYork(2026, 12, 1, 9), newYork(2026, 12, 1, 10));
    ItemRecurrence(meeting).calcCompiledDays();
    const QStringList uids{meeting->uid(), moved->uid(), trip->uid(), call->uid(), toDo->uid()};
    session.controller().managedObjectContext()->save();
    session.close();
    CommonDataMO::setDatesObserver(nullptr);
    return uids;
}

QJsonObject entry(const QString &uid, const char *title, const char *type, bool allDay,
                  const char *start, const char *end) {
    QJsonObject object{{"uid", uid},   {"calendar", "Work"}, {"title", title},
                       {"type", type}, {"allDay", allDay},   {"start", start}};
    if (end)
        object.insert(QStringLiteral("end"), QString::fromLatin1(end));
    return object;
}

QJsonObject occurrence(QJsonObject object, const char *recurrenceId, bool detached = false) {
    object.insert(QStringLiteral("recurrenceId"), QString::fromLatin1(recurrenceId));
    if (detached)
        object.insert(QStringLiteral("detached"), true);
    return object;
}

TEST(AgendaCommand, ListsTheOccurrencesOfARangeThroughTheRealBinary) {
    TemporaryHome home;
    const ProcessResult added =
        runMerovan({QStringLiteral("calendar"), QStringLiteral("add"), QStringLiteral("Work")});
    ASSERT_EQ(added.exitCode, 0) << added.err.toStdString();
    const QStringList uids = fillStore(added.out.trimmed());

    const ProcessResult result =
        agenda({QStringLiteral("--from"), QStringLiteral("2026-11-02"), QStringLiteral("--to"),
                QStringLiteral("2026-11-23"), QStringLiteral("--json")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonArray expected{
        occurrence(entry(uids[0], "Planning", "event", false, "2026-11-02T14:00:00Z",
                         "2026-11-02T15:00:00Z"),
                   "2026-11-02T14:00:00Z"),
        entry(uids[4], "Report", "todo", false, "2026-11-03T22:00:00Z", "2026-11-03T22:00:00Z"),
        entry(uids[3], "Call", "event", false, "2026-11-04T08:00:00", "2026-11-04T08:30:00"),
        entry(uids[2], "Trip", "event", true, "2026-11-05", "2026-11-07"),
        occurrence(entry(uids[1], "Planning (moved)", "event", false, "2026-11-17T19:00:00Z",
                         "2026-11-17T20:00:00Z"),
                   "2026-11-16T14:00:00Z", true),
    };
    const QJsonArray listed = QJsonDocument::fromJson(result.out.toUtf8()).array();
    EXPECT_EQ(listed, expected) << result.out.toStdString();

    // The week of the 23rd holds the last meeting only; --to is exclusive.
    const ProcessResult lastWeek = agenda({QStringLiteral("--from"), QStringLiteral("2026-11-23"),
                                           QStringLiteral("--to"), QStringLiteral("2026-11-24")});
    ASSERT_EQ(lastWeek.exitCode, 0) << lastWeek.err.toStdString();
    EXPECT_EQ(lastWeek.out, QStringLiteral("2026-11-23 09:00-10:00  Planning  (Work)\n"));
    const ProcessResult empty =
        agenda({QStringLiteral("--from"), QStringLiteral("2026-11-24"), QStringLiteral("--json")});
    EXPECT_EQ(QJsonDocument::fromJson(empty.out.toUtf8()).array(), QJsonArray());
}

TEST(AgendaCommand, RefusesBadArgumentsWithOneLine) {
    TemporaryHome home;
    for (const QStringList &arguments :
         {QStringList{"--from", "2026-13-01"}, QStringList{"--to", "tomorrow"},
          QStringList{"--from", "2026-11-10", "--to", "2026-11-10"},
          QStringList{"--calendar", "NO-SUCH-CALENDAR"}, QStringList{"--colour", "red"}}) {
        const ProcessResult result = agenda(arguments);
        EXPECT_NE(result.exitCode, 0) << arguments.join(' ').toStdString();
        EXPECT_TRUE(result.out.isEmpty()) << result.out.toStdString();
        EXPECT_EQ(result.err.count(u'\n'), 1) << result.err.toStdString();
    }
    // Without arguments: the week from today, in an empty store.
    const ProcessResult week = agenda({QStringLiteral("--json")});
    EXPECT_EQ(week.exitCode, 0) << week.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(week.out.toUtf8()).array(), QJsonArray());
}

}  // namespace
