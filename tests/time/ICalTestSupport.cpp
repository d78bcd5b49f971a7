#include "ICalTestSupport.h"

#include <gtest/gtest.h>

ICalZone zoneFromVTimezone(const QByteArray &text) {
    icalcomponent *component = icalparser_parse_string(text.constData());
    EXPECT_TRUE(component && icalcomponent_isa(component) == ICAL_VTIMEZONE_COMPONENT)
        << text.constData();
    ICalZone zone(icaltimezone_new());
    EXPECT_EQ(icaltimezone_set_component(zone.get(), component), 1);
    return zone;
}

QByteArray textOf(icalcomponent *component) {
    char *text = icalcomponent_as_ical_string_r(component);
    QByteArray result(text);
    icalmemory_free_buffer(text);
    return result.replace("\r\n", "\n");
}
