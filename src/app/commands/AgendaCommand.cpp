#include "app/commands/AgendaCommand.h"

#include <QJsonArray>
#include <QJsonObject>

#include "app/CommandRegistry.h"
#include "app/StoreSession.h"
#include "app/commands/ItemLookup.h"
#include "model/CommonDataMO.h"
#include "model/Queries.h"
#include "model/foundation/Clock.h"
#include "model/foundation/TimeZones.h"
#include "model/foundation/WallClock.h"
#include "time/recurrence/OccurrenceExpansion.h"

namespace {

const char *const kTypeNames[] = {"event", "todo", "graphic", "sticky", "journal"};

WallClock midnightOf(const QDate &day) {
    return WallClock{day.year(), day.month(), day.day()};
}

QDate readDay(const CommandArguments &arguments, const QString &option, const QDate &fallback) {
    if (!arguments.has(option))
        return fallback;
    const QString text = arguments.value(option);
    const QDate day = QDate::fromString(text, QStringLiteral("yyyy-MM-dd"));
    if (!day.isValid())
        throw CommandError(
            QStringLiteral("%1 wants a date YYYY-MM-DD, not \"%2\"").arg(option, text), 2);
    return day;
}

// All-day: "YYYY-MM-DD"; floating: the wall-clock time; zoned: in UTC.
QString timeText(const CalendarDate &date, bool allDay, bool floating) {
    const WallClock clock = WallClock::of(date.date(), QTimeZone::utc());
    const QString day = QStringLiteral("%1-%2-%3")
                            .arg(clock.year, 4, 10, QLatin1Char('0'))
                            .arg(clock.month, 2, 10, QLatin1Char('0'))
                            .arg(clock.day, 2, 10, QLatin1Char('0'));
    if (allDay)
        return day;
    return QStringLiteral("%1T%2:%3:%4%5")
        .arg(day)
        .arg(clock.hour, 2, 10, QLatin1Char('0'))
        .arg(clock.minute, 2, 10, QLatin1Char('0'))
        .arg(clock.second, 2, 10, QLatin1Char('0'))
        .arg(floating ? QString() : QStringLiteral("Z"));
}

QJsonObject describe(const Occurrence &occurrence) {
    const CommonDataMO *item = occurrence.item;
    const qint64 type = item->integerValueForKey(QStringLiteral("eventType"));
    QJsonObject object{
        {QStringLiteral("uid"), item->uid()},
        {QStringLiteral("calendar"), item->parentContainer()->effectiveTitle().value_or(QString())},
        {QStringLiteral("title"), item->effectiveTitle().value_or(QString())},
        {QStringLiteral("type"),
         type >= 0 && type < 5 ? QString::fromLatin1(kTypeNames[type]) : QStringLiteral("event")},
        {QStringLiteral("allDay"), occurrence.allDay},
        {QStringLiteral("start"),
         timeText(occurrence.start, occurrence.allDay, occurrence.floating)},
    };
    if (occurrence.end)
        object.insert(QStringLiteral("end"),
                      timeText(*occurrence.end, occurrence.allDay, occurrence.floating));
    if (occurrence.recurrenceId)
        object.insert(QStringLiteral("recurrenceId"),
                      timeText(*occurrence.recurrenceId, occurrence.allDay, occurrence.floating));
    if (occurrence.detached)
        object.insert(QStringLiteral("detached"), true);
    return object;
}

// "2026-11-23 09:00-10:00  Title  (Calendar)", times on the local clock.
QString readableLine(const Occurrence &occurrence, const QTimeZone &zone) {
    const QDateTime start = occurrence.viewStart.toDateTime().toTimeZone(zone);
    const QDateTime end = occurrence.viewEnd.toDateTime().toTimeZone(zone);
    QString when = start.toString(QStringLiteral("yyyy-MM-dd"));
    if (occurrence.allDay) {
        when += QStringLiteral(" all day");
    } else {
        when += start.toString(QStringLiteral(" HH:mm"));
        if (end > start)
            when += end.date() == start.date()
                        ? end.toString(QStringLiteral("-HH:mm"))
                        : end.toString(QStringLiteral(" - yyyy-MM-dd HH:mm"));
    }
    const CommonDataMO *item = occurrence.item;
    QString line = QStringLiteral("%1  %2  (%3)")
                       .arg(when, item->effectiveTitle().value_or(QString()),
                            item->parentContainer()->effectiveTitle().value_or(QString()));
    if (occurrence.detached)
        line += QStringLiteral(" [moved]");
    return line;
}

int runAgenda(CommandContext &context) {
    const CommandArguments &arguments = context.arguments;
    const QTimeZone zone = TimeZones::systemZone();
    const QDate today = Clock::shared().now().toDateTime().toTimeZone(zone).date();
    const QDate fromDay = readDay(arguments, QStringLiteral("--from"), today);
    const QDate toDay = readDay(arguments, QStringLiteral("--to"), fromDay.addDays(7));
    if (toDay <= fromDay)
        throw CommandError(QStringLiteral("--to %1 is not after --from %2")
                               .arg(toDay.toString(Qt::ISODate), fromDay.toString(Qt::ISODate)),
                           2);
    StoreSession session;
    session.open();
    OccurrenceExpansion expansion(Queries::context(), zone);
    if (arguments.has(QStringLiteral("--calendar")))
        expansion.setCalendar(
            ItemLookup::calendarWithUID(arguments.value(QStringLiteral("--calendar"))));
    const QList<Occurrence> occurrences = expansion.occurrences(midnightOf(fromDay).instantIn(zone),
                                                                midnightOf(toDay).instantIn(zone));
    if (context.json) {
        QJsonArray array;
        for (const Occurrence &occurrence : occurrences)
            array.append(describe(occurrence));
        CommandOutput::printJson(array);
    } else {
        for (const Occurrence &occurrence : occurrences)
            CommandOutput::printLine(readableLine(occurrence, zone));
    }
    session.close();
    return 0;
}

}  // namespace

void registerAgendaCommand(CommandRegistry &registry) {
    registry.add({QStringLiteral("agenda"),
                  QStringLiteral("[--from YYYY-MM-DD] [--to YYYY-MM-DD] [--calendar UID]"),
                  QStringLiteral("list the occurrences of events and to-dos in a range of days"),
                  {},
                  {QStringLiteral("--from"), QStringLiteral("--to"), QStringLiteral("--calendar")},
                  true,
                  runAgenda});
}
