#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QSet>
#include <QUuid>
#include <thread>

#include "model/objects/ModelFixture.h"

namespace {

const QRegularExpression kUUID(
    QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$"));

class SyncBookkeepingTest : public ModelTest {
protected:
    SyncBookkeepingTest() {
        caldav = makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("CALDAV"));
        calendar = makeCalendar(QStringLiteral("CAL"), caldav);
        event = makeItem(calendar, QStringLiteral("EVENT"));
        m_clock.advance(60);
        m_hooks.calls.clear();
    }

    static std::optional<Date> lastModTime(const CommonDataMO *item) {
        return item->objectInfo()->dateValueForKey(QStringLiteral("lastModTime"));
    }
    Date now() const { return m_clock.now(); }
    Date creation() const { return Date(kStart); }

    ModelObject *caldav;
    CommonDataMO *calendar;
    CommonDataMO *event;
};

std::string messageOf(const std::function<void()> &call) {
    try {
        call();
    } catch (const std::exception &error) {
        return error.what();
    }
    return "(no exception)";
}

}  // namespace

TEST_F(SyncBookkeepingTest, ASecondSyncInProgressIsAnErrorNotANesting) {
    ModelObject *exchange =
        makeService(QStringLiteral("Exchange Synchronization"), QStringLiteral("EWS"));
    SyncableObjectMO::syncInProgress(true, exchange);
    EXPECT_EQ(messageOf([&] { SyncableObjectMO::syncInProgress(true, caldav); }),
              "syncInProgress YES with CalDAV Synchronization: already synching with Exchange "
              "Synchronization");
    EXPECT_THROW(SyncableObjectMO::syncInProgress(true, caldav), std::invalid_argument);
    EXPECT_EQ(SyncableObjectMO::syncingService(), exchange) << "the failed call changed nothing";
    SyncableObjectMO::syncInProgress(false, exchange);
    EXPECT_FALSE(SyncableObjectMO::isSyncInProgress());
    EXPECT_EQ(messageOf([&] { SyncableObjectMO::syncInProgress(false, caldav); }),
              "syncInProgress NO with CalDAV Synchronization: not synching");
    EXPECT_THROW(SyncableObjectMO::syncInProgress(false, caldav), std::invalid_argument);
}

TEST_F(SyncBookkeepingTest, SuspendingASyncClearsItUntilResumedOnTheMainThreadOnly) {
    whileSyncing(caldav, [&] {
        EXPECT_TRUE(event->objectInfo()->syncInProgressWithOwner());
        SyncableObjectMO::suspendSyncInProgress();
        EXPECT_FALSE(SyncableObjectMO::isSyncInProgress());
        event->setValue(QStringLiteral("location"), QStringLiteral("Room 2"));
        EXPECT_EQ(lastModTime(event), now()) << "an edit while suspended is a local change";
        SyncableObjectMO::resumeSyncInProgress();
        EXPECT_EQ(SyncableObjectMO::syncingService(), caldav);

        std::string suspendError, resumeError;
        std::thread worker([&] {
            suspendError = messageOf(&SyncableObjectMO::suspendSyncInProgress);
            resumeError = messageOf(&SyncableObjectMO::resumeSyncInProgress);
        });
        worker.join();
        EXPECT_EQ(suspendError, "suspendSyncInProgress: not in main run loop");
        EXPECT_EQ(resumeError, "resumeSyncInProgress: not in main run loop");
        EXPECT_EQ(SyncableObjectMO::syncingService(), caldav);
    });
    SyncableObjectMO::setEditInProgress(true);
    EXPECT_TRUE(SyncableObjectMO::editInProgress());
    SyncableObjectMO::setEditInProgress(false);
    EXPECT_FALSE(SyncableObjectMO::editInProgress());
}

TEST_F(SyncBookkeepingTest, NewObjectsGetIdsAndStampsOnlyOutsideASync) {
    auto *local = ModelObject::as<SyncableObjectMO>(
        context().insertNewObject(QStringLiteral("SyncableEvent")));
    EXPECT_TRUE(kUUID.match(local->uid()).hasMatch()) << local->uid().toStdString();
    EXPECT_EQ(local->dateValueForKey(QStringLiteral("lastModTime")), now());
    EXPECT_EQ(local->dateValueForKey(QStringLiteral("localReceivedTime")), now());
    EXPECT_EQ(local->valueForKey(QStringLiteral("lastModBy")).toString(),
              QStringLiteral("Test User"));
    auto *localReminder = makeExtra(QStringLiteral("Reminder"), event);
    EXPECT_TRUE(kUUID.match(localReminder->uid()).hasMatch());
    EXPECT_NE(localReminder->uid(), local->uid());

    whileSyncing(caldav, [&] {
        auto *received = ModelObject::as<SyncableObjectMO>(
            context().insertNewObject(QStringLiteral("SyncableEvent")));
        EXPECT_TRUE(received->uid().isEmpty());
        EXPECT_FALSE(received->dateValueForKey(QStringLiteral("lastModTime")));
        EXPECT_TRUE(makeExtra(QStringLiteral("Attendee"), event)->uid().isEmpty());
    });
}

TEST_F(SyncBookkeepingTest, IdentifiersAreUpperCaseUUIDsOrFakeOnes) {
    SyncableObjectMO *info = event->objectInfo();
    info->assignFakeUID();
    EXPECT_TRUE(info->uid().startsWith(QLatin1Char('*')));
    EXPECT_TRUE(kUUID.match(info->uid().mid(1)).hasMatch());
    const QString fake = info->uid();
    info->assignUIDIfNeeded();
    EXPECT_EQ(info->uid(), fake) << "an existing uid is kept";
    info->setValue(QStringLiteral("uid"), QVariant());
    info->assignUIDIfNeeded();
    EXPECT_TRUE(kUUID.match(info->uid()).hasMatch());
    QSet<QString> made;
    for (int i = 0; i < 1000; ++i) {
        const QString uid = ModelObject::newUID();
        const QUuid uuid(uid);
        EXPECT_TRUE(kUUID.match(uid).hasMatch()) << uid.toStdString();
        EXPECT_EQ(uuid.version(), QUuid::Random) << uid.toStdString();
        EXPECT_EQ(uuid.variant(), QUuid::DCE) << uid.toStdString();
        made.insert(uid);
    }
    EXPECT_EQ(made.size(), 1000);
}

TEST_F(SyncBookkeepingTest, DataChangesStampTheSyncableObjectUnlessLocalOrSyncing) {
    event->setValue(QStringLiteral("location"), QStringLiteral("Room 1"));
    EXPECT_EQ(lastModTime(event), now());
    EXPECT_EQ(m_hooks.calls, QStringList{QStringLiteral("delay CALDAV")})
        << "the owner's sync is postponed";
    EXPECT_TRUE(event->objectInfo()->isLocallyModified());

    m_clock.advance(60);
    event->setBoolValue(true, QStringLiteral("localHidden"));
    event->setIntegerValue(42, QStringLiteral("localFirstDay"));
    calendar->setIntegerValue(0x336699, QStringLiteral("localColor"));
    calendar->setValue(QStringLiteral("transDefaultTimeZone"), QStringLiteral("Europe/Paris"));
    EXPECT_EQ(lastModTime(event), now().addingSeconds(-60)) << "local attributes are not synced";
    EXPECT_EQ(lastModTime(calendar), creation()) << "nor scratch ones";

    whileSyncing(caldav,
                 [&] { event->setValue(QStringLiteral("location"), QStringLiteral("Room 2")); });
    EXPECT_EQ(lastModTime(event), now().addingSeconds(-60)) << "server data is not a local change";

    event->objectInfo()->setDateValue(lastModTime(event), QStringLiteral("ownerLastModTime"));
    EXPECT_FALSE(event->objectInfo()->isLocallyModified());
}

TEST_F(SyncBookkeepingTest, ABatchOfLocalChangesStampsEachObjectOnceWhenItCloses) {
    CommonDataMO *gone = makeItem(calendar, QStringLiteral("GONE"));
    m_hooks.calls.clear();
    LogCapture log;
    {
        SyncableObjectMO::LocalChangeBatch batch;
        event->setValue(QStringLiteral("location"), QStringLiteral("Room 1"));
        ExtraDataMO *reminder = makeExtra(QStringLiteral("Reminder"), event);
        {
            SyncableObjectMO::LocalChangeBatch inner;
            reminder->setDoubleValue(-900, QStringLiteral("relativeSeconds"));
        }
        gone->setValue(QStringLiteral("location"), QStringLiteral("Room 2"));
        context().deleteObject(gone->objectInfo());
        EXPECT_EQ(lastModTime(event), creation()) << "nothing is stamped while a batch is open";
        EXPECT_TRUE(m_hooks.calls.isEmpty()) << m_hooks.calls.join(QLatin1Char(',')).toStdString();
        m_clock.advance(30);
    }
    EXPECT_EQ(lastModTime(event), now());
    EXPECT_EQ(event->objectInfo()->dateValueForKey(QStringLiteral("localReceivedTime")), now());
    EXPECT_EQ(m_hooks.calls, QStringList{QStringLiteral("delay CALDAV")}) << "once, for the item";
    EXPECT_TRUE(event->objectInfo()->isLocallyModified());
    EXPECT_FALSE(log.contains(QStringLiteral("LocalChangeBatch")));

    // Closed, changes stamp at once again.
    m_clock.advance(10);
    event->setValue(QStringLiteral("location"), QStringLiteral("Room 3"));
    EXPECT_EQ(lastModTime(event), now());
}

TEST_F(SyncBookkeepingTest, ALocalReminderDoesNotStampItsItemButAReminderDoes) {
    const std::optional<Date> before = lastModTime(event);
    ASSERT_EQ(before, creation());
    ExtraDataMO *local = makeExtra(QStringLiteral("LocalReminder"), event);
    local->setDoubleValue(-600, QStringLiteral("relativeSeconds"));
    makeExtra(QStringLiteral("LocalContactLink"), event)
        ->setValue(QStringLiteral("firstName"), QStringLiteral("Ann"));
    EXPECT_EQ(lastModTime(event), before);

    m_clock.advance(10);
    ExtraDataMO *reminder = makeExtra(QStringLiteral("Reminder"), event);
    EXPECT_EQ(lastModTime(event), now());

    m_clock.advance(10);
    reminder->setDoubleValue(-900, QStringLiteral("relativeSeconds"));
    EXPECT_EQ(lastModTime(event), now()) << "changing a synced record";

    m_clock.advance(10);
    reminder->setDateValue(now(), QStringLiteral("localOwnerModTime"));
    EXPECT_EQ(lastModTime(event), now().addingSeconds(-10))
        << "its local attributes are not synced";

    m_clock.advance(10);
    local->setObject(QStringLiteral("parentObject"), nullptr);
    EXPECT_EQ(lastModTime(event), now().addingSeconds(-20));
    reminder->setObject(QStringLiteral("parentObject"), nullptr);
    EXPECT_EQ(lastModTime(event), now()) << "a synced record leaving its item";

    m_clock.advance(10);
    whileSyncing(caldav, [&] { makeExtra(QStringLiteral("Reminder"), event); });
    EXPECT_EQ(lastModTime(event), now().addingSeconds(-10));
}

TEST_F(SyncBookkeepingTest, AnExtraLeavingAFetchedItemStampsIt) {
    makeExtra(QStringLiteral("Attendee"), event)
        ->setValue(QStringLiteral("email"), QStringLiteral("a@example.com"));
    makeExtra(QStringLiteral("Reminder"), event);
    makeExtra(QStringLiteral("LocalReminder"), event);
    context().save();
    reopen();
    m_clock.advance(30);
    auto *item =
        fetchByUID<SyncableObjectMO>(QStringLiteral("SyncableEvent"), QStringLiteral("EVENT"))
            ->objectData();
    ExtraDataMO *attendee = item->extrasForRelationship(QStringLiteral("attendees")).value(0);
    ASSERT_NE(attendee, nullptr);
    attendee->setObject(QStringLiteral("parentObject"), nullptr);
    EXPECT_EQ(lastModTime(item), now());

    const auto reminder = [&](const QString &entity) {
        for (ExtraDataMO *extra : item->extrasForRelationship(QStringLiteral("reminders"))) {
            if (extra->entityName() == entity)
                return extra;
        }
        return static_cast<ExtraDataMO *>(nullptr);
    };
    m_clock.advance(30);
    context().deleteObject(reminder(QStringLiteral("LocalReminder")));
    EXPECT_EQ(lastModTime(item), now().addingSeconds(-30)) << "a local record is not synced";
    context().deleteObject(reminder(QStringLiteral("Reminder")));
    EXPECT_EQ(lastModTime(item), now()) << "a deleted reminder is a change of its item";
    EXPECT_TRUE(item->extrasForRelationship(QStringLiteral("reminders")).isEmpty());

    // Deleting the item deletes its records without touching it.
    context().deleteObject(item);
    context().save();
}

TEST_F(SyncBookkeepingTest, StampsReportReceivedObjectsDuringASync) {
    SyncableObjectMO *info = event->objectInfo();
    whileSyncing(caldav, [&] {
        info->touchLastModTime();
        EXPECT_EQ(info->dateValueForKey(QStringLiteral("lastModTime")), now());
        m_clock.advance(5);
        info->touchReceivedTime();
        EXPECT_EQ(info->dateValueForKey(QStringLiteral("lastModTime")), now().addingSeconds(-5));
        EXPECT_EQ(info->dateValueForKey(QStringLiteral("localReceivedTime")), now());
        info->touchLocalChange();
    });
    EXPECT_EQ(m_hooks.calls, QStringList(3, QStringLiteral("received EVENT")));
    m_hooks.calls.clear();
    info->touchLocalChange();
    info->touchLastModTime();
    EXPECT_TRUE(m_hooks.calls.isEmpty()) << m_hooks.calls.join(QLatin1Char(',')).toStdString();
}

TEST_F(SyncBookkeepingTest, ChangesArePushedToPublishersButNotToTheSyncingService) {
    ModelObject *publisher =
        ModelObject::as<ModelObject>(context().insertNewObject(QStringLiteral("BonjourPublisher")));
    publisher->setValue(QStringLiteral("uid"), QStringLiteral("LAN"));
    ModelObject *eager =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("EAGER"), true);
    ModelObject *lazy =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("LAZY"), false);
    caldav->setBoolValue(true, QStringLiteral("autoPublishChanges"));
    for (ModelObject *target : {publisher, eager, lazy})
        calendar->objectInfo()->addObject(QStringLiteral("publishedTo"), target);
    m_hooks.calls.clear();
    LogCapture log;

    event->objectInfo()->touchReceivedTime();
    const QString time = QString::number(now().secondsSinceReference(), 'f', 0);
    EXPECT_EQ(m_hooks.calls,
              (QStringList{QStringLiteral("tickle LAN %1 child").arg(time),
                           QStringLiteral("pending EAGER"), QStringLiteral("pending CALDAV")}));
    EXPECT_TRUE(log.contains(QStringLiteral("pushChangeTo: CalDAV Synchronization")));

    m_hooks.calls.clear();
    whileSyncing(caldav, [&] { calendar->objectInfo()->touchLastModTime(); });
    EXPECT_EQ(m_hooks.calls,
              (QStringList{QStringLiteral("tickle LAN %1 container").arg(time),
                           QStringLiteral("pending EAGER"), QStringLiteral("received CAL")}));
}

TEST_F(SyncBookkeepingTest, TheOwnersSyncIsDelayedThroughTheHooks) {
    event->objectInfo()->delaySyncWithOwner();
    event->objectInfo()->greatlyDelaySyncWithOwner(true);
    calendar->objectInfo()->greatlyDelaySyncWithOwner(false);
    EXPECT_EQ(m_hooks.calls,
              (QStringList{QStringLiteral("delay CALDAV"), QStringLiteral("greatlyDelay CALDAV 1"),
                           QStringLiteral("greatlyDelay CALDAV 0")}));
    m_hooks.calls.clear();
    makeItem(makeCalendar(QStringLiteral("MINE")), QStringLiteral("X"))
        ->objectInfo()
        ->delaySyncWithOwner();
    EXPECT_TRUE(m_hooks.calls.isEmpty()) << "a calendar of this machine has no owner to delay";
}

TEST_F(SyncBookkeepingTest, ConflictsAreIgnoredOnlyForCalDAVAndExchangeObjects) {
    event->objectInfo()->ignoreConflictWhenStored();
    EXPECT_TRUE(event->objectInfo()->boolValueForKey(QStringLiteral("transIgnoreConflict")));
    ModelObject *subscription =
        makeService(QStringLiteral("WebDAV Subscribe Synchronization"), QStringLiteral("WEB"));
    CommonDataMO *other =
        makeItem(makeCalendar(QStringLiteral("SUB"), subscription), QStringLiteral("Y"));
    other->objectInfo()->ignoreConflictWhenStored();
    EXPECT_FALSE(other->objectInfo()->boolValueForKey(QStringLiteral("transIgnoreConflict")));
}

TEST_F(SyncBookkeepingTest, TypeTestsAndPathUID) {
    ModelObject *bonjour =
        makeService(QStringLiteral("Bonjour Subscribe Synchronization"), QStringLiteral("PEER"));
    CommonDataMO *peerCalendar = makeCalendar(QStringLiteral("PEERCAL"), bonjour);
    CommonDataMO *detached =
        makeItem(peerCalendar, QStringLiteral("D"), QStringLiteral("DetachedEvent"));
    ExtraDataMO *attachment = makeExtra(QStringLiteral("Attachment"), detached);
    ExtraDataMO *fileAttachment = makeExtra(QStringLiteral("FileAttachment"), detached);

    EXPECT_TRUE(calendar->isContainer());
    EXPECT_FALSE(calendar->objectInfo()->isContainer());
    EXPECT_TRUE(calendar->objectInfo()->isSyncableContainer());
    EXPECT_FALSE(calendar->isChild());
    EXPECT_TRUE(event->isChild());
    EXPECT_TRUE(detached->isChild());
    EXPECT_TRUE(detached->objectInfo()->isSyncableChild());
    EXPECT_FALSE(detached->objectInfo()->isSyncableContainer());
    EXPECT_TRUE(attachment->isAttachment());
    EXPECT_FALSE(fileAttachment->isAttachment());

    EXPECT_FALSE(event->isLAN());
    for (ModelObject *object :
         std::initializer_list<ModelObject *>{peerCalendar, peerCalendar->objectInfo(), detached,
                                              detached->objectInfo(), attachment})
        EXPECT_TRUE(object->isLAN()) << object->entityName().toStdString();

    EXPECT_EQ(event->pathUID(), QStringLiteral("CALDAV/CAL/EVENT"));
    EXPECT_EQ(detached->pathUID(), QStringLiteral("PEER/PEERCAL/D"));
    EXPECT_EQ(makeItem(makeCalendar(QStringLiteral("MINE")), QStringLiteral("X"))->pathUID(),
              QStringLiteral("(null)/MINE/X"));

    EXPECT_FALSE(attachment->retainedObjectHasBeenDeleted());
    context().deleteObject(attachment);
    EXPECT_TRUE(attachment->retainedObjectHasBeenDeleted());
    context().save();
    EXPECT_TRUE(attachment->retainedObjectHasBeenDeleted());
}
