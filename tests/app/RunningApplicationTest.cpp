#include <gtest/gtest.h>

#include <signal.h>
#include <QDeadlineTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include "KeyringChild.h"
#include "app/RunningInstance.h"
#include "caldav/support/DAVServers.h"
#include "support/TestSupport.h"

// The application running in the foreground with a CalDAV account on a real
// Radicale: an item added by a command meanwhile reaches the server, a sync
// command run meanwhile pulls what changed there without spoiling the
// store, and after the application has stopped nothing is left to send,
// fetch or repair.
namespace {

constexpr int kBoundMilliseconds = 60000;

QString runningCalendarURL() {
    return QStringLiteral("http://%1/test/calendar/").arg(childCalDAVServer());
}

QJsonObject onlyCycle(const ProcessResult &synced) {
    const QJsonArray cycles = QJsonDocument::fromJson(synced.out.toUtf8()).array();
    return cycles.size() == 1 ? cycles[0].toObject() : QJsonObject();
}

// The local items of the store, over every calendar.
int localItemCount() {
    const ProcessResult calendars = runMerovan({"calendars", "--json"});
    int items = 0;
    for (const QJsonValue &calendar : QJsonDocument::fromJson(calendars.out.toUtf8()).array())
        items += int(calendar.toObject().value("count").toInteger());
    return items;
}

// Runs on the private session bus of the keyring; each failure is a line on
// standard error and makes the exit code 1.
MEROVAN_CHILD_ROUTINE(syncWhileRunning) {
    QTemporaryDir home;
    qputenv("MEROVAN_HOME", home.path().toUtf8());
    ChildChecks checks;

    addChildAccount(checks);
    QString calendar;
    const ProcessResult calendars = runMerovan({"calendars", "--json"});
    for (const QJsonValue &listed : QJsonDocument::fromJson(calendars.out.toUtf8()).array())
        if (listed.toObject().value("count").toInteger() == 1)
            calendar = listed.toObject().value("uid").toString();
    checks.check(!calendar.isEmpty(), "the server's calendar is pulled", calendars);

    QProcess application;
    application.start(merovanExecutable(), QStringList());
    // Bounded: the application answers, or has ended.
    const QDeadlineTimer started(kBoundMilliseconds);
    while (!RunningInstance::isRunning() && !started.hasExpired())
        if (application.waitForFinished(50))
            break;
    checks.check(RunningInstance::isRunning(), "the application runs", {});
    const ProcessResult second = runMerovan({});
    checks.check(second.exitCode == 1 && second.err.contains("already running"),
                 "a second application does not start", second);

    // Added by a command: the running application sends it soon.
    const ProcessResult made =
        runMerovan({"event", "add", "--calendar", calendar, "--title", "Made while running",
                    "--start", "2026-12-09T10:00:00Z", "--end", "2026-12-09T11:00:00Z"});
    const QString madeUID = made.out.trimmed();
    checks.check(made.exitCode == 0 && !madeUID.isEmpty(), "an event is added", made);
    const QDeadlineTimer sent(kBoundMilliseconds);
    BlockingAnswer onServer;
    while (!sent.hasExpired() && application.state() == QProcess::Running) {
        onServer =
            fetchBlocking("GET", runningCalendarURL() + madeUID + ".ics", "test", "test", {});
        if (onServer.status == 200 || application.waitForFinished(100))
            break;
    }
    checks.check(onServer.status == 200 && onServer.body.contains("SUMMARY:Made while running"),
                 "the running application sends the new event to the server", {});

    // Changed on the server, pulled by a sync command while the
    // application runs, unless the application's own cycle after the added
    // event took it first. When the command's hold stops that cycle between
    // the upload and its answer, the command's cycle finds the event on the
    // server already and downloads it as well.
    const int put = sendBlocking("PUT", runningCalendarURL() + "remote.ics", "test", "test",
                                 childEventText("remote", "Remote"), 20000, "text/calendar");
    checks.check(put == 201, "the server takes a new event", {});
    const ProcessResult synced = runMerovan({"sync", "--json"});
    const QJsonObject cycle = onlyCycle(synced);
    checks.check(synced.exitCode == 0 && cycle.value("state").toString() == "idle" &&
                     cycle.value("pulled").toInt() <= 2 && cycle.value("pushed").toInt() == 0 &&
                     cycle.value("conflicts").toInt() == 0,
                 "a sync command ends idle and sends nothing again", synced);
    checks.check(localItemCount() == 3, "the store holds each event once", {});
    checks.check(application.state() == QProcess::Running, "the application still runs", {});

    ::kill(pid_t(application.processId()), SIGTERM);
    const ProcessResult stopped = finishProcess(application, kBoundMilliseconds);
    checks.check(stopped.exitCode == 0, "the application stops on SIGTERM", stopped);
    checks.check(!RunningInstance::isRunning(), "the application no longer answers", {});

    // Nothing left over: no crash to recover from, nothing to send or fetch.
    const ProcessResult quiet = runMerovan({"sync", "--json"});
    const QJsonObject quietCycle = onlyCycle(quiet);
    checks.check(
        quiet.exitCode == 0 && !quiet.err.contains("crash") &&
            quietCycle.value("pulled").toInt() == 0 && quietCycle.value("pushed").toInt() == 0 &&
            quietCycle.value("deleted").toInt() == 0 && quietCycle.value("conflicts").toInt() == 0,
        "the next sync has nothing to do", quiet);
    checks.check(localItemCount() == 3, "the store still holds each event once", {});
    return checks.exitCode();
}

TEST(RunningApplicationTest, SyncsChangesOfCommandsRunWhileItRuns) {
    RadicaleServer radicale;
    const QString error = radicale.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    ASSERT_EQ(sendBlocking("PUT", radicale.calendarURL() + "first.ics", "test", "test",
                           childEventText("first", "First"), 20000, "text/calendar"),
              201);
    const ProcessResult result = runChildWithKeyring("syncWhileRunning", radicale.port());
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
}

}  // namespace
