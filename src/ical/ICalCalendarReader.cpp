#include "ical/ICalCalendarReader.h"

#include <libical/ical.h>
#include <QRegularExpression>

#include "ical/ICalPropertyReader.h"
#include "model/CommonDataMO.h"
#include "model/util/Colors.h"

namespace {

const QString kDefaultZone = QStringLiteral("transDefaultTimeZone");

// The calendar's X- properties by upper-case name (the first of each).
QHash<QString, QString> xTexts(icalcomponent *vcalendar) {
    QHash<QString, QString> texts;
    for (icalproperty *property = icalcomponent_get_first_property(vcalendar, ICAL_X_PROPERTY);
         property; property = icalcomponent_get_next_property(vcalendar, ICAL_X_PROPERTY)) {
        const QString name = ICalPropertyReader::propertyName(property).toUpper();
        if (!texts.contains(name))
            texts.insert(name, ICalPropertyReader::textOfProperty(property).value_or(QString()));
    }
    return texts;
}

void setDefaultZone(CommonDataMO *calendar, const QHash<QString, QString> &texts) {
    const QString zone = texts.value(QStringLiteral("X-WR-TIMEZONE")).trimmed();
    calendar->setValue(kDefaultZone, zone.isEmpty() ? QVariant() : QVariant(zone));
}

void setIfDifferent(CommonDataMO *calendar, const QString &key, const QVariant &value) {
    if (calendar->valueForKey(key) != value)
        calendar->setValue(key, value);
}

}  // namespace

namespace ICalCalendarReader {

void defaultZoneFromVCalendar(CommonDataMO *calendar, icalcomponent *vcalendar) {
    setDefaultZone(calendar, xTexts(vcalendar));
}

void calendarFromVCalendar(CommonDataMO *calendar, icalcomponent *vcalendar) {
    const QHash<QString, QString> texts = xTexts(vcalendar);
    setDefaultZone(calendar, texts);

    static const QRegularExpression hexColor(
        QStringLiteral("^#([0-9A-Fa-f]{6})([0-9A-Fa-f]{2})?$"));
    const QRegularExpressionMatch color =
        hexColor.match(texts.value(QStringLiteral("X-APPLE-CALENDAR-COLOR")).trimmed());
    if (color.hasMatch()) {
        const RGBColor value = colorFromHexString(color.captured(1));
        if (calendar->colorValueForKey(QStringLiteral("localColor")) != value)
            calendar->setColorValue(value, QStringLiteral("localColor"));
    }
    const bool holiday = texts.value(QStringLiteral("X-TOLVERN-CALENDAR-TYPE")).trimmed() ==
                         QLatin1String("HOLIDAY");
    if (holiday)
        calendar->setBoolValue(true, QStringLiteral("holidayCalendar"));
    if (texts.contains(QStringLiteral("X-TOLVERN-DEFAULT-ICON")))
        setIfDifferent(calendar, QStringLiteral("defaultIconName"),
                       texts.value(QStringLiteral("X-TOLVERN-DEFAULT-ICON")));
    if (texts.contains(QStringLiteral("X-WR-CALDESC"))) {
        const QString notes = texts.value(QStringLiteral("X-WR-CALDESC"));
        if (calendar->stringValueForKey(QStringLiteral("content")).value_or(QString()) != notes)
            calendar->setStringValue(notes, QStringLiteral("content"));
    }
    const std::optional<QString> current = calendar->stringValueForKey(QStringLiteral("title"));
    const auto name = texts.constFind(QStringLiteral("X-WR-CALNAME"));
    if (name != texts.constEnd()) {
        if (current != *name)
            calendar->setStringValue(*name, QStringLiteral("title"));
    } else if (current) {
        calendar->setStringValue(QStringLiteral("(null)"), QStringLiteral("title"));
    }
}

}  // namespace ICalCalendarReader
