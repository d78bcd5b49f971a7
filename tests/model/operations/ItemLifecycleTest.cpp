#include <gtest/gtest.h>

#include <QSignalSpy>

#include "model/CalendarPublishing.h"
#include "model/DatabaseController.h"
#include "model/Queries.h"
#include "model/objects/ModelFixture.h"

namespace {

class ItemLifecycleTest : public ModelTest {
protected:
    ItemLifecycleTest() { Queries::setContext(&context()); }
    ~ItemLifecycleTest() override { Queries::setContext(nullptr); }

    SyncableObjectMO *syncableByUID(const QString &uid) {
        return fetchByUID<SyncableObjectMO>(QStringLiteral("SyncableObject"), uid);
    }
    double lastModTime(const SyncableObjectMO *object) const {
        return object->dateValueForKey(QStringLiteral("lastModTime"))->secondsSinceReference();
    }
};

TEST_F(ItemLifecycleTest, MakeObjectBuildsLinkedPairsAndRejectsOtherEntities) {
    CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    CommonDataMO *event = CommonDataMO::makeObject(QStringLiteral("Event"), calendar, nullptr);
    ASSERT_TRUE(calendar && event);
    EXPECT_EQ(calendar->objectInfo()->entityName(), QStringLiteral("SyncableCalendar"));
    EXPECT_EQ(event->objectInfo()->entityName(), QStringLiteral("SyncableEvent"));
    EXPECT_EQ(event->parentContainerDirect(), calendar);
    EXPECT_EQ(event->objectInfo()->parentContainer(), calendar->objectInfo());
    EXPECT_EQ(event->uid().size(), 36);
    EXPECT_NE(event->uid(), calendar->uid());
    EXPECT_TRUE(calendar->colorValueForKey(QStringLiteral("localColor")).has_value());
    EXPECT_EQ(lastModTime(event->objectInfo()), kStart);
    EXPECT_EQ(calendar->childWithUID(event->uid()), event);
    context().save();

    try {
        CommonDataMO::makeObject(QStringLiteral("Reminder"), calendar, nullptr);
        FAIL() << "a Reminder is not a calendar or an item";
    } catch (const std::invalid_argument &error) {
        EXPECT_STREQ(error.what(), "CommonDataMO makeObject: invalid entity Reminder");
    }
}

TEST_F(ItemLifecycleTest, DuringASyncIdsAndStampsAreTheServers) {
    ModelObject *service =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("S"));
    CommonDataMO *calendar = nullptr;
    whileSyncing(service,
                 [&] { calendar = CommonDataMO::makeObject(QStringLiteral("Calendar"), nullptr); });
    EXPECT_EQ(calendar->owningService(), service);
    EXPECT_TRUE(calendar->uid().isEmpty());
    EXPECT_FALSE(calendar->objectInfo()->dateValueForKey(QStringLiteral("lastModTime")));
}

TEST_F(ItemLifecycleTest, DeletingARecurringEventLeavesStampedTombstonesAndUndeleteRevives) {
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    CommonDataMO *event = makeItem(calendar, QStringLiteral("E"));
    CommonDataMO *detached =
        makeItem(calendar, QStringLiteral("D"), QStringLiteral("DetachedEvent"));
    detached->setObject(QStringLiteral("originalEvent"), event);
    makeExtra(QStringLiteral("Reminder"), detached);
    makeExtra(QStringLiteral("Attendee"), event);
    context().save();

    m_clock.advance(60);
    CommonDataMO::deleteObject(event);
    context().save();
    reopen();
    Queries::setContext(&context());

    for (const char *uid : {"E", "D"}) {
        SyncableObjectMO *tombstone = syncableByUID(QLatin1String(uid));
        ASSERT_TRUE(tombstone) << uid;
        EXPECT_TRUE(tombstone->isTombstone()) << uid;
        EXPECT_EQ(lastModTime(tombstone), kStart + 60) << uid;
    }
    FetchRequest extras(QStringLiteral("ExtraData"));
    EXPECT_EQ(context().countForFetchRequest(extras), 0);
    FetchRequest data(QStringLiteral("CommonChild"));
    EXPECT_EQ(context().countForFetchRequest(data), 0);

    m_clock.advance(60);
    SyncableObjectMO *tombstone = syncableByUID(QStringLiteral("E"));
    CommonDataMO *revived = CommonDataMO::undeleteObject(tombstone, QStringLiteral("Event"));
    EXPECT_EQ(tombstone->objectData(), revived);
    EXPECT_EQ(revived->parentContainerDirect()->uid(), QStringLiteral("CAL"));
    EXPECT_EQ(lastModTime(tombstone), kStart + 120);
    EXPECT_EQ(revived->parentContainer()->objectInfo(), syncableByUID(QStringLiteral("CAL")));
}

TEST_F(ItemLifecycleTest, DeletingACalendarRemovesItsItemsAndWithdrawsItsPublications) {
    ModelObject *publisher =
        ModelObject::as<ModelObject>(context().insertNewObject(QStringLiteral("BonjourPublisher")));
    publisher->setValue(QStringLiteral("uid"), QStringLiteral("PUB"));
    ModelObject *caldav =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("DAV"), true);
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    for (int i = 0; i < 3; ++i)
        makeExtra(QStringLiteral("Reminder"), makeItem(calendar, QString::number(i)));
    CalendarPublishing::setIsPublishedViaBonjour(*calendar, true);
    CalendarPublishing::setIsPublished(*calendar, true, caldav, false);
    EXPECT_TRUE(CalendarPublishing::isPublishedToService(*calendar, publisher));
    EXPECT_TRUE(CalendarPublishing::isPublishedToService(*calendar, caldav));
    context().save();
    m_hooks.calls.clear();

    m_clock.advance(10);
    CommonDataMO::deleteObject(calendar);
    context().save();
    EXPECT_TRUE(m_hooks.calls.contains(QStringLiteral("tickle PUB 700000010 container")));
    EXPECT_TRUE(m_hooks.calls.contains(QStringLiteral("pending DAV")));

    FetchRequest children(QStringLiteral("SyncableChild"));
    EXPECT_EQ(context().countForFetchRequest(children), 0);
    FetchRequest extras(QStringLiteral("ExtraData"));
    EXPECT_EQ(context().countForFetchRequest(extras), 0);
    SyncableObjectMO *tombstone = syncableByUID(QStringLiteral("CAL"));
    ASSERT_TRUE(tombstone && tombstone->isTombstone());
    EXPECT_TRUE(tombstone->objectsForKey(QStringLiteral("publishedTo")).isEmpty());
    const QList<ManagedObject *> withdrawn =
        context().executeFetchRequest(FetchRequest(QStringLiteral("UnpublishedContainer")));
    ASSERT_EQ(withdrawn.size(), 1);
    EXPECT_EQ(withdrawn.first()->valueForKey(QStringLiteral("uid")).toString(),
              QStringLiteral("CAL"));
    EXPECT_EQ(withdrawn.first()->valueForKey(QStringLiteral("containerEntityName")).toString(),
              QStringLiteral("SyncableCalendar"));

    // Publishing again drops the withdrawal record.
    CommonDataMO *again = CommonDataMO::undeleteObject(tombstone, QStringLiteral("Calendar"));
    CalendarPublishing::setIsPublishedViaBonjour(*again, true);
    context().save();
    EXPECT_EQ(context().countForFetchRequest(FetchRequest(QStringLiteral("UnpublishedContainer"))),
              0);
}

TEST_F(ItemLifecycleTest, FakeTombstonesCarryAStarUidAndAFreshStamp) {
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    m_clock.advance(5);
    SyncableObjectMO *fake = CommonDataMO::makeFakeDeletedObject(QStringLiteral("Event"), calendar);
    EXPECT_TRUE(fake->uid().startsWith(QLatin1Char('*')));
    EXPECT_EQ(fake->uid().size(), 37);
    EXPECT_TRUE(fake->isTombstone());
    EXPECT_EQ(fake->parentContainer(), calendar->objectInfo());
    EXPECT_EQ(lastModTime(fake), kStart + 5);
}

TEST_F(ItemLifecycleTest, TombstonesArePurgedThirtyDaysLater) {
    TemporaryHome home;
    auto start = [] {
        auto controller = std::make_unique<DatabaseController>();
        controller->startup();
        return controller;
    };
    auto controller = start();
    Queries::setContext(controller->managedObjectContext());
    CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    CommonDataMO *kept = CommonDataMO::makeObject(QStringLiteral("Event"), calendar, nullptr);
    CommonDataMO *gone = CommonDataMO::makeObject(QStringLiteral("Event"), calendar, nullptr);
    const QString keptUID = kept->uid();
    const QString goneUID = gone->uid();
    CommonDataMO::deleteObject(gone);
    controller->shutdown();
    controller.reset();

    // 29 days on, the tombstone is still needed.
    m_clock.advance(29 * 86400.0);
    controller = start();
    Queries::setContext(controller->managedObjectContext());
    EXPECT_EQ(Queries::syncableChildrenForUID(goneUID).size(), 1);
    controller->shutdown();
    controller.reset();

    m_clock.advance(2 * 86400.0 + 4 * 86400.0);
    controller = std::make_unique<DatabaseController>();
    QSignalSpy purged(controller.get(), &DatabaseController::purgeFinished);
    controller->startup();
    ASSERT_TRUE(purged.count() > 0 || purged.wait(20000));
    Queries::setContext(controller->managedObjectContext());
    EXPECT_TRUE(Queries::syncableChildrenForUID(goneUID).isEmpty());
    EXPECT_EQ(Queries::syncableChildrenForUID(keptUID).size(), 1);
    FetchRequest live(QStringLiteral("SyncableEvent"));
    EXPECT_EQ(controller->managedObjectContext()->countForFetchRequest(live), 1);
    controller->shutdown();
    Queries::setContext(&context());
}

}  // namespace
