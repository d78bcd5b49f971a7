#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "support/TestSupport.h"

namespace {

QString icalDataFile(const char *name) {
    const QString path = sourcePath(QStringLiteral("tests/ical/data/") + QLatin1String(name));
    EXPECT_TRUE(QFile::exists(path))
        << "test file missing: " << path.toStdString() << " (is MEROVAN_SOURCE_DIR set?)";
    return path;
}

QJsonObject importAsJson(const QStringList &arguments) {
    const ProcessResult result = runMerovan(QStringList{QStringLiteral("import")} + arguments +
                                            QStringList{QStringLiteral("--json")});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    return QJsonDocument::fromJson(result.out.toUtf8()).object();
}

// uid → item count of every calendar.
QMap<QString, int> calendarCounts() {
    const ProcessResult result =
        runMerovan({QStringLiteral("calendars"), QStringLiteral("--json")});
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    QMap<QString, int> counts;
    for (const QJsonValue &calendar : QJsonDocument::fromJson(result.out.toUtf8()).array())
        counts.insert(calendar[QStringLiteral("uid")].toString(),
                      calendar[QStringLiteral("count")].toInt());
    return counts;
}

}  // namespace

TEST(ImportCommand, StoresUpdatesAndReportsWhatItSkipped) {
    TemporaryHome home;
    const ProcessResult broken =
        runMerovan({QStringLiteral("import"), icalDataFile("broken-component.ics")});
    EXPECT_EQ(broken.exitCode, 0) << broken.err.toStdString();
    EXPECT_TRUE(broken.out.startsWith(QLatin1String("2 stored, 0 updated, 2 skipped in ")))
        << broken.out.toStdString();
    const QStringList messages = broken.err.trimmed().split(u'\n');
    ASSERT_EQ(messages.size(), 2) << broken.err.toStdString();
    EXPECT_TRUE(messages[0].contains(QLatin1String("skipped broken@example.com: ")));
    EXPECT_TRUE(messages[1].contains(QLatin1String("skipped busy@example.com: ")));

    // A new calendar per file, named by the file when it names itself not.
    const QJsonObject office = importAsJson({icalDataFile("client-windows-zones.ics")});
    EXPECT_EQ(office[QStringLiteral("stored")].toInt(), 4);
    EXPECT_EQ(office[QStringLiteral("skipped")].toInt(), 0);
    const QString officeUID = office[QStringLiteral("calendars")][0].toString();
    const ProcessResult listed = runMerovan({QStringLiteral("calendars")});
    EXPECT_TRUE(listed.out.contains(QLatin1String("Office"))) << listed.out.toStdString();
    EXPECT_TRUE(listed.out.contains(QLatin1String("broken-component")));
    EXPECT_EQ(calendarCounts().value(officeUID), 4);

    // Into the same calendar again: updated in place, nothing doubled.
    const QJsonObject again = importAsJson(
        {icalDataFile("client-windows-zones.ics"), QStringLiteral("--calendar"), officeUID});
    EXPECT_EQ(again[QStringLiteral("stored")].toInt(), 0);
    EXPECT_EQ(again[QStringLiteral("updated")].toInt(), 4);
    EXPECT_EQ(calendarCounts().value(officeUID), 4);

    // What export writes, import reads back into a calendar of its own.
    const QString exported = home.filePath(QStringLiteral("office.ics"));
    ASSERT_EQ(runMerovan({QStringLiteral("export"), QStringLiteral("--calendar"), officeUID,
                          QStringLiteral("-o"), exported})
                  .exitCode,
              0);
    const QJsonObject copy =
        importAsJson({exported, QStringLiteral("--new-calendar"), QStringLiteral("Copy")});
    EXPECT_EQ(copy[QStringLiteral("stored")].toInt(), 4);
    EXPECT_EQ(calendarCounts().value(copy[QStringLiteral("calendars")][0].toString()), 4);
}

TEST(ImportCommand, AFileThatIsNotICalendarStoresNothing) {
    TemporaryHome home;
    const QString notes = home.filePath(QStringLiteral("notes.ics"));
    QFile file(notes);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("Shopping: milk, bread\n");
    file.close();

    const ProcessResult result =
        runMerovan({QStringLiteral("import"), icalDataFile("todos-journals.ics"), notes});
    EXPECT_NE(result.exitCode, 0);
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_TRUE(result.err.contains(notes)) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains(QLatin1String("not iCalendar"))) << result.err.toStdString();
    EXPECT_TRUE(calendarCounts().isEmpty());

    const ProcessResult both = runMerovan(
        {QStringLiteral("import"), icalDataFile("todos-journals.ics"), QStringLiteral("--calendar"),
         QStringLiteral("x"), QStringLiteral("--new-calendar"), QStringLiteral("y")});
    EXPECT_NE(both.exitCode, 0);
    EXPECT_NE(runMerovan({QStringLiteral("import")}).exitCode, 0);
}
