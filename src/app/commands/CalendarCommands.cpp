#include "app/commands/CalendarCommands.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include "app/CommandRegistry.h"
#include "app/StoreSession.h"
#include "app/commands/ItemLookup.h"
#include "app/commands/StoreEdit.h"
#include "model/CalendarAccess.h"
#include "model/CommonDataMO.h"
#include "model/Queries.h"
#include "model/SyncableObjectMO.h"
#include "model/util/Colors.h"

namespace {

// A calendar with its group (the owner of a calendar reached as a proxy or
// shared with the account) and whether its items may be changed here.
QJsonObject describeCalendar(const CommonDataMO &calendar) {
    const ModelObject *owner = calendar.owningService();
    const std::optional<RGBColor> color = calendar.colorValueForKey(QStringLiteral("localColor"));
    const auto *group =
        ModelObject::as<CommonDataMO>(calendar.objectForKey(QStringLiteral("parentGroup")));
    return QJsonObject{
        {QStringLiteral("group"),
         group ? QJsonValue(group->effectiveTitle().value_or(QString())) : QJsonValue()},
        {QStringLiteral("readOnly"),
         CalendarAccess::effectiveAccessForChildren(calendar) <= CalendarAccess::kReadOnly},
        {QStringLiteral("uid"), calendar.uid()},
        {QStringLiteral("title"), calendar.effectiveTitle().value_or(QString())},
        {QStringLiteral("color"),
         color ? QJsonValue(hexStringFromColor(*color, false)) : QJsonValue()},
        {QStringLiteral("owner"), owner ? QJsonValue(owner->uid()) : QJsonValue()},
        {QStringLiteral("count"),
         qint64(calendar.objectsForKey(QStringLiteral("childrenDirect")).size())},
    };
}

int runCalendars(CommandContext &context) {
    StoreSession session;
    session.open();
    QJsonArray calendars;
    for (ManagedObject *object : Queries::allContainers())
        calendars.append(describeCalendar(*ModelObject::as<CommonDataMO>(object)));
    if (context.json) {
        CommandOutput::printJson(calendars);
    } else {
        for (const QJsonValue &value : calendars) {
            const QJsonObject calendar = value.toObject();
            QString line = QStringLiteral("%1  %2  %3 items  %4")
                               .arg(calendar.value(QStringLiteral("uid")).toString(),
                                    calendar.value(QStringLiteral("color")).toString())
                               .arg(calendar.value(QStringLiteral("count")).toInteger())
                               .arg(calendar.value(QStringLiteral("title")).toString());
            if (calendar.value(QStringLiteral("group")).isString())
                line += QStringLiteral("  [%1]").arg(
                    calendar.value(QStringLiteral("group")).toString());
            if (calendar.value(QStringLiteral("readOnly")).toBool())
                line += QStringLiteral("  (read-only)");
            CommandOutput::printLine(line);
        }
    }
    session.close();
    return 0;
}

int runCalendarAdd(CommandContext &context) {
    const QString title = context.arguments.required(0, "TITLE");
    const QString color = context.arguments.value(QStringLiteral("--color"));
    static const QRegularExpression hexColor(QStringLiteral("^#[0-9A-Fa-f]{6}$"));
    if (context.arguments.has(QStringLiteral("--color")) && !hexColor.match(color).hasMatch())
        throw CommandError(QStringLiteral("--color wants #RRGGBB, not \"%1\"").arg(color), 2);
    return runStoreEdit([&] {
        CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
        calendar->setStringValue(title, QStringLiteral("title"));
        if (!color.isEmpty())
            calendar->setColorValue(colorFromHexString(color), QStringLiteral("localColor"));
        return calendar->uid();
    });
}

int runCalendarRemove(CommandContext &context) {
    return runStoreDeletion(context, ItemLookup::calendarWithUID);
}

}  // namespace

void registerCalendarCommands(CommandRegistry &registry) {
    registry.add({QStringLiteral("calendars"),
                  QString(),
                  QStringLiteral("list the calendars with their colours, owners and item counts"),
                  {},
                  {},
                  true,
                  runCalendars});
    registry.add({QStringLiteral("calendar add"),
                  QStringLiteral("TITLE [--color #RRGGBB]"),
                  QStringLiteral("add a calendar on this machine and print its uid"),
                  {},
                  {QStringLiteral("--color")},
                  false,
                  runCalendarAdd});
    registry.add({QStringLiteral("calendar remove"),
                  QStringLiteral("UID"),
                  QStringLiteral("delete a calendar and its items"),
                  {},
                  {},
                  false,
                  runCalendarRemove});
}
