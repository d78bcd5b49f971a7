// The recurrence examples of RFC 5545 (tests/time/recurrence/data), each
// made as an event of its own calendar in a store, saved, read back from a
// new launch and expanded by the occurrence expansion.
//
// Two things differ from the RFC on purpose, and the cases say so:
// - sub-daily rules (HOURLY, MINUTELY, BYHOUR, BYMINUTE) are widened to
//   daily ones at the start's time of day, since items repeat at most once
//   a day;
// - the compiled days of an item hold at most 500 occurrences; a longer
//   series is open-ended as far as the item's last day goes.
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>

#include "model/Queries.h"
#include "model/SyncableObjectMO.h"
#include "time/recurrence/CompiledDays.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceStoreTest.h"

namespace {

struct Example {
    QString id;
    QString dtstart;
    QString rrule;
    QStringList exdates;
    QStringList expected;
    bool complete = false;
};

// What the widened sub-daily rules yield instead of the RFC's lists.
const QMap<QString, QStringList> kWidened{
    // FREQ=HOURLY;INTERVAL=3;UNTIL=13:00 EDT: every third day, until the
    // same day's 13:00.
    {QStringLiteral("rfc5545-3.8.5.3-33"), {QStringLiteral("1997-09-02T09:00:00-04:00")}},
    // FREQ=MINUTELY;INTERVAL=15;COUNT=6: every 15th day, six times.
    {QStringLiteral("rfc5545-3.8.5.3-34"),
     {QStringLiteral("1997-09-02T09:00:00-04:00"), QStringLiteral("1997-09-17T09:00:00-04:00"),
      QStringLiteral("1997-10-02T09:00:00-04:00"), QStringLiteral("1997-10-17T09:00:00-04:00"),
      QStringLiteral("1997-11-01T09:00:00-05:00"), QStringLiteral("1997-11-16T09:00:00-05:00")}},
    // FREQ=MINUTELY;INTERVAL=90;COUNT=4: every 90th day, four times.
    {QStringLiteral("rfc5545-3.8.5.3-35"),
     {QStringLiteral("1997-09-02T09:00:00-04:00"), QStringLiteral("1997-12-01T09:00:00-05:00"),
      QStringLiteral("1998-03-01T09:00:00-05:00"), QStringLiteral("1998-05-30T09:00:00-04:00")}},
    // FREQ=DAILY;BYHOUR=…;BYMINUTE=…: daily at 09:00 (the first three).
    {QStringLiteral("rfc5545-3.8.5.3-36a"),
     {QStringLiteral("1997-09-02T09:00:00-04:00"), QStringLiteral("1997-09-03T09:00:00-04:00"),
      QStringLiteral("1997-09-04T09:00:00-04:00")}},
    // FREQ=MINUTELY;INTERVAL=20;BYHOUR=…: every 20th day (the first three).
    {QStringLiteral("rfc5545-3.8.5.3-36b"),
     {QStringLiteral("1997-09-02T09:00:00-04:00"), QStringLiteral("1997-09-22T09:00:00-04:00"),
      QStringLiteral("1997-10-12T09:00:00-04:00")}},
};
// BYHOUR=8,9;BYMINUTE=30: only the start's 08:30 instances are left.
const QString kStartTimeOnly = QStringLiteral("rfc5545-3.3.10-01");

QStringList strings(const QJsonValue &value) {
    QStringList list;
    for (const QJsonValue &entry : value.toArray())
        list.append(entry.toString());
    return list;
}

QList<Example> loadExamples() {
    QFile file(
        sourcePath(QStringLiteral("tests/time/recurrence/data/rfc5545-rrule-examples.json")));
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "missing test data " << file.fileName().toStdString()
                      << " (is MEROVAN_SOURCE_DIR set?)";
        return {};
    }
    QList<Example> examples;
    const QJsonArray array = QJsonDocument::fromJson(file.readAll())
                                 .object()
                                 .value(QStringLiteral("examples"))
                                 .toArray();
    for (const QJsonValue &value : array) {
        const QJsonObject object = value.toObject();
        Example example;
        example.id = object.value(QStringLiteral("id")).toString();
        example.dtstart = object.value(QStringLiteral("dtstart")).toString();
        example.rrule = object.value(QStringLiteral("rrule")).toString();
        example.exdates = strings(object.value(QStringLiteral("exdate")));
        example.complete = object.value(QStringLiteral("complete")).toBool();
        example.expected = strings(object.contains(QStringLiteral("expected_conforming"))
                                       ? object.value(QStringLiteral("expected_conforming"))
                                       : object.value(QStringLiteral("expected")));
        if (kWidened.contains(example.id)) {
            example.expected = kWidened.value(example.id);
            example.complete = example.rrule.contains(QLatin1String("COUNT")) ||
                               example.rrule.contains(QLatin1String("UNTIL"));
        } else if (example.id == kStartTimeOnly) {
            example.expected = example.expected.filter(QStringLiteral("T08:30"));
        }
        examples.append(example);
    }
    return examples;
}

// "TZID=America/New_York:19970902T090000".
CalendarDate readDateTime(const QString &text) {
    const QStringList parts = text.split(QLatin1Char(':'));
    const QTimeZone zone(parts.first().mid(5).toLatin1());
    const QDateTime local =
        QDateTime::fromString(parts.last(), QStringLiteral("yyyyMMdd'T'HHmmss"));
    return CalendarDate(Date::fromDateTime(QDateTime(local.date(), local.time(), zone)), zone);
}

Date readExpected(const QString &text) {
    return Date::fromDateTime(QDateTime::fromString(text, Qt::ISODate));
}

class RfcExamplesTest : public RecurrenceStoreTest {};

TEST_F(RfcExamplesTest, ComeOutRightThroughTheStore) {
    const QList<Example> examples = loadExamples();
    ASSERT_EQ(examples.size(), 43);
    for (const Example &example : examples) {
        CommonDataMO *calendar = makeCalendar(example.id, example.id);
        const CalendarDate start = readDateTime(example.dtstart);
        CommonDataMO *event =
            makeEvent(example.id, start, start.addingTimeInterval(3600), calendar);
        addRule(event, example.rrule);
        QList<CalendarDate> exceptions;
        for (const QString &exdate : example.exdates)
            exceptions.append(readDateTime(exdate));
        ItemRecurrence(event).wasChangedBySettingAllExceptionDates(exceptions);
        ItemRecurrence(event).calcCompiledDays();
    }
    context().save();
    reopen();

    for (const Example &example : examples) {
        SCOPED_TRACE(example.id.toStdString() + " " + example.rrule.toStdString());
        const QList<ManagedObject *> found = Queries::syncableContainersForUID(example.id);
        ASSERT_EQ(found.size(), 1);
        auto *calendar = ModelObject::as<SyncableObjectMO>(found.first())->objectData();
        const CalendarDate start = readDateTime(example.dtstart);
        QList<Date> expected;
        for (const QString &text : example.expected)
            expected.append(readExpected(text));
        ASSERT_FALSE(expected.isEmpty());

        // A complete set is looked for over ten more years; an endless one
        // up to its last listed instance.
        const Date to = example.complete ? expected.last().addingSeconds(3650 * 86400.0)
                                         : expected.last().addingSeconds(1);
        QList<Date> starts;
        CommonDataMO *event = nullptr;
        for (const Occurrence &occurrence :
             expand(start.date().addingSeconds(-86400), to, calendar)) {
            starts.append(occurrence.start.date());
            event = occurrence.item;
            EXPECT_EQ(occurrence.recurrenceId, occurrence.start);
            EXPECT_FALSE(occurrence.detached);
        }
        EXPECT_EQ(starts, expected);
        ASSERT_NE(event, nullptr);

        // The compiled days, read back from the store, are the same
        // instances, up to the cap of 500.
        const std::optional<std::vector<std::uint32_t>> offsets =
            ItemRecurrence(event).compiledDays();
        ASSERT_TRUE(offsets);
        const std::size_t compared = std::min<std::size_t>(offsets->size(), expected.size());
        for (std::size_t i = 0; i < compared; ++i)
            EXPECT_EQ(start.date().addingSeconds((*offsets)[i]), expected[qsizetype(i)]) << i;
        if (example.complete) {
            EXPECT_EQ(offsets->size(), std::size_t(expected.size()));
            EXPECT_LT(event->integerValueForKey(QStringLiteral("localLastDay")),
                      ItemRecurrence::kLastDayUncompiled);
        } else if (offsets->size() == CompiledDays::kMaxOccurrences) {
            // Capped on purpose: the item counts as endless.
            EXPECT_EQ(event->integerValueForKey(QStringLiteral("localLastDay")),
                      ItemRecurrence::kLastDayOpen);
        }
    }
}

// Rules without COUNT start their walk near the range; that must give the
// same occurrences as walking from the start.
TEST_F(RfcExamplesTest, LateRangesMatchAWalkFromTheStart) {
    for (const Example &example : loadExamples()) {
        if (example.rrule.contains(QLatin1String("COUNT")))
            continue;
        SCOPED_TRACE(example.id.toStdString() + " " + example.rrule.toStdString());
        const CalendarDate start = readDateTime(example.dtstart);
        CommonDataMO *calendar = makeCalendar(example.id, example.id);
        CommonDataMO *event =
            makeEvent(example.id, start, start.addingTimeInterval(3600), calendar);
        addRule(event, example.rrule);
        for (const double yearsLater : {0.3, 1.7, 4.1}) {
            const Date from = start.date().addingSeconds(yearsLater * 365.25 * 86400);
            const Date to = from.addingSeconds(400 * 86400.0);
            QList<Date> late;
            for (const Occurrence &occurrence : expand(from, to, calendar))
                late.append(occurrence.start.date());
            QList<Date> fromStart;
            for (const Occurrence &occurrence : expand(start.date(), to, calendar)) {
                if (occurrence.viewEnd > from)
                    fromStart.append(occurrence.start.date());
            }
            EXPECT_EQ(late, fromStart) << yearsLater;
        }
    }
}

}  // namespace
