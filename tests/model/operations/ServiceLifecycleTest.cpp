#include <gtest/gtest.h>

#include "model/CalDAVEngine.h"
#include "model/CalendarPublishing.h"
#include "model/RemoteServiceLifecycle.h"
#include "model/capabilities/FakeEngines.h"
#include "model/operations/ServiceFixture.h"

namespace {

// A subscribed web calendar found through the account whose uid its
// `urlAlternate` holds.
class FakeSubscriptionEngine : public ServiceEngine {
public:
    ModelObject *parentService(const ModelObject *service) const override {
        return ModelObject::as<ModelObject>(Queries::remoteServiceForUID(
            service->valueForKey(QStringLiteral("urlAlternate")).toString()));
    }
};

class ServiceLifecycleTest : public ServiceTest {
protected:
    ModelObject *publisher() {
        if (!m_publisher) {
            m_publisher = ModelObject::as<ModelObject>(
                context().insertNewObject(QStringLiteral("BonjourPublisher")));
            m_publisher->setValue(QStringLiteral("uid"), QStringLiteral("PUB"));
        }
        return m_publisher;
    }
    QList<ManagedObject *> withdrawals() {
        return context().executeFetchRequest(FetchRequest(QStringLiteral("UnpublishedContainer")));
    }
    bool isGone(const QString &entity, const QString &uid) {
        return fetchByUID(entity, uid) == nullptr;
    }

    ScopedEngineRegistry m_engines;
    LogCapture m_log;
    ModelObject *m_publisher = nullptr;
};

TEST_F(ServiceLifecycleTest, MakingServicesAndNoticesTellsTheDelegate) {
    ModelObject *service = RemoteServiceLifecycle::makeRemoteService(&context());
    EXPECT_EQ(service->entityName(), QStringLiteral("RemoteService"));
    EXPECT_EQ(m_delegate.calls, QStringList{QStringLiteral("added")});

    m_clock.advance(30);
    ModelObject *notice = RemoteServiceLifecycle::makeNotificationOfType(3, service);
    EXPECT_EQ(notice->uid().size(), 36);
    EXPECT_EQ(notice->integerValueForKey(QStringLiteral("type")), 3);
    EXPECT_EQ(notice->dateValueForKey(QStringLiteral("createTime")), Date(kStart + 30));
    EXPECT_TRUE(notice->boolValueForKey(QStringLiteral("transNew")));
    EXPECT_EQ(service->objectsForKey(QStringLiteral("notifications")),
              QList<ManagedObject *>{notice});
    context().save();
}

TEST_F(ServiceLifecycleTest, SummariesNameTheAddressesAndTheTitle) {
    ModelObject *service =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("S"));
    EXPECT_EQ(RemoteServiceLifecycle::urlSummary(service), QString());
    service->setValue(QStringLiteral("urlAlternate"), QStringLiteral("https://b.example/"));
    EXPECT_EQ(RemoteServiceLifecycle::urlSummary(service), QStringLiteral("https://b.example/"));
    service->setValue(QStringLiteral("url"), QStringLiteral("https://a.example/"));
    EXPECT_EQ(RemoteServiceLifecycle::urlSummary(service),
              QStringLiteral("https://a.example/+https://b.example/"));
    service->setValue(QStringLiteral("urlAlternate"), QVariant());
    service->setValue(QStringLiteral("title"), QStringLiteral("Work"));
    EXPECT_EQ(RemoteServiceLifecycle::urlSummary(service),
              QStringLiteral("(Work) https://a.example/"));
}

TEST_F(ServiceLifecycleTest, DeletingAServiceWithdrawsItsCalendarsAndRemovesTheirFiles) {
    ModelObject *account =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("ACCOUNT"));
    account->setValue(QStringLiteral("url"), QStringLiteral("https://dav.example/"));
    ModelObject *other =
        makeService(QStringLiteral("Exchange Synchronization"), QStringLiteral("OTHER"));
    CommonDataMO *shared = makeCalendar(QStringLiteral("SHARED"), account);
    CommonDataMO *quiet = makeCalendar(QStringLiteral("QUIET"), account);
    CommonDataMO *local = makeCalendar(QStringLiteral("LOCAL"));
    CommonDataMO *item = makeItem(shared, QStringLiteral("ITEM"));
    CommonDataMO *kept = makeItem(local, QStringLiteral("KEPT"));
    const QString itemFile = attachFileOnDisk(item, QStringLiteral("notes.txt"));
    const QString calendarFile = attachFileOnDisk(quiet, QStringLiteral("icon.png"));
    const QString keptFile = attachFileOnDisk(kept, QStringLiteral("kept.txt"));
    CalendarPublishing::setIsPublished(*shared, true, publisher(), false);
    shared->objectInfo()->addObject(QStringLiteral("publishedTo"), other);
    context().save();
    m_serviceHooks.calls.clear();
    m_clock.advance(60);

    RemoteServiceLifecycle::deleteRemoteService(account);
    context().save();

    // The calendar published on the local network leaves a withdrawal.
    const QList<ManagedObject *> records = withdrawals();
    ASSERT_EQ(records.size(), 1);
    EXPECT_EQ(records[0]->valueForKey(QStringLiteral("uid")).toString(), QStringLiteral("SHARED"));
    EXPECT_EQ(records[0]->valueForKey(QStringLiteral("containerEntityName")).toString(),
              QStringLiteral("SyncableCalendar"));
    EXPECT_EQ(records[0]->valueForKey(QStringLiteral("lastModTime")).value<Date>(),
              Date(kStart + 60));
    EXPECT_EQ(records[0]->objectForKey(QStringLiteral("publisher")), publisher());
    EXPECT_TRUE(m_serviceHooks.calls.contains(
        QStringLiteral("tickle PUB %1 container").arg(kStart + 60, 0, 'f', 0)));
    // The other target syncs; the task hears before the delegate does.
    EXPECT_EQ(callsOf(QStringLiteral("sync")), QStringList{QStringLiteral("sync OTHER")});
    EXPECT_EQ(callsOf(QStringLiteral("willDelete")),
              QStringList{QStringLiteral("willDelete ACCOUNT")});
    EXPECT_EQ(m_delegate.calls, QStringList{QStringLiteral("deleted ACCOUNT")});
    EXPECT_TRUE(m_log.contains(QStringLiteral("deleteRemoteService https://dav.example/")));

    // Calendars, items and files are gone; the local calendar keeps its own.
    EXPECT_FALSE(QFileInfo::exists(itemFile));
    EXPECT_FALSE(QFileInfo::exists(calendarFile));
    EXPECT_TRUE(QFileInfo::exists(keptFile));
    EXPECT_TRUE(isGone(QStringLiteral("RemoteService"), QStringLiteral("ACCOUNT")));
    for (const char *uid : {"SHARED", "QUIET", "ITEM"})
        EXPECT_TRUE(isGone(QStringLiteral("SyncableObject"), QLatin1String(uid))) << uid;
    EXPECT_FALSE(isGone(QStringLiteral("SyncableObject"), QStringLiteral("KEPT")));
    EXPECT_FALSE(isGone(QStringLiteral("RemoteService"), QStringLiteral("OTHER")));
}

TEST_F(ServiceLifecycleTest, ServicesFoundThroughAnAccountGoFirstAndParentsSync) {
    std::shared_ptr<FakeCalDAVEngine> caldav = m_engines.registerCalDAV();
    m_engines.registry.registerEngine(QStringLiteral("WebDAV Subscribe Synchronization"),
                                      std::make_shared<FakeSubscriptionEngine>());
    ModelObject *account =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("ACCOUNT"));
    ModelObject *feed =
        makeService(QStringLiteral("WebDAV Subscribe Synchronization"), QStringLiteral("FEED"));
    feed->setValue(QStringLiteral("urlAlternate"), QStringLiteral("ACCOUNT"));
    makeCalendar(QStringLiteral("HOLIDAYS"), feed);
    caldav->children = {feed};
    context().save();

    // Removing the subscription alone asks its account to sync.
    m_serviceHooks.calls.clear();
    RemoteServiceLifecycle::deleteRemoteService(feed);
    EXPECT_EQ(callsOf(QStringLiteral("sync")), QStringList{QStringLiteral("sync ACCOUNT")});
    context().save();
    EXPECT_TRUE(isGone(QStringLiteral("SyncableObject"), QStringLiteral("HOLIDAYS")));

    // Removing the account removes what was found through it, after the
    // delegate heard of the account.
    ModelObject *second =
        makeService(QStringLiteral("WebDAV Subscribe Synchronization"), QStringLiteral("SECOND"));
    second->setValue(QStringLiteral("urlAlternate"), QStringLiteral("ACCOUNT"));
    caldav->children = {second};
    m_delegate.calls.clear();
    m_serviceHooks.calls.clear();
    RemoteServiceLifecycle::deleteRemoteService(account);
    EXPECT_EQ(m_delegate.calls,
              (QStringList{QStringLiteral("deleted ACCOUNT"), QStringLiteral("deleted SECOND")}));
    EXPECT_EQ(
        callsOf(QStringLiteral("willDelete")),
        (QStringList{QStringLiteral("willDelete ACCOUNT"), QStringLiteral("willDelete SECOND")}));
    context().save();
    EXPECT_TRUE(isGone(QStringLiteral("RemoteService"), QStringLiteral("SECOND")));
    EXPECT_TRUE(isGone(QStringLiteral("RemoteService"), QStringLiteral("ACCOUNT")));
}

TEST_F(ServiceLifecycleTest, UnpublishingToServicesWithdrawsThenDeletesThem) {
    ModelObject *target =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("TARGET"), true);
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    CalendarPublishing::setIsPublished(*calendar, true, target, false);
    context().save();
    m_serviceHooks.calls.clear();

    m_controller.unpublishToServices({target});
    // Withdrawn at once, through the publishing rules: the target hears of it.
    EXPECT_TRUE(calendar->objectInfo()->objectsForKey(QStringLiteral("publishedTo")).isEmpty());
    EXPECT_TRUE(m_serviceHooks.calls.contains(QStringLiteral("pending TARGET")));
    EXPECT_TRUE(m_delegate.calls.isEmpty());
    // Deleted once no task runs a reset sync, a tenth of a second later.
    m_clock.advance(0.1);
    EXPECT_EQ(m_delegate.calls, QStringList{QStringLiteral("deleted TARGET")});
    context().save();
    EXPECT_TRUE(isGone(QStringLiteral("RemoteService"), QStringLiteral("TARGET")));
    EXPECT_FALSE(isGone(QStringLiteral("SyncableObject"), QStringLiteral("CAL")));
}

}  // namespace
