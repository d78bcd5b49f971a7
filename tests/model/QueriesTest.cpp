#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "model/ModelObject.h"
#include "model/Queries.h"
#include "model/RemoteServiceQueries.h"
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
    EXPECT_EQ(Queries::syncableChildrenForUID(QStringLiteral("same")),
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

TEST_F(QueriesTest, UnsavedChangesAreSeen) {
    ManagedObject *kept = service(QStringLiteral("KEPT"), QStringLiteral("CalDAV Synchronization"));
    ManagedObject *renamed =
        service(QStringLiteral("OLD"), QStringLiteral("CalDAV Synchronization"));
    ManagedObject *calendar = container(QStringLiteral("C"), nullptr);
    ManagedObject *emptied = child(calendar, QStringLiteral("emptied"), true, 1);
    m_context.save();

    ManagedObject *fresh = service(QStringLiteral("NEW"), QStringLiteral("CalDAV Synchronization"));
    renamed->setValue(QStringLiteral("uid"), QStringLiteral("RENAMED"));
    m_context.deleteObject(kept);
    m_context.deleteObject(emptied->objectForKey(QStringLiteral("objectData")));
    ManagedObject *added = child(calendar, QStringLiteral("added"), true, 1);

    EXPECT_EQ(Queries::remoteServiceForUID(QStringLiteral("NEW")), fresh);
    EXPECT_EQ(Queries::remoteServiceForUID(QStringLiteral("RENAMED")), renamed);
    EXPECT_EQ(Queries::remoteServiceForUID(QStringLiteral("OLD")), nullptr);
    EXPECT_EQ(Queries::remoteServiceForUID(QStringLiteral("KEPT")), nullptr);
    EXPECT_EQ(Queries::syncableObjectsInContainer(calendar, std::nullopt),
              QList<ManagedObject *>{added})
        << "the emptied child is a tombstone now";
    EXPECT_THAT(Queries::allSyncableObjectsInContainer(calendar),
                ::testing::UnorderedElementsAre(emptied, added));
}

TEST_F(QueriesTest, EmptyArgumentsFindNothing) {
    ManagedObject *unnamed = m_context.insertNewObject(QStringLiteral("RemoteService"));
    unnamed->setValue(QStringLiteral("uid"), QVariant());
    ManagedObject *ownerless = m_context.insertNewObject(QStringLiteral("CalendarGroup"));
    ManagedObject *named = service(QStringLiteral("S"), QStringLiteral("CalDAV Synchronization"));
    ManagedObject *group = m_context.insertNewObject(QStringLiteral("CalendarGroup"));
    group->setValue(QStringLiteral("ownerID"), QStringLiteral("S"));
    ManagedObject *unmapped = m_context.insertNewObject(QStringLiteral("RemoteObject"));
    m_context.save();
    ASSERT_FALSE(ownerless->valueForKey(QStringLiteral("ownerID")).isValid());
    ASSERT_FALSE(unmapped->valueForKey(QStringLiteral("remoteID")).isValid());

    EXPECT_EQ(Queries::groupsFromService(named), QList<ManagedObject *>{group});
    EXPECT_TRUE(Queries::groupsFromService(unnamed).isEmpty());
    EXPECT_TRUE(Queries::groupsFromService(nullptr).isEmpty());
    EXPECT_TRUE(Queries::remoteObjectsForRemoteID(QString()).isEmpty());
    EXPECT_TRUE(Queries::extraDataWithUID(QString()).isEmpty());
    EXPECT_TRUE(Queries::organizersWithMeetingUID(QString()).isEmpty());
    EXPECT_TRUE(Queries::syncableContainersForUID(QString()).isEmpty());
    EXPECT_TRUE(Queries::syncableChildrenForUID(QString()).isEmpty());
}

// --- Questions about one service ----------------------------------------------

namespace {

using Service = RemoteServiceQueries;

QSet<ManagedObject *> setOf(std::initializer_list<ManagedObject *> objects) {
    return QSet<ManagedObject *>(objects.begin(), objects.end());
}

void setCalendar(ManagedObject *container, const char *key, const QVariant &value) {
    container->objectForKey(QStringLiteral("objectData"))->setValue(QLatin1String(key), value);
}

}  // namespace

TEST_F(QueriesTest, OwnedContainersPassTheSubscriptionAndVisibilityFilters) {
    ManagedObject *owner = service(QStringLiteral("S"), QStringLiteral("Bonjour Subscription"));
    ManagedObject *shown = container(QStringLiteral("shown"), owner);
    setCalendar(shown, "localSubscription", 1);
    ManagedObject *hidden = container(QStringLiteral("hidden"), owner);
    setCalendar(hidden, "localSubscription", 2);
    setCalendar(hidden, "localHidden", true);
    ManagedObject *unsubscribed = container(QStringLiteral("unsubscribed"), owner);
    ManagedObject *deleted = container(QStringLiteral("deleted"), owner);
    m_context.deleteObject(deleted->objectForKey(QStringLiteral("objectData")));
    m_context.save();

    EXPECT_EQ(Service::ownedContainersWithFilter(owner, 0),
              (QList<ManagedObject *>{shown, hidden, unsubscribed}));
    EXPECT_EQ(Service::ownedContainersWithFilter(owner, 1),
              (QList<ManagedObject *>{shown, hidden}));
    EXPECT_EQ(Service::ownedContainersWithFilter(owner, 2), QList<ManagedObject *>{shown});
    EXPECT_EQ(Service::ownedContainersWithFilter(owner, 3),
              (QList<ManagedObject *>{shown, hidden}));
    EXPECT_TRUE(Service::ownedContainersWithFilter(owner, -1).isEmpty());
    EXPECT_TRUE(Service::ownedContainersWithFilter(nullptr, 0).isEmpty());

    ManagedObject *lapsed = service(QStringLiteral("L"), QStringLiteral("Bonjour Subscription"));
    container(QStringLiteral("old"), lapsed);
    EXPECT_TRUE(Service::ownedContainersMatchFilter(owner, 2));
    EXPECT_TRUE(Service::ownedContainersMatchFilter(lapsed, 0));
    EXPECT_FALSE(Service::ownedContainersMatchFilter(lapsed, 1));
    EXPECT_FALSE(Service::ownedContainersMatchFilter(lapsed, -1));

    EXPECT_EQ(Service::ownedContainerWithUID(owner, QStringLiteral("hidden")), hidden);
    EXPECT_EQ(Service::ownedContainerWithUID(owner, QStringLiteral("old")), nullptr);
    EXPECT_EQ(Service::containersOwnedByService(owner),
              setOf({shown->objectForKey(QStringLiteral("objectData")),
                     hidden->objectForKey(QStringLiteral("objectData")),
                     unsubscribed->objectForKey(QStringLiteral("objectData"))}));
}

TEST_F(QueriesTest, WherePublishedCalendarsGo) {
    ManagedObject *owner = service(QStringLiteral("S"), QStringLiteral("CalDAV Synchronization"));
    ManagedObject *exchange =
        service(QStringLiteral("X"), QStringLiteral("Exchange Synchronization"));
    ManagedObject *publisher = m_context.insertNewObject(QStringLiteral("BonjourPublisher"));
    ManagedObject *both = container(QStringLiteral("both"), owner);
    both->addObject(QStringLiteral("publishedTo"), publisher);
    both->addObject(QStringLiteral("publishedTo"), exchange);
    ManagedObject *bonjour = container(QStringLiteral("bonjour"), owner);
    bonjour->addObject(QStringLiteral("publishedTo"), publisher);
    container(QStringLiteral("private"), owner);
    container(QStringLiteral("elsewhere"), exchange)
        ->addObject(QStringLiteral("publishedTo"), owner);
    m_context.save();

    EXPECT_EQ(Service::ownedContainersPublishedToService(owner, publisher), setOf({both, bonjour}));
    EXPECT_EQ(Service::ownedContainersPublishedToService(owner, exchange), setOf({both}));
    EXPECT_TRUE(Service::ownedContainersPublishedToService(owner, nullptr).isEmpty());
    EXPECT_EQ(Service::servicesPublishedTo(owner), setOf({publisher, exchange}));
    EXPECT_EQ(Service::servicesPublishedTo(exchange), setOf({owner}));
    EXPECT_EQ(Service::publicContainerWithUID(publisher, QStringLiteral("bonjour")), bonjour);
    EXPECT_EQ(Service::publicContainerWithUID(publisher, QStringLiteral("private")), nullptr);
}

TEST_F(QueriesTest, CalendarsThatMayBePublished) {
    ManagedObject *caldav = service(QStringLiteral("S"), QStringLiteral("CalDAV Synchronization"));
    ManagedObject *peer =
        service(QStringLiteral("P"), QStringLiteral("Bonjour Subscribe Synchronization"));
    const auto calendar = [&](const QString &uid, ManagedObject *owner) {
        return container(uid, owner)->objectForKey(QStringLiteral("objectData"));
    };
    ManagedObject *local = calendar(QStringLiteral("local"), nullptr);
    ManagedObject *server = calendar(QStringLiteral("server"), caldav);
    ManagedObject *fromPeer = calendar(QStringLiteral("peer"), peer);

    const auto sorted = [](QList<ManagedObject *> list) {
        std::sort(list.begin(), list.end());
        return list;
    };
    EXPECT_EQ(sorted(Queries::allContainersPublishableViaBonjour()), sorted({local, server}));
    EXPECT_EQ(sorted(Queries::allContainersPublishableToService(caldav)),
              sorted({local, fromPeer}));
    EXPECT_EQ(sorted(Queries::allContainersPublishableToService(peer)), sorted({local, server}));
    EXPECT_TRUE(Queries::allContainersPublishableToService(nullptr).isEmpty());
}

TEST_F(QueriesTest, FileAttachmentsOfTheServicesItems) {
    ManagedObject *owner = service(QStringLiteral("S"), QStringLiteral("CalDAV Synchronization"));
    ManagedObject *other = service(QStringLiteral("O"), QStringLiteral("CalDAV Synchronization"));
    const auto attach = [&](ManagedObject *container, const char *entity) {
        ManagedObject *item = child(container, QStringLiteral("item"), true, 1);
        ManagedObject *attachment = m_context.insertNewObject(QLatin1String(entity));
        attachment->setObject(QStringLiteral("parentObject"),
                              item->objectForKey(QStringLiteral("objectData")));
        return attachment;
    };
    ManagedObject *calendar = container(QStringLiteral("C"), owner);
    ManagedObject *first = attach(calendar, "FileAttachment");
    ManagedObject *second = attach(calendar, "FileAttachment");
    attach(calendar, "Attachment");
    attach(container(QStringLiteral("D"), other), "FileAttachment");
    attach(container(QStringLiteral("E"), nullptr), "FileAttachment");
    ManagedObject *loose = m_context.insertNewObject(QStringLiteral("FileAttachment"));
    m_context.save();
    ASSERT_EQ(Queries::allFileAttachments().size(), 5);
    ASSERT_TRUE(Queries::allFileAttachments().contains(loose));

    EXPECT_EQ(Service::ownedFileAttachments(owner), setOf({first, second}));
    EXPECT_EQ(Service::ownedFileAttachments(nullptr), QSet<ManagedObject *>());
}

TEST_F(QueriesTest, WithdrawnCalendarsReachSubscribersAsDeletions) {
    ManagedObject *publisher = m_context.insertNewObject(QStringLiteral("BonjourPublisher"));
    const auto publish = [&](const char *uid, bool live, double received) {
        ManagedObject *published = container(QLatin1String(uid), nullptr);
        published->addObject(QStringLiteral("publishedTo"), publisher);
        if (!live)
            m_context.deleteObject(published->objectForKey(QStringLiteral("objectData")));
        published->setValue(QStringLiteral("localReceivedTime"),
                            QVariant::fromValue(Date(received)));
        return published;
    };
    const auto withdraw = [&](const char *uid, const char *entity, double when) {
        ManagedObject *record = m_context.insertNewObject(QStringLiteral("UnpublishedContainer"));
        record->setValue(QStringLiteral("uid"), QLatin1String(uid));
        record->setValue(QStringLiteral("containerEntityName"), QLatin1String(entity));
        record->setValue(QStringLiteral("lastModTime"), QVariant::fromValue(Date(when)));
        record->setObject(QStringLiteral("publisher"), publisher);
    };
    ManagedObject *old = publish("old", true, 100);
    ManagedObject *recent = publish("recent", true, 300);
    ManagedObject *deleted = publish("deleted", false, 400);
    withdraw("gone", "SyncableCalendar", 350);
    withdraw("long-gone", "SyncableCalendar", 50);
    withdraw("garbled", "Calendar", 500);
    m_context.save();

    EXPECT_EQ(Service::publicContainers(publisher), (QList<ManagedObject *>{old, recent}));
    const auto none = Service::publicContainersReceivedSince(publisher, std::nullopt);
    EXPECT_EQ(none.containers, (QList<ManagedObject *>{old, recent}));
    EXPECT_EQ(none.withdrawals, nullptr);

    LogCapture log;
    const Service::PublicContainers since =
        Service::publicContainersReceivedSince(publisher, Date(200));
    ASSERT_EQ(since.containers.size(), 3);
    EXPECT_EQ(since.containers[0], recent);
    EXPECT_EQ(since.containers[1], deleted);
    ManagedObject *gone = since.containers[2];
    EXPECT_EQ(gone->entityName(), QStringLiteral("SyncableCalendar"));
    EXPECT_EQ(gone->valueForKey(QStringLiteral("uid")), QStringLiteral("gone"));
    EXPECT_EQ(gone->valueForKey(QStringLiteral("lastModTime")).value<Date>(), Date(350));
    EXPECT_EQ(gone->objectForKey(QStringLiteral("objectData")), nullptr);
    EXPECT_TRUE(log.contains(QStringLiteral(
        "RemoteServiceQueries: withdrawn container garbled has no container entity Calendar")));

    // The stand-in is never part of the store.
    EXPECT_NE(gone->managedObjectContext(), &m_context);
    EXPECT_FALSE(m_context.hasChanges());
    m_context.save();
    EXPECT_TRUE(Queries::syncableContainersForUID(QStringLiteral("gone")).isEmpty());
}
