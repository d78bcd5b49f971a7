#include <gtest/gtest.h>

#include <QFile>

#include "support/TestSupport.h"

namespace {

QString succeed(const QStringList &arguments) {
    const ProcessResult result = runMerovan(arguments);
    EXPECT_EQ(result.exitCode, 0) << arguments.join(' ').toStdString() << ": "
                                  << result.err.toStdString();
    return result.out;
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

}  // namespace
