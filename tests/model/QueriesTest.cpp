#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "model/Queries.h"
#include "model/Schema.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "support/TestSupport.h"

namespace {

class QueriesTest : public ::testing::Test {
protected:
    QueriesTest()
        : m_store(&Schema::model(), m_dir.filePath(QStringLiteral("Q.bsql"))), m_context(&m_store) {
        Queries::setContext(&m_context);
    }
    ~QueriesTest() override { Queries::setContext(nullptr); }

    ManagedObject *service(const QString &uid, const QString &name) {
        ManagedObject *service = m_context.insertNewObject(QStringLiteral("RemoteService"));
        service->setValue(QStringLiteral("uid"), uid);
        service->setValue(QStringLiteral("serviceName"), name);
        return service;
    }
    ManagedObject *container(const QString &uid, ManagedObject *owner) {
        ManagedObject *syncable = m_context.insertNewObject(QStringLiteral("SyncableCalendar"));
        syncable->setValue(QStringLiteral("uid"), uid);
        syncable->setObject(QStringLiteral("objectData"),
                            m_context.insertNewObject(QStringLiteral("Calendar")));
        syncable->setObject(QStringLiteral("ownedBy"), owner);
        return syncable;
    }
    ManagedObject *child(ManagedObject *container, const QString &uid, bool live, double received) {
        ManagedObject *syncable = m_context.insertNewObject(QStringLiteral("SyncableEvent"));
        syncable->setValue(QStringLiteral("uid"), uid);
        syncable->setValue(QStringLiteral("localReceivedTime"),
                           QVariant::fromValue(Date(received)));
        syncable->setObject(QStringLiteral("parentContainer"), container);
        if (live)
            syncable->setObject(QStringLiteral("objectData"),
                                m_context.insertNewObject(QStringLiteral("Event")));
        return syncable;
    }

    QTemporaryDir m_dir;
    PersistentStore m_store;
    ManagedObjectContext m_context;
};

}  // namespace

TEST_F(QueriesTest, TemplatesAreFilledAnewForEachCall) {
    ManagedObject *a = service(QStringLiteral("A"), QStringLiteral("CalDAV Synchronization"));
    ManagedObject *b = service(QStringLiteral("B"), QStringLiteral("Exchange Synchronization"));
    m_context.save();
    EXPECT_EQ(Queries::remoteServiceForUID(QStringLiteral("A")), a);
    EXPECT_EQ(Queries::remoteServiceForUID(QStringLiteral("B")), b);
    EXPECT_EQ(Queries::remoteServiceForUID(QString()), nullptr);
    EXPECT_EQ(Queries::remoteServicesForName(QStringLiteral("Exchange Synchronization")),
              QList<ManagedObject *>{b});
    EXPECT_TRUE(Queries::remoteServicesForName(QString()).isEmpty());
    EXPECT_EQ(Queries::remoteServices().size(), 2);
}

TEST_F(QueriesTest, ChildrenOfAContainerWithAndWithoutADate) {
    ManagedObject *calendar = container(QStringLiteral("C"), nullptr);
    child(calendar, QStringLiteral("live-old"), true, 100);
    child(calendar, QStringLiteral("live-new"), true, 300);
    child(calendar, QStringLiteral("dead-new"), false, 400);
    m_context.save();
    const auto since = Queries::syncableObjectsInContainer(calendar, Date(200));
    ASSERT_TRUE(since.has_value());
    EXPECT_EQ(since->size(), 2) << "changed after the date, tombstones included";
    const auto live = Queries::syncableObjectsInContainer(calendar, std::nullopt);
    ASSERT_TRUE(live.has_value());
    EXPECT_EQ(live->size(), 2) << "all live children";
    EXPECT_FALSE(Queries::syncableObjectsInContainer(nullptr, Date(0)).has_value());
    EXPECT_EQ(Queries::allSyncableObjectsInContainer(calendar).size(), 3);
    EXPECT_EQ(Queries::faultedSyncableObjectsInContainer(calendar).size(), 2);
}

TEST_F(QueriesTest, LocallyModifiedChildren) {
    ManagedObject *calendar = container(QStringLiteral("C"), nullptr);
    ManagedObject *agreed = child(calendar, QStringLiteral("agreed"), true, 1);
    agreed->setValue(QStringLiteral("lastModTime"), QVariant::fromValue(Date(5)));
    agreed->setValue(QStringLiteral("ownerLastModTime"), QVariant::fromValue(Date(5)));
    ManagedObject *changed = child(calendar, QStringLiteral("changed"), true, 1);
    changed->setValue(QStringLiteral("lastModTime"), QVariant::fromValue(Date(9)));
    changed->setValue(QStringLiteral("ownerLastModTime"), QVariant::fromValue(Date(5)));
    ManagedObject *fresh = child(calendar, QStringLiteral("fresh"), true, 1);
    m_context.save();
    const QList<ManagedObject *> modified = Queries::modifiedSyncableObjectsInContainer(calendar);
    EXPECT_EQ(modified.size(), 2);
    EXPECT_TRUE(modified.contains(changed));
    EXPECT_TRUE(modified.contains(fresh));
}

TEST_F(QueriesTest, LiveChildrenComeFirst) {
    ManagedObject *calendar = container(QStringLiteral("C"), nullptr);
    ManagedObject *dead1 = child(calendar, QStringLiteral("same"), false, 1);
    ManagedObject *live = child(calendar, QStringLiteral("same"), true, 2);
    ManagedObject *dead2 = child(calendar, QStringLiteral("same"), false, 3);
    m_context.save();
    EXPECT_EQ(Queries::syncableChildenForUID(QStringLiteral("same")),
              (QList<ManagedObject *>{live, dead1, dead2}));
}

TEST_F(QueriesTest, ContainersHeldByOtherServices) {
    ManagedObject *mine = service(QStringLiteral("S1"), QStringLiteral("CalDAV Synchronization"));
    ManagedObject *other = service(QStringLiteral("S2"), QStringLiteral("CalDAV Synchronization"));
    container(QStringLiteral("C"), mine);
    ManagedObject *copy = container(QStringLiteral("C"), other);
    container(QStringLiteral("C"), nullptr);
    m_context.save();
    EXPECT_EQ(Queries::syncableContainersForUID(QStringLiteral("C")).size(), 3);
    EXPECT_EQ(Queries::syncableContainersForUID(QStringLiteral("C"), mine),
              QList<ManagedObject *>{copy});
    EXPECT_EQ(Queries::allSyncableContainersOwnedByUs().size(), 1);
}
