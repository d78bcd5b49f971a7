#include "ical/ICalWriter.h"

#include <libical/ical.h>

#include "ical/ICalCalendarWriter.h"
#include "ical/ICalDates.h"
#include "ical/ICalProperties.h"
#include "model/ModelObject.h"
#include "model/foundation/Clock.h"
#include "time/VTimezoneGenerator.h"

QByteArray ICalWriter::wholeObject(CommonDataMO *event, const Request &request) {
    ICalEventRequest eventRequest;
    eventRequest.event = event;
    eventRequest.method = request.method;
    eventRequest.options = request.options;
    eventRequest.callerAddress = request.callerAddress;
    eventRequest.occurrence = request.occurrence;
    eventRequest.comment = request.comment;
    return ICalCalendarWriter::wholeObject(eventRequest, request.sequences);
}

QByteArray ICalWriter::calendarExport(CommonDataMO *calendar) {
    return ICalCalendarWriter::calendarExport(calendar);
}

QByteArray ICalWriter::zoneExport(const QTimeZone &zone) {
    icalcomponent *calendar = ICalCalendarWriter::calendarHeader(nullptr, ICalMethod::None);
    const int year = Clock::shared().now().toDateTime().date().year();
    icalcomponent_add_component(
        calendar, VTimezoneGenerator::newVTimezoneForRangeOfYears(zone, year, year, false));
    return ICalCalendarWriter::takeText(calendar);
}

QByteArray ICalWriter::freeBusyRequest(const QStringList &attendees, Date start, Date end,
                                       const std::optional<QString> &maskUID,
                                       const QString &organizer) {
    icalcomponent *calendar = ICalCalendarWriter::calendarHeader(nullptr, ICalMethod::Request);
    icalcomponent *request = icalcomponent_new_vfreebusy();
    icalcomponent_add_property(request,
                               icalproperty_new_uid(ModelObject::newUID().toUtf8().constData()));
    icalcomponent_add_property(
        request, icalproperty_new_dtstamp(ICalDates::utcIcaltime(Clock::shared().now())));
    icalcomponent_add_property(request, icalproperty_new_dtstart(ICalDates::utcIcaltime(start)));
    icalcomponent_add_property(request, icalproperty_new_dtend(ICalDates::utcIcaltime(end)));
    ICalProperties::addXProperty(request, "X-CALENDARSERVER-EXTENDED-FREEBUSY",
                                 QStringLiteral("T"));
    if (maskUID)
        ICalProperties::addXProperty(request, "X-CALENDARSERVER-MASK-UID", *maskUID);
    icalcomponent_add_property(
        request, icalproperty_new_organizer(
                     ICalProperties::calendarAddress(organizer).toUtf8().constData()));
    for (const QString &attendee : attendees)
        icalcomponent_add_property(
            request, icalproperty_new_attendee(
                         ICalProperties::calendarAddress(attendee).toUtf8().constData()));
    icalcomponent_add_component(calendar, request);
    return ICalCalendarWriter::takeText(calendar);
}
