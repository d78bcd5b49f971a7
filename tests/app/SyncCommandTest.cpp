#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "KeyringChild.h"
#include "caldav/support/DAVServers.h"
#include "support/TestSupport.h"

// "sync" of the real program after "account add caldav", against a real
// Radicale changed in between by plain HTTP, with the password in a private
// keyring of the Secret Service.
namespace {

bool putEvent(const QByteArray &uid, const QByteArray &summary) {
    const int status = sendBlocking(
        "PUT", QStringLiteral("http://%1/test/calendar/%2.ics").arg(childCalDAVServer(), uid),
        "test", "test", childEventText(uid, summary), 20000, "text/calendar");
    return status == 201 || status == 204;
}

// The first account's cycle in the output of "sync --json"; empty when none.
QJsonObject firstCycleOf(const ProcessResult &synced) {
    const QJsonArray cycles = QJsonDocument::fromJson(synced.out.toUtf8()).array();
    return cycles.isEmpty() ? QJsonObject() : cycles[0].toObject();
}

struct CycleCounts {
    int pulled = 0, pushed = 0, deleted = 0, conflicts = 0, calendarsPushed = 0;
};
bool hasCounts(const QJsonObject &cycle, const CycleCounts &counts) {
    return cycle.value("pulled").toInt() == counts.pulled &&
           cycle.value("pushed").toInt() == counts.pushed &&
           cycle.value("deleted").toInt() == counts.deleted &&
           cycle.value("conflicts").toInt() == counts.conflicts &&
           cycle.value("calendarsPushed").toInt() == counts.calendarsPushed;
}

// The text line of a cycle of the account that found nothing to do.
QString quietCycleLine(const QString &uid) {
    return uid + "  idle  pulled 0, pushed 0, deleted 0, conflicts 0";
}

// Runs on the private session bus of the keyring; each failure is a line on
// standard error and makes the exit code 1.
MEROVAN_CHILD_ROUTINE(syncAfterAdding) {
    QTemporaryDir home;
    qputenv("MEROVAN_HOME", home.path().toUtf8());
    ChildChecks checks;

    const QString uid = addChildAccount(checks);

    checks.check(putEvent("second", "Second"), "the server takes a new event", {});
    const ProcessResult synced = runMerovan({"sync", "--json"});
    const QJsonObject cycle = firstCycleOf(synced);
    checks.check(
        synced.exitCode == 0 && QJsonDocument::fromJson(synced.out.toUtf8()).array().size() == 1,
        "every account is synced once", synced);
    checks.check(cycle.value("uid").toString() == uid &&
                     cycle.value("state").toString() == "idle" && cycle.value("error").isNull(),
                 "the account ends idle", synced);
    checks.check(hasCounts(cycle, {.pulled = 1}), "the new event, and only it, is pulled", synced);

    const ProcessResult calendars = runMerovan({"calendars", "--json"});
    const QJsonArray listed = QJsonDocument::fromJson(calendars.out.toUtf8()).array();
    int items = 0;
    QString syncedCalendar;
    for (const QJsonValue &calendar : listed) {
        items += int(calendar.toObject().value("count").toInteger());
        if (calendar.toObject().value("count").toInteger() == 2)
            syncedCalendar = calendar.toObject().value("uid").toString();
    }
    checks.check(items == 2, "both events are in the store once", calendars);

    // A to-do made here and an event deleted here reach the server.
    const ProcessResult made =
        runMerovan({"event", "add", "--calendar", syncedCalendar, "--title", "Made here", "--start",
                    "2026-12-09T10:00:00Z", "--end", "2026-12-09T11:00:00Z", "--todo"});
    const QString madeUID = made.out.trimmed();
    checks.check(made.exitCode == 0 && !madeUID.isEmpty(), "a to-do is added", made);
    const ProcessResult deleted = runMerovan({"event", "delete", "first"});
    checks.check(deleted.exitCode == 0, "an event is deleted", deleted);
    const ProcessResult pushed = runMerovan({"sync", "--json"});
    const QJsonObject pushedCycle = firstCycleOf(pushed);
    checks.check(pushed.exitCode == 0 && hasCounts(pushedCycle, {.pushed = 2}),
                 "both local changes are pushed, and nothing else", pushed);
    const QString calendarURL = QStringLiteral("http://%1/test/calendar/").arg(childCalDAVServer());
    const BlockingAnswer todo =
        fetchBlocking("GET", calendarURL + madeUID + ".ics", "test", "test", {});
    checks.check(todo.status == 200 && todo.body.contains("BEGIN:VTODO") &&
                     todo.body.contains("UID:" + madeUID.toUtf8()),
                 "the server has the to-do", {});
    checks.check(sendBlocking("GET", calendarURL + "first.ics", "test", "test") == 404,
                 "the server no longer has the deleted event", {});

    const ProcessResult named = runMerovan({"sync", uid});
    checks.check(named.exitCode == 0 && named.out.trimmed() == quietCycleLine(uid),
                 "a named account is synced, with nothing new", named);
    // A calendar removed here is deleted on the server, counted apart from
    // the items, and not made again by the next listing.
    const ProcessResult removed = runMerovan({"calendar", "remove", syncedCalendar});
    checks.check(removed.exitCode == 0, "the synced calendar is removed", removed);
    const ProcessResult removal = runMerovan({"sync", "--json"});
    const QJsonObject removalCycle = firstCycleOf(removal);
    checks.check(removal.exitCode == 0 && hasCounts(removalCycle, {.calendarsPushed = 1}),
                 "the removal is sent as one calendar push", removal);
    checks.check(fetchBlocking("PROPFIND", calendarURL, "test", "test", "0").status == 404,
                 "the server no longer has the calendar", {});
    const ProcessResult after = runMerovan({"sync", uid});
    checks.check(after.exitCode == 0 && after.out.trimmed() == quietCycleLine(uid),
                 "the next cycle is quiet", after);
    const ProcessResult left = runMerovan({"calendars", "--json"});
    bool calendarBack = false;
    for (const QJsonValue &calendar : QJsonDocument::fromJson(left.out.toUtf8()).array())
        calendarBack = calendarBack || calendar.toObject().value("owner").toString() == uid;
    checks.check(left.exitCode == 0 && !calendarBack, "no calendar of the account comes back",
                 left);

    const ProcessResult unknown = runMerovan({"sync", "NO-SUCH-ACCOUNT"});
    checks.check(
        unknown.exitCode == 1 && unknown.err.contains("no account with uid NO-SUCH-ACCOUNT"),
        "an unknown account is named", unknown);

    return checks.exitCode();
}

TEST(SyncCommandTest, SyncsAnAddedAccountAndPullsWhatChangedOnTheServer) {
    RadicaleServer radicale;
    const QString error = radicale.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    const int seeded = sendBlocking("PUT", radicale.calendarURL() + "first.ics", "test", "test",
                                    childEventText("first", "First"), 20000, "text/calendar");
    ASSERT_EQ(seeded, 201);
    const ProcessResult result = runChildWithKeyring("syncAfterAdding", radicale.port());
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
}

}  // namespace
