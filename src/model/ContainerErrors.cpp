#include "model/ContainerErrors.h"

#include <QSet>
#include <QTimer>

#include "model/CalendarAccess.h"
#include "model/CalendarCapabilities.h"
#include "model/CommonDataMO.h"
#include "model/ErrorPresenter.h"
#include "model/EventTypeName.h"
#include "model/ItemCodes.h"
#include "model/UserError.h"
#include "model/foundation/Format.h"
#include "model/foundation/Log.h"

namespace {
constexpr qint64 kItemWriteAccess = 3;

// The calendars reported in this turn of the event loop.
QSet<QString> &reportedUIDs() {
    static QSet<QString> uids;
    return uids;
}

QString titleOf(const CommonDataMO *object) {
    return object->effectiveTitle().value_or(QString());
}
}  // namespace

void ContainerErrors::reportContainerError(const QString &uid, const QString &message) {
    QSet<QString> &reported = reportedUIDs();
    if (reported.contains(uid))
        return;
    if (reported.isEmpty())
        QTimer::singleShot(0, [] { reportedUIDs().clear(); });
    reported.insert(uid);
    logInfo("reportContainerError: (%@) %@", uid, message);
    ErrorPresenter::shared().presentError(
        UserError::withDescription(QString::fromLatin1(UserError::kDomain), kCode, message));
}

bool ContainerErrors::readOnlyErrorReported() {
    return !reportedUIDs().isEmpty();
}

void ContainerErrors::reportForCalendar(const CommonDataMO *calendar, const QString &message) {
    reportContainerError(calendar ? calendar->uid() : QStringLiteral("nil"), message);
}

void ContainerErrors::reportNilCalendarError() {
    reportContainerError(QStringLiteral("nil"),
                         QStringLiteral("You need to select a calendar in the Calendars list."));
}

void ContainerErrors::reportReadOnlyError(const CommonDataMO *object) {
    const CommonDataMO *calendar = object->parentContainer();
    QString message;
    if (object->isContainer())
        message = format("You don't have permission to add events to the calendar \"%@\".",
                         titleOf(object));
    else if (calendar && CalendarAccess::effectiveAccessForChildren(*calendar) >= kItemWriteAccess)
        message = format("You don't have permission to modify the event \"%@\".", titleOf(object));
    else
        message = format("You don't have permission to modify events on the calendar \"%@\".",
                         calendar ? titleOf(calendar) : QString());
    reportForCalendar(calendar, message);
}

void ContainerErrors::reportAutoMeetingError(const CommonDataMO *item,
                                             const CommonDataMO *destination) {
    reportForCalendar(
        destination,
        format("The meeting \"%@\" cannot be moved to a different server.", titleOf(item)));
}

void ContainerErrors::reportOldMeetingError(const CommonDataMO *item,
                                            const CommonDataMO *destination) {
    reportForCalendar(
        destination,
        format("The meeting \"%@\" cannot be moved to a different calendar.", titleOf(item)));
}

void ContainerErrors::reportEventTypeError(const CommonDataMO *calendar, qint64 eventType) {
    const QString title = titleOf(calendar);
    const QString types = eventTypeToString(eventType, false, true);
    if (eventType == ItemType::ToDo && CalendarCapabilities(calendar).effectiveFilterToDos())
        reportForCalendar(calendar, QStringLiteral("You cannot create %2$@ on the calendar "
                                                   "\"%1$@\" because you are filtering them out.")
                                        .replace(QLatin1String("%1$@"), title)
                                        .replace(QLatin1String("%2$@"), types));
    else
        reportForCalendar(calendar, format("The calendar \"%@\" cannot contain %@.", title, types));
}

void ContainerErrors::reportAttachmentError(const CommonDataMO *calendar) {
    reportForCalendar(
        calendar, format("The calendar \"%@\" does not support attachments.", titleOf(calendar)));
}

void ContainerErrors::reportMeetingError(const CommonDataMO *calendar) {
    reportForCalendar(calendar,
                      format("The calendar \"%@\" does not support meetings.", titleOf(calendar)));
}
