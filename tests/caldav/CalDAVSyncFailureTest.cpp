#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTimer>
#include <QUrl>
#include <iostream>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/support/FaultProxy.h"
#include "caldav/support/SyncTestSuite.h"
#include "tasks/TaskDelegate.h"
#include "tasks/TaskManager.h"

// Servers that fail in the middle of a cycle: answers of 500 or 503, an
// answer cut off, the server stopped. A proxy in front of a real server makes
// the chosen requests fail. The cycle ends unable to connect, with its retry
// scheduled on the clock (15 s, then 30 s …); what was stored stays stored
// once and the server's marks (ETags, sync tokens) are not taken past it, so
// that the next good cycle repeats only what is missing, sends the local
// edits made meanwhile, and ends with the server and the store alike.
namespace {

// Counts the cycles of the task that ended.
class CycleCounter : public TaskDelegate {
public:
    void stateChange(qint64 state, RemoteServiceTask * /*task*/) override {
        if (state != SyncState::Synchronizing)
            ++ended;
    }
    int ended = 0;
};

QByteArray timedEvent(const QByteArray &uid, const QByteArray &summary) {
    return vcalendar(
        vevent(uid, summary, "DTSTART:20261201T100000Z\r\nDTEND:20261201T110000Z\r\n"));
}

template <typename Server>
class CalDAVSyncFailureTest : public SyncTestSuite<Server> {
protected:
    // The task manager stops while the clock and the cycle counter live.
    ~CalDAVSyncFailureTest() override { TaskManager::stopSharedManager(); }

    void SetUp() override {
        SyncTestSuite<Server>::SetUp();
        proxy = std::make_unique<FaultProxy>(this->server->port());
        ASSERT_EQ(proxy->listen(), QString());
    }
    // What the cycles logged and what went through the proxy, to see where
    // a failed test went wrong.
    void TearDown() override {
        SyncTestSuite<Server>::TearDown();
        if (!this->HasFailure())
            return;
        for (const FaultProxy::Exchange &exchange : proxy->exchanges())
            std::cerr << exchange.method.toStdString() << ' ' << exchange.path.toStdString()
                      << " -> " << exchange.status << '\n';
    }

    QString serviceAddress() const override {
        return proxy->url(QLatin1String(SyncAccount<Server>::principal));
    }
    // The account's task, talking to the server through the proxy, added to
    // the task manager on the manual clock: due at once.
    RemoteServiceTask *task() {
        if (!m_task)
            m_task = static_cast<RemoteServiceTask *>(TaskManager::sharedManager().addTask(
                RemoteServiceTask::newTaskForRemoteService(this->service(), false), &cycles));
        return m_task;
    }
    // Runs `trigger`, then the event loop until a cycle of the task has ended
    // (bounded); the state it ended in.
    qint64 runCycle(const std::function<void()> &trigger) {
        RemoteServiceTask *syncing = task();
        const int before = cycles.ended;
        bool expired = false;
        QTimer bound;
        bound.setSingleShot(true);
        QObject::connect(&bound, &QTimer::timeout, [&expired] { expired = true; });
        bound.start(60000);
        trigger();
        while (cycles.ended == before && !expired) {
            clock.fireDue();
            if (cycles.ended != before)
                break;
            const std::optional<Date> due = clock.nextDue();
            if (!due || *due > clock.now())
                QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        }
        EXPECT_FALSE(expired) << "the cycle did not end";
        return syncing->syncState();
    }
    // The cycle the user asks for now.
    qint64 syncNow() {
        return runCycle([this] { task()->tickle(); });
    }
    // The cycle the task starts by itself once `seconds` have passed.
    qint64 syncAfter(double seconds) {
        return runCycle([this, seconds] { clock.advance(seconds); });
    }
    const CalDAVSyncTask::Counts &counts() {
        return static_cast<CalDAVSyncTask *>(task())->counts();
    }
    // The retry of a failed cycle: due `seconds` from now, not earlier.
    void expectRetryIn(double seconds) {
        EXPECT_EQ(task()->syncState(), SyncState::UnableToConnect);
        EXPECT_EQ(task()->nextWakeup(), clock.now().addingSeconds(seconds));
        const int before = cycles.ended;
        clock.advance(seconds - 1);
        EXPECT_EQ(cycles.ended, before);
        EXPECT_EQ(task()->syncState(), SyncState::UnableToConnect);
    }
    // A cycle now finds nothing to send or fetch, and the calendar holds
    // the expected items here and on the server.
    void expectConverged(const QString &url, CommonDataMO *calendar, const QStringList &expected) {
        EXPECT_EQ(syncNow(), SyncState::Idle);
        EXPECT_EQ(counts().pushed, 0);
        EXPECT_EQ(counts().pulled, 0);
        EXPECT_EQ(counts().deleted, 0);
        EXPECT_EQ(counts().conflicts, 0);
        EXPECT_EQ(this->itemUIDs(calendar), expected);
        EXPECT_EQ(serverUIDs(url), expected);
    }
    // The sync token kept for the calendar at `url`.
    QString tokenOf(const QString &url) {
        const ModelObject *record = CalDAVRemoteObjects(this->service()).forHREF(QUrl(url).path());
        return record ? record->valueForKey("editURL").toString() : QString();
    }
    // The server's resources, as local UIDs (the tests name each
    // resource after its UID).
    QStringList serverUIDs(const QString &url) {
        QStringList uids = this->serverResources(url);
        for (QString &uid : uids)
            uid.chop(4);  // ".ics"
        return uids;
    }

    ScopedManualClock clock;
    CycleCounter cycles;
    std::unique_ptr<FaultProxy> proxy;

private:
    RemoteServiceTask *m_task = nullptr;
};

using FailureServers = ::testing::Types<RadicaleServer, XandikosServer>;
TYPED_TEST_SUITE(CalDAVSyncFailureTest, FailureServers);

TYPED_TEST(CalDAVSyncFailureTest,
           AFailedDownloadOrListingKeepsWhatWasStoredAndTheNextCycleCompletes) {
    const QString url = this->makeServerCalendar("pulling", "Pulling");
    QStringList expected;
    // More than one download request.
    for (int i = 0; i < 60; ++i) {
        const QByteArray uid = "pulled-" + QByteArray::number(i);
        this->put(url + QString::fromLatin1(uid) + ".ics", timedEvent(uid, "Pulled"));
        expected.append(QString::fromLatin1(uid));
    }
    expected.sort();

    // The second download of the calendar's items fails.
    this->proxy->addRule({"REPORT", "calendar-multiget", 1, 1, FaultProxy::Fault::Status, 500});
    EXPECT_EQ(this->syncNow(), SyncState::UnableToConnect);
    EXPECT_EQ(this->proxy->faultsApplied(), 1);
    this->proxy->clearRules();
    CommonDataMO *calendar = this->calendarTitled("Pulling");
    ASSERT_NE(calendar, nullptr);
    const QStringList firstPart = this->itemUIDs(calendar);
    EXPECT_EQ(firstPart.size(), 50);
    EXPECT_EQ(QSet<QString>(firstPart.begin(), firstPart.end())
                  .subtract(QSet<QString>(expected.begin(), expected.end())),
              QSet<QString>());
    // The listing is not taken as done: no token and no calendar list kept.
    EXPECT_EQ(this->tokenOf(url), QString());
    EXPECT_FALSE(this->fixture.syncData(this->service()).contains("collections"));
    EXPECT_FALSE(this->service()->dateValueForKey("lastSyncTime"));
    this->expectRetryIn(15);

    // The retry fetches only what is missing.
    EXPECT_EQ(this->syncAfter(1), SyncState::Idle);
    EXPECT_EQ(this->counts().pulled, 10);
    EXPECT_EQ(this->itemUIDs(calendar), expected);
    const QString token = this->tokenOf(url);
    EXPECT_NE(token, QString());

    // Changes on the server; the listing of them is refused (also the full
    // listing tried instead), then the download is cut off.
    this->put(url + "pulled-1.ics", timedEvent("pulled-1", "Edited there"));
    this->remove(url + "pulled-2.ics");
    this->put(url + "added-1.ics", timedEvent("added-1", "Added there"));
    this->proxy->addRule({"REPORT", "sync-collection", 0, -1, FaultProxy::Fault::Status, 503, 120});
    EXPECT_EQ(this->syncNow(), SyncState::UnableToConnect);
    EXPECT_GE(this->proxy->faultsApplied("REPORT"), 2);
    EXPECT_EQ(this->itemUIDs(calendar), expected);
    EXPECT_EQ(this->item(calendar, "pulled-1")->effectiveTitle(), QStringLiteral("Pulled"));
    EXPECT_EQ(this->tokenOf(url), token);
    // Not before the server asked.
    this->expectRetryIn(120);
    this->proxy->clearRules();
    this->proxy->addRule({"REPORT", "calendar-multiget", 0, 1, FaultProxy::Fault::CutAnswer, 0, 0});
    EXPECT_EQ(this->syncAfter(1), SyncState::UnableToConnect);
    EXPECT_EQ(this->proxy->faultsApplied("REPORT"), 4);
    EXPECT_EQ(this->tokenOf(url), token);
    EXPECT_EQ(this->item(calendar, "pulled-1")->effectiveTitle(), QStringLiteral("Pulled"));
    this->expectRetryIn(30);

    EXPECT_EQ(this->syncAfter(1), SyncState::Idle);
    expected.removeOne("pulled-2");
    expected.append("added-1");
    expected.sort();
    EXPECT_EQ(this->itemUIDs(calendar), expected);
    EXPECT_EQ(this->serverUIDs(url), expected);
    EXPECT_EQ(this->item(calendar, "pulled-1")->effectiveTitle(), QStringLiteral("Edited there"));
    EXPECT_NE(this->tokenOf(url), token);
    // After a good cycle the next one is the account's interval away.
    EXPECT_EQ(this->task()->nextWakeup(),
              this->clock.now().addingSeconds(this->service()->doubleValueForKey("syncInterval")));
    this->expectConverged(url, calendar, expected);
}

TYPED_TEST(CalDAVSyncFailureTest, ChangesRefusedWith503AndEditsMadeMeanwhileReachTheServerLater) {
    const QString url = this->makeServerCalendar("pushing", "Pushing");
    this->put(url + "kept-1.ics", timedEvent("kept-1", "Kept"));
    this->put(url + "doomed-1.ics", timedEvent("doomed-1", "Doomed"));
    EXPECT_EQ(this->syncNow(), SyncState::Idle);
    CommonDataMO *calendar = this->calendarTitled("Pushing");
    ASSERT_NE(calendar, nullptr);

    // Made, edited and deleted here; the server takes the first request and
    // refuses the others as busy (503, and 429 "too many requests"), asking
    // to wait a minute.
    const QString first = this->makeLocalItem(calendar, "First")->uid();
    const QString second = this->makeLocalItem(calendar, "Second")->uid();
    this->item(calendar, "kept-1")->setStringValue("Kept, edited here", "title");
    CommonDataMO::deleteObject(this->item(calendar, "doomed-1"));
    this->proxy->addRule({"PUT", {}, 1, -1, FaultProxy::Fault::Status, 503, 60});
    this->proxy->addRule({"DELETE", {}, 0, -1, FaultProxy::Fault::Status, 429, 60});
    EXPECT_EQ(this->syncNow(), SyncState::UnableToConnect);
    EXPECT_EQ(this->counts().pushed, 1);
    // The refused deletion: still on the server.
    const QStringList onServer = this->serverUIDs(url);
    EXPECT_TRUE(onServer.contains("doomed-1"));
    this->expectRetryIn(60);

    // Still refused; meanwhile another edit here.
    EXPECT_EQ(this->syncAfter(1), SyncState::UnableToConnect);
    EXPECT_EQ(this->counts().pushed, 0);
    this->item(calendar, first)->setStringValue("First, edited here", "title");
    EXPECT_EQ(this->serverUIDs(url), onServer);
    this->expectRetryIn(60);

    this->proxy->clearRules();
    EXPECT_EQ(this->syncAfter(1), SyncState::Idle);
    EXPECT_EQ(this->counts().conflicts, 0);
    QStringList expected{"kept-1", first, second};
    expected.sort();
    EXPECT_EQ(this->serverUIDs(url), expected);
    EXPECT_EQ(this->itemUIDs(calendar), expected);
    EXPECT_TRUE(this->serverText(url + first + ".ics").contains("SUMMARY:First\\, edited here"));
    EXPECT_TRUE(this->serverText(url + second + ".ics").contains("SUMMARY:Second"));
    EXPECT_TRUE(this->serverText(url + "kept-1.ics").contains("SUMMARY:Kept\\, edited here"));
    // Everything was sent once: nothing left to send or fetch.
    this->expectConverged(url, calendar, expected);
}

TYPED_TEST(CalDAVSyncFailureTest, AnAnswerLostAfterTheServerStoredAnItemDoesNotDuplicateIt) {
    const QString url = this->makeServerCalendar("lost", "Lost");
    this->put(url + "there-1.ics", timedEvent("there-1", "There"));
    EXPECT_EQ(this->syncNow(), SyncState::Idle);
    CommonDataMO *calendar = this->calendarTitled("Lost");
    ASSERT_NE(calendar, nullptr);

    // The server stores the new item; its answers are cut off. Sent again,
    // then looked for: it is there, and taken as arrived.
    const QString made = this->makeLocalItem(calendar, "Made here")->uid();
    this->proxy->addRule({"PUT", {}, 0, -1, FaultProxy::Fault::CutAnswer, 0, 0});
    EXPECT_EQ(this->syncNow(), SyncState::Idle);
    EXPECT_GE(this->proxy->faultsApplied("PUT"), 2);
    EXPECT_EQ(this->counts().conflicts, 0);
    QStringList expected{"there-1", made};
    expected.sort();
    EXPECT_EQ(this->serverUIDs(url), expected);

    // The server's copy comes in place of the one made here.
    this->proxy->clearRules();
    EXPECT_EQ(this->syncNow(), SyncState::Idle);
    EXPECT_EQ(this->serverUIDs(url), expected);
    EXPECT_EQ(this->itemUIDs(calendar), expected);
    EXPECT_EQ(this->item(calendar, made)->effectiveTitle(), QStringLiteral("Made here"));
    this->expectConverged(url, calendar, expected);
}

TYPED_TEST(CalDAVSyncFailureTest, TheServerStoppedInTheMiddleOfACycle) {
    const QString url = this->makeServerCalendar("stopping", "Stopping");
    this->put(url + "old-1.ics", timedEvent("old-1", "Old"));
    EXPECT_EQ(this->syncNow(), SyncState::Idle);
    CommonDataMO *calendar = this->calendarTitled("Stopping");
    ASSERT_NE(calendar, nullptr);
    const QString token = this->tokenOf(url);

    // New on the server and here; the server stops when the download of its
    // changes is asked for, after the local item was sent.
    for (const QByteArray uid : {"new-1", "new-2", "new-3"})
        this->put(url + QString::fromLatin1(uid) + ".ics", timedEvent(uid, "New there"));
    const QString made = this->makeLocalItem(calendar, "Made here")->uid();
    bool stopped = false;
    this->proxy->setOnRequest(
        [this, &stopped](const FaultProxy::Exchange & /*exchange*/, const QByteArray &request) {
            if (!stopped && request.contains("calendar-multiget")) {
                this->server->stop();
                stopped = true;
            }
        });
    EXPECT_EQ(this->syncNow(), SyncState::UnableToConnect);
    ASSERT_TRUE(stopped);
    this->proxy->setOnRequest(nullptr);
    QStringList kept{"old-1", made};
    kept.sort();
    EXPECT_EQ(this->itemUIDs(calendar), kept);
    EXPECT_EQ(this->tokenOf(url), token);
    this->expectRetryIn(15);

    // Still stopped at the retry; an edit here meanwhile.
    EXPECT_EQ(this->syncAfter(1), SyncState::UnableToConnect);
    this->item(calendar, "old-1")->setStringValue("Old, edited here", "title");
    this->expectRetryIn(30);

    ASSERT_EQ(this->server->restart(), QString());
    EXPECT_EQ(this->syncAfter(1), SyncState::Idle);
    QStringList expected{"new-1", "new-2", "new-3", "old-1", made};
    expected.sort();
    EXPECT_EQ(this->itemUIDs(calendar), expected);
    EXPECT_EQ(this->serverUIDs(url), expected);
    EXPECT_TRUE(this->serverText(url + "old-1.ics").contains("SUMMARY:Old\\, edited here"));
    this->expectConverged(url, calendar, expected);
}

}  // namespace
