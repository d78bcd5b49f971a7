#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <algorithm>

#include "ical/ICalFixture.h"
#include "ical/ICalWriter.h"
#include "model/AttachmentFiles.h"
#include "model/foundation/Paths.h"
#include "time/CalendarDates.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceRule.h"

namespace {

// Debian's python3-icalendar reads what we write: every property of every
// component as {component, name, value, params}.
constexpr char kReader[] = R"(
import json, sys, icalendar
calendar = icalendar.Calendar.from_ical(sys.stdin.buffer.read())
out = []
for component in calendar.walk():
    for name, value in component.property_items(recursive=False):
        if name in ('BEGIN', 'END'):
            continue
        params = getattr(value, 'params', {}) or {}
        text = value.to_ical() if hasattr(value, 'to_ical') else str(value)
        if isinstance(text, bytes):
            text = text.decode('utf-8')
        out.append({'component': component.name, 'name': name, 'value': text,
                    'params': {k: str(v) for k, v in params.items()}})
print(json.dumps(out))
)";

struct Property {
    QString component, name, value;
    QVariantMap params;
};

QList<Property> readBack(const QByteArray &text) {
    QProcess python;
    python.start(QStringLiteral("/usr/bin/python3"),
                 {QStringLiteral("-c"), QLatin1String(kReader)});
    if (!python.waitForStarted())
        throw std::runtime_error(
            "/usr/bin/python3 is needed (Debian packages python3, python3-icalendar)");
    python.write(text);
    python.closeWriteChannel();
    python.waitForFinished();
    if (python.exitCode() != 0)
        throw std::runtime_error("python3-icalendar could not read what we wrote: " +
                                 python.readAllStandardError().toStdString());
    QList<Property> properties;
    for (const QJsonValue &entry :
         QJsonDocument::fromJson(python.readAllStandardOutput()).array()) {
        const QJsonObject object = entry.toObject();
        properties.append({object.value(QLatin1String("component")).toString(),
                           object.value(QLatin1String("name")).toString(),
                           object.value(QLatin1String("value")).toString(),
                           object.value(QLatin1String("params")).toObject().toVariantMap()});
    }
    return properties;
}

QList<Property> named(const QList<Property> &all, const QString &component, const QString &name) {
    QList<Property> found;
    for (const Property &property : all) {
        if (property.component == component && property.name == name)
            found << property;
    }
    return found;
}

class ReadBackTest : public ICalTest {};

TEST_F(ReadBackTest, AnIndependentParserReadsWhatWeWrite) {
    QDir().mkpath(Paths::attachmentsFolder());
    const QTimeZone berlin("Europe/Berlin");
    const QString longTitle =
        QString(QStringLiteral("Planung für das Geschäftsjahr – Übersicht ")).repeated(3);

    CommonDataMO *weekly = makeItem(longTitle);
    weekly->setCalendarDateValue(CalendarDates::dateWithYear(2024, 3, 25, 10, 0, 0, false, berlin),
                                 QStringLiteral("startTimeAndZone"));
    weekly->setCalendarDateValue(CalendarDates::dateWithYear(2024, 3, 25, 11, 0, 0, false, berlin),
                                 QStringLiteral("endTimeAndZone"));
    ExtraDataMO *rule = ItemRecurrence::attachRecurrence(
        *RecurrenceRule::fromICalendarText(QStringLiteral("FREQ=WEEKLY;BYDAY=MO,WE;COUNT=10")),
        weekly, false, false);
    ASSERT_TRUE(rule);
    ExtraDataMO *attendee = makeExtra(QStringLiteral("Attendee"), weekly);
    attendee->setValue(QStringLiteral("email"), QStringLiteral("ann@example.org"));
    attendee->setValue(QStringLiteral("name"), QStringLiteral("Ann, Müller"));
    attendee->setIntegerValue(2, QStringLiteral("status"));
    weekly->setArchivedValue(
        QVariantMap{{QStringLiteral("X-OTHER-CLIENT-FLAG"),
                     QVariantMap{{QStringLiteral("prop-value"), QStringLiteral("on")},
                                 {QStringLiteral("X-REASON"), QStringLiteral("kept")}}}},
        QStringLiteral("xProps"));
    QFile source(m_home.filePath(QStringLiteral("agenda.txt")));
    ASSERT_TRUE(source.open(QIODevice::WriteOnly));
    source.write("Agenda: 1. Budget\n");
    source.close();
    ASSERT_TRUE(AttachmentFiles::attachLocalFile(source.fileName(), weekly));

    CommonDataMO *holiday = makeItem(QStringLiteral("Day off"));
    holiday->setBoolValue(true, QStringLiteral("allDay"));
    holiday->setCalendarDateValue(CalendarDate::dateOnly(2024, 5, 1),
                                  QStringLiteral("startTimeAndZone"));
    holiday->setCalendarDateValue(CalendarDate::dateOnly(2024, 5, 2),
                                  QStringLiteral("endTimeAndZone"));

    const QList<Property> all = readBack(ICalWriter::calendarExport(m_calendar));

    EXPECT_EQ(
        named(all, QStringLiteral("VCALENDAR"), QStringLiteral("X-WR-CALNAME")).value(0).value,
        QStringLiteral("Work"));
    EXPECT_EQ(named(all, QStringLiteral("VTIMEZONE"), QStringLiteral("TZID")).value(0).value,
              QStringLiteral("Europe/Berlin"));
    const QList<Property> starts = named(all, QStringLiteral("VEVENT"), QStringLiteral("DTSTART"));
    ASSERT_EQ(starts.size(), 2);
    EXPECT_EQ(starts[0].value, QStringLiteral("20240325T100000"));
    EXPECT_EQ(starts[0].params.value(QStringLiteral("TZID")).toString(),
              QStringLiteral("Europe/Berlin"));
    EXPECT_EQ(starts[1].value, QStringLiteral("20240501"));
    EXPECT_EQ(named(all, QStringLiteral("VEVENT"), QStringLiteral("SUMMARY")).value(0).value,
              longTitle);
    EXPECT_EQ(named(all, QStringLiteral("VEVENT"), QStringLiteral("RRULE")).value(0).value,
              QStringLiteral("FREQ=WEEKLY;COUNT=10;BYDAY=MO,WE"));
    const Property ann = named(all, QStringLiteral("VEVENT"), QStringLiteral("ATTENDEE")).value(0);
    EXPECT_EQ(ann.value, QStringLiteral("mailto:ann@example.org"));
    EXPECT_EQ(ann.params.value(QStringLiteral("CN")).toString(), QStringLiteral("Ann, Müller"));
    EXPECT_EQ(ann.params.value(QStringLiteral("PARTSTAT")).toString(), QStringLiteral("TENTATIVE"));
    const Property kept =
        named(all, QStringLiteral("VEVENT"), QStringLiteral("X-OTHER-CLIENT-FLAG")).value(0);
    EXPECT_EQ(kept.value, QStringLiteral("on"));
    EXPECT_EQ(kept.params.value(QStringLiteral("X-REASON")).toString(), QStringLiteral("kept"));
    const Property attach = named(all, QStringLiteral("VEVENT"), QStringLiteral("ATTACH")).value(0);
    EXPECT_EQ(QByteArray::fromBase64(attach.value.toLatin1()), QByteArray("Agenda: 1. Budget\n"));
    EXPECT_EQ(attach.params.value(QStringLiteral("X-APPLE-FILENAME")).toString(),
              QStringLiteral("agenda.txt"));
    EXPECT_EQ(attach.params.value(QStringLiteral("FMTTYPE")).toString(),
              QStringLiteral("text/plain"));
}

// The calendar's header and zones go in front of its items after the items
// are written: zones that take more text than is usually needed must still
// come whole, before every item, with nothing lost or left between.
TEST_F(ReadBackTest, ACalendarWhoseZonesTakeMuchTextIsReadBackWhole) {
    const char *const zones[] = {
        "Europe/Berlin",       "Europe/London",      "Europe/Moscow",    "Europe/Istanbul",
        "Europe/Lisbon",       "Europe/Kiev",        "America/New_York", "America/Chicago",
        "America/Denver",      "America/Sao_Paulo",  "America/Santiago", "America/Havana",
        "America/Mexico_City", "America/Halifax",    "Asia/Tehran",      "Asia/Jerusalem",
        "Asia/Damascus",       "Asia/Amman",         "Asia/Beirut",      "Asia/Gaza",
        "Australia/Sydney",    "Australia/Adelaide", "Australia/Hobart", "Pacific/Auckland",
        "Pacific/Chatham",     "Africa/Cairo",       "Atlantic/Azores",  "America/Asuncion"};
    int year = 1950;
    for (const char *zone : zones) {
        makeItem(QString::fromLatin1(zone))
            ->setCalendarDateValue(
                CalendarDates::dateWithYear(year++, 3, 4, 9, 0, 0, false, QTimeZone(zone)),
                QStringLiteral("startTimeAndZone"));
    }
    const QByteArray text = ICalWriter::calendarExport(m_calendar);
    // Enough zone text that it does not fit the room usually left for it.
    ASSERT_GT(text.indexOf("BEGIN:VEVENT"), 64 * 1024);
    EXPECT_TRUE(text.startsWith("BEGIN:VCALENDAR\r\nVERSION:2.0\r\n"));
    EXPECT_FALSE(text.contains('\0'));
    EXPECT_LT(text.lastIndexOf("END:VTIMEZONE"), text.indexOf("BEGIN:VEVENT"));

    const QList<Property> all = readBack(text);
    QStringList zoneIDs, titles;
    for (const Property &id : named(all, QStringLiteral("VTIMEZONE"), QStringLiteral("TZID")))
        zoneIDs << id.value;
    for (const Property &title : named(all, QStringLiteral("VEVENT"), QStringLiteral("SUMMARY")))
        titles << title.value;
    QStringList expected;
    for (const char *zone : zones)
        expected << QString::fromLatin1(zone);
    std::sort(zoneIDs.begin(), zoneIDs.end());
    std::sort(titles.begin(), titles.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(zoneIDs, expected);
    EXPECT_EQ(titles, expected);
}

}  // namespace
