#include "model/ItemAccess.h"

#include "model/CalendarAccess.h"
#include "model/CalendarCapabilities.h"
#include "model/CommonDataMO.h"
#include "model/ItemCodes.h"
#include "model/MeetingRoles.h"

namespace {
constexpr int kReadOnly = 2;
constexpr int kReadWrite = 3;
}  // namespace

ItemAccess::ItemAccess(CommonDataMO *item)
    : ItemAccess(item, CalendarAccess::effectiveAccess(*item),
                 CalendarAccess::effectiveAccessForDelete(*item, true)) {}

int ItemAccess::effectiveAccessForKey(const QString &key) const {
    if (key.startsWith(QLatin1String("local")))
        return kReadWrite;
    if (key == QLatin1String("attendeeStatus") || key == QLatin1String("blocksTime"))
        return m_item->integerValueForKey(QStringLiteral("status")) == StatusCode::Cancelled
                   ? kReadOnly
                   : m_accessForDelete;
    if (key == QLatin1String("container"))
        return effectiveAccessForContainerChange();
    if (key == QLatin1String("classification"))
        return CalendarCapabilities(m_item).canHoldPrivateEvents() ? m_effectiveAccess : kReadOnly;
    return m_effectiveAccess;
}

int ItemAccess::effectiveAccessForContainerChange() const {
    const MeetingRoles roles(m_item);
    if (roles.cameByMail() || (roles.controlledByCalDAVAnyScheduling() && roles.ourAttendeeExtra()))
        return kReadWrite;
    return m_effectiveAccess;
}

int ItemAccess::effectiveAccessForReminders() const {
    if (m_effectiveAccess != kReadOnly)
        return m_effectiveAccess;
    const MeetingRoles roles(m_item);
    if (roles.weAreTheOrganizer())
        return kReadOnly;
    return roles.ourAttendeeStatus() >= StatusCode::NeedsAction || roles.cameByMail() ? kReadWrite
                                                                                      : kReadOnly;
}
