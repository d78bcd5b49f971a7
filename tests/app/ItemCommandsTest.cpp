#include <gtest/gtest.h>

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTimeZone>

#include "support/TestSupport.h"

namespace {

// Runs a command that must succeed and returns its standard output.
QString succeed(const QStringList &arguments) {
    const ProcessResult result = runMerovan(arguments);
    EXPECT_EQ(result.exitCode, 0) << arguments.join(' ').toStdString() << ": "
                                  << result.err.toStdString();
    return result.out;
}

QJsonValue json(const QStringList &arguments) {
    const QJsonDocument document = QJsonDocument::fromJson(
        succeed(arguments + QStringList{QStringLiteral("--json")}).toUtf8());
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}

QJsonObject calendarNamed(const QString &uid) {
    for (const QJsonValue &value : json({QStringLiteral("calendars")}).toArray()) {
        if (value[QStringLiteral("uid")].toString() == uid)
            return value.toObject();
    }
    return {};
}

void expectOneLineFailure(const QStringList &arguments, const QString &mention) {
    const ProcessResult result = runMerovan(arguments);
    EXPECT_NE(result.exitCode, 0) << arguments.join(' ').toStdString();
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_EQ(result.err.count(u'\n'), 1) << result.err.toStdString();
    EXPECT_TRUE(result.err.startsWith(QLatin1String("merovan: "))) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(mention)) << result.err.toStdString();
}

}  // namespace

TEST(ItemCommands, CalendarsAreAddedListedAndRemoved) {
    TemporaryHome home;
    EXPECT_EQ(json({QStringLiteral("calendars")}).toArray().size(), 0);

    const QString work = succeed({"calendar", "add", "Work", "--color", "#1a2B3c"}).trimmed();
    EXPECT_EQ(work.size(), 36);
    const QString home2 = succeed({"calendar", "add", "Home"}).trimmed();
    const QJsonObject listed = calendarNamed(work);
    EXPECT_EQ(listed[QStringLiteral("title")].toString(), QStringLiteral("Work"));
    EXPECT_EQ(listed[QStringLiteral("color")].toString(), QStringLiteral("#1A2B3C"));
    EXPECT_TRUE(listed[QStringLiteral("owner")].isNull());
    EXPECT_EQ(listed[QStringLiteral("count")].toInt(), 0);
    EXPECT_TRUE(calendarNamed(home2)[QStringLiteral("color")].toString().startsWith(u'#'));
    EXPECT_TRUE(succeed({"calendars"}).contains(QStringLiteral("Work")));

    succeed({"calendar", "remove", work});
    EXPECT_TRUE(calendarNamed(work).isEmpty());
    EXPECT_FALSE(calendarNamed(home2).isEmpty());

    expectOneLineFailure({"calendar", "remove", work}, work);
    expectOneLineFailure({"calendar", "add", "Bad", "--color", "red"}, QStringLiteral("--color"));
    expectOneLineFailure({"calendar", "add"}, QStringLiteral("TITLE"));
}

TEST(ItemCommands, EventsAreAddedShownAndDeleted) {
    TemporaryHome home;
    const QString calendar = succeed({"calendar", "add", "Work"}).trimmed();
    const QString meeting =
        succeed({"event", "add", "--calendar", calendar, "--title", "Planning", "--start",
                 "2026-03-10T09:00:00", "--end", "2026-03-10T10:30:00", "--zone", "Europe/Berlin"})
            .trimmed();
    const QString holiday = succeed({"event", "add", "--calendar", calendar, "--title", "Trip",
                                     "--start", "2026-03-12", "--end", "2026-03-14", "--all-day"})
                                .trimmed();
    const QString task = succeed({"event", "add", "--calendar", calendar, "--title", "Report",
                                  "--start", "2026-03-10T08:00:00Z", "--end",
                                  "2026-03-11T00:00:00Z", "--todo", "--zone", "UTC"})
                             .trimmed();
    EXPECT_EQ(calendarNamed(calendar)[QStringLiteral("count")].toInt(), 3);

    // 2026-03-10 09:00 in Berlin is 08:00 UTC; day 9199 since 2001-01-01.
    const QJsonObject shown = json({QStringLiteral("show"), meeting}).toObject();
    EXPECT_EQ(shown[QStringLiteral("entity")].toString(), QStringLiteral("Event"));
    EXPECT_EQ(shown[QStringLiteral("calendar")].toString(), calendar);
    const QJsonObject attributes = shown[QStringLiteral("attributes")].toObject();
    EXPECT_EQ(attributes[QStringLiteral("title")].toString(), QStringLiteral("Planning"));
    const double start =
        QDateTime(QDate(2026, 3, 10), QTime(8, 0), QTimeZone::utc()).toSecsSinceEpoch() -
        978307200.0;
    EXPECT_EQ(attributes[QStringLiteral("startTimeAndZone")].toString(),
              QStringLiteral("%1:Europe/Berlin").arg(start, 0, 'f', 0));
    EXPECT_EQ(attributes[QStringLiteral("localFirstDay")].toInt(), 9199);
    EXPECT_EQ(attributes[QStringLiteral("localLastDay")].toInt(), 9199);
    EXPECT_EQ(attributes[QStringLiteral("eventType")].toInt(), 0);
    EXPECT_FALSE(attributes[QStringLiteral("allDay")].toBool());
    EXPECT_EQ(attributes[QStringLiteral("localSearchText")].toString(),
              QStringLiteral(" Planning "));
    const QJsonObject syncable = shown[QStringLiteral("syncable")].toObject();
    EXPECT_EQ(syncable[QStringLiteral("attributes")][QStringLiteral("uid")].toString(), meeting);
    EXPECT_TRUE(syncable[QStringLiteral("attributes")][QStringLiteral("lastModTime")].isString());
    EXPECT_TRUE(shown[QStringLiteral("extras")].toArray().isEmpty());

    // All-day: the end is the day after the last one.
    const QJsonObject trip =
        json({QStringLiteral("show"), holiday})[QStringLiteral("attributes")].toObject();
    EXPECT_TRUE(trip[QStringLiteral("allDay")].toBool());
    EXPECT_TRUE(
        trip[QStringLiteral("startTimeAndZone")].toString().endsWith(QLatin1String(":Universal")));
    EXPECT_EQ(trip[QStringLiteral("localFirstDay")].toInt(), 9201);
    EXPECT_EQ(trip[QStringLiteral("localLastDay")].toInt(), 9202);

    // A to-do keeps its end as its due time; ending at midnight ends the day before.
    const QJsonObject report =
        json({QStringLiteral("show"), task})[QStringLiteral("attributes")].toObject();
    EXPECT_EQ(report[QStringLiteral("eventType")].toInt(), 1);
    EXPECT_TRUE(report.contains(QStringLiteral("dueTimeAndZone")));
    EXPECT_FALSE(report.contains(QStringLiteral("endTimeAndZone")));
    EXPECT_EQ(report[QStringLiteral("localLastDay")].toInt(), 9199);
    EXPECT_TRUE(succeed({"show", task}).contains(QStringLiteral("title: Report")));

    succeed({"event", "delete", meeting});
    EXPECT_EQ(calendarNamed(calendar)[QStringLiteral("count")].toInt(), 2);
    expectOneLineFailure({"show", meeting}, meeting);
    expectOneLineFailure({"event", "delete", meeting}, meeting);
}

TEST(ItemCommands, BadEventInputFailsWithOneLine) {
    TemporaryHome home;
    const QString calendar = succeed({"calendar", "add", "Work"}).trimmed();
    const QStringList base{"event", "add", "--calendar", calendar, "--title", "X"};
    expectOneLineFailure(base + QStringList{"--start", "tomorrow", "--end", "2026-01-01"},
                         QStringLiteral("--start"));
    expectOneLineFailure(base + QStringList{"--start", "2026-01-02", "--end", "2026-01-01"},
                         QStringLiteral("before"));
    expectOneLineFailure(base + QStringList{"--start", "2026-01-01T10:00", "--end",
                                            "2026-01-01T11:00", "--zone", "Mars/Olympus"},
                         QStringLiteral("Mars/Olympus"));
    expectOneLineFailure({"event", "add", "--calendar", "NOPE", "--title", "X", "--start",
                          "2026-01-01", "--end", "2026-01-01"},
                         QStringLiteral("NOPE"));
    expectOneLineFailure({"event", "add", "--title", "X"}, QStringLiteral("--calendar"));
    EXPECT_EQ(calendarNamed(calendar)[QStringLiteral("count")].toInt(), 0);
}

TEST(ExportCommand, WritesEachCalendarAsICalendarToAFileOrStandardOutput) {
    TemporaryHome home;
    const QString work = succeed({"calendar", "add", "Work"}).trimmed();
    succeed({"calendar", "add", "Home"});
    const QString uid =
        succeed({"event", "add", "--calendar", work, "--title", "Review", "--start",
                 "2024-03-05T10:00:00", "--end", "2024-03-05T11:00:00", "--zone", "Europe/Paris"})
            .trimmed();

    const QString all = succeed({"export"});
    EXPECT_EQ(all.count(QLatin1String("BEGIN:VCALENDAR")), 2);
    EXPECT_TRUE(all.contains(QStringLiteral("UID:") + uid));
    EXPECT_TRUE(all.contains(QLatin1String("DTSTART;TZID=Europe/Paris:20240305T100000")));
    EXPECT_TRUE(all.contains(QLatin1String("BEGIN:VTIMEZONE")));

    const QString path = home.filePath(QStringLiteral("work.ics"));
    EXPECT_TRUE(succeed({"export", "--calendar", work, "-o", path}).isEmpty());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray written = file.readAll();
    EXPECT_EQ(written.count("BEGIN:VCALENDAR"), 1);
    EXPECT_TRUE(written.contains("X-WR-CALNAME:Work"));
    EXPECT_TRUE(written.contains("SUMMARY:Review"));

    const ProcessResult unknown = runMerovan({"export", "--calendar", "no-such-calendar"});
    EXPECT_NE(unknown.exitCode, 0);
    EXPECT_TRUE(unknown.out.isEmpty());
}
