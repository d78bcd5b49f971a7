#include "app/commands/EventCommands.h"

#include "app/CommandRegistry.h"
#include "app/commands/EventTimes.h"
#include "app/commands/ItemLookup.h"
#include "app/commands/StoreEdit.h"
#include "model/CommonDataMO.h"
#include "model/ItemCodes.h"
#include "model/foundation/TimeZones.h"

namespace {

QTimeZone zoneFromArguments(const CommandArguments &arguments) {
    if (!arguments.has(QStringLiteral("--zone")))
        return TimeZones::systemZone();
    const QString name = arguments.value(QStringLiteral("--zone"));
    if (const std::optional<QTimeZone> zone = TimeZones::knownZoneNamed(name))
        return *zone;
    throw CommandError(QStringLiteral("unknown time zone \"%1\"").arg(name), 2);
}

QString requiredOption(const CommandArguments &arguments, const QString &option) {
    if (!arguments.has(option))
        throw CommandError(QStringLiteral("missing %1").arg(option), 2);
    return arguments.value(option);
}

int runEventAdd(CommandContext &context) {
    const CommandArguments &arguments = context.arguments;
    const QString calendarUID = requiredOption(arguments, QStringLiteral("--calendar"));
    const QString title = requiredOption(arguments, QStringLiteral("--title"));
    const bool allDay = arguments.has(QStringLiteral("--all-day"));
    const bool toDo = arguments.has(QStringLiteral("--todo"));
    const EventTimes times = EventTimes::parse(requiredOption(arguments, QStringLiteral("--start")),
                                               requiredOption(arguments, QStringLiteral("--end")),
                                               allDay, zoneFromArguments(arguments));
    return runStoreEdit([&] {
        CommonDataMO *calendar = ItemLookup::calendarWithUID(calendarUID);
        CommonDataMO *item = CommonDataMO::makeObject(QStringLiteral("Event"), calendar, nullptr);
        item->setStringValue(title, QStringLiteral("title"));
        item->setIntegerValue(toDo ? ItemType::ToDo : ItemType::Event, QStringLiteral("eventType"));
        item->setBoolValue(allDay, QStringLiteral("allDay"));
        item->setCalendarDateValue(times.start, QStringLiteral("startTimeAndZone"));
        item->setCalendarDateValue(
            times.end, toDo ? QStringLiteral("dueTimeAndZone") : QStringLiteral("endTimeAndZone"));
        item->setIntegerValue(times.firstDay, QStringLiteral("localFirstDay"));
        item->setIntegerValue(times.lastDay, QStringLiteral("localLastDay"));
        item->calcSearchText();
        return item->uid();
    });
}

int runEventDelete(CommandContext &context) {
    return runStoreDeletion(context, ItemLookup::itemWithUID);
}

}  // namespace

void registerEventCommands(CommandRegistry &registry) {
    registry.add({QStringLiteral("event add"),
                  QStringLiteral("--calendar UID --title T --start ISO --end ISO [--all-day] "
                                 "[--zone ZONE] [--todo]"),
                  QStringLiteral("add an event (or with --todo a to-do) and print its uid"),
                  {QStringLiteral("--all-day"), QStringLiteral("--todo")},
                  {QStringLiteral("--calendar"), QStringLiteral("--title"),
                   QStringLiteral("--start"), QStringLiteral("--end"), QStringLiteral("--zone")},
                  false,
                  runEventAdd});
    registry.add({QStringLiteral("event delete"),
                  QStringLiteral("UID"),
                  QStringLiteral("delete an item, leaving a tombstone for the services"),
                  {},
                  {},
                  false,
                  runEventDelete});
}
