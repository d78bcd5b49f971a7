#include <gtest/gtest.h>

#include <QCoreApplication>

#include "model/CalendarPublishing.h"
#include "model/CalendarSubscription.h"
#include "model/capabilities/FakeEngines.h"
#include "model/foundation/Preferences.h"
#include "model/operations/ServiceFixture.h"

namespace {

class CalendarSubscriptionTest : public ServiceTest {
protected:
    CalendarSubscriptionTest() { Preferences::shared().setBool(QStringLiteral("offline"), false); }
    ~CalendarSubscriptionTest() override {
        Preferences::shared().setBool(QStringLiteral("offline"), false);
    }

    // A service that republishes every calendar the user subscribes to.
    ModelObject *republisher(const QString &uid) {
        ModelObject *service = makeService(QStringLiteral("CalDAV Synchronization"), uid);
        service->setBoolValue(true, QStringLiteral("autoPublishContainers"));
        return service;
    }
    // A calendar titled `title` of the service "OWNER", and the service
    // "MIRROR" that republishes subscribed calendars.
    CommonDataMO *ownedCalendar(const QString &title) {
        m_owner = makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("OWNER"));
        m_mirror = republisher(QStringLiteral("MIRROR"));
        CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"), m_owner);
        calendar->setStringValue(title, QStringLiteral("title"));
        return calendar;
    }
    qint64 subscription(const CommonDataMO *calendar) const {
        return calendar->integerValueForKey(QStringLiteral("localSubscription"));
    }

    ScopedEngineRegistry m_engines;
    LogCapture m_log;
    ModelObject *m_owner = nullptr;
    ModelObject *m_mirror = nullptr;
};

TEST_F(CalendarSubscriptionTest, SubscribingRepublishesAndAsksTheOwnerToSync) {
    CommonDataMO *calendar = ownedCalendar(QStringLiteral("Team"));
    EXPECT_FALSE(CalendarSubscription::subscribedTo(*calendar));
    EXPECT_TRUE(CalendarSubscription::subscribedTo(*makeCalendar(QStringLiteral("MINE"))));

    CalendarSubscription::setSubscribedTo(*calendar, true);
    EXPECT_EQ(subscription(calendar), 1);
    EXPECT_TRUE(CalendarSubscription::subscribedTo(*calendar));
    EXPECT_TRUE(m_log.contains(QStringLiteral("Subscribe to Team")));
    // Just subscribed: a subscribed calendar may go to the republishing service.
    EXPECT_TRUE(CalendarPublishing::isPublishedToService(*calendar, m_mirror));
    EXPECT_EQ(callsOf(QStringLiteral("sync")), QStringList{QStringLiteral("sync OWNER")});

    // The same state again changes nothing.
    m_serviceHooks.calls.clear();
    m_log.clear();
    CalendarSubscription::setSubscribedTo(*calendar, true);
    EXPECT_TRUE(m_serviceHooks.calls.isEmpty());
    EXPECT_FALSE(m_log.contains(QStringLiteral("Subscribe to")));

    // Offline, the owner is left alone.
    CalendarSubscription::setSubscribedTo(*calendar, false);
    Preferences::shared().setBool(QStringLiteral("offline"), true);
    m_serviceHooks.calls.clear();
    CalendarSubscription::setSubscribedTo(*calendar, true);
    EXPECT_EQ(subscription(calendar), 1);
    EXPECT_TRUE(callsOf(QStringLiteral("sync")).isEmpty());
}

TEST_F(CalendarSubscriptionTest, UnsubscribingPurgesItemsAndFilesButKeepsTheCalendar) {
    CommonDataMO *calendar = ownedCalendar(QStringLiteral("Server"));
    CalendarSubscription::setSubscribedTo(*calendar, true);
    CommonDataMO *item = makeItem(calendar, QStringLiteral("ITEM"));
    const QString itemFile = attachFileOnDisk(item, QStringLiteral("agenda.pdf"));
    calendar->setMaskedStringValue(QStringLiteral("secret"),
                                   QStringLiteral("localSubscribePassword"));
    calendar->setBoolValue(true, QStringLiteral("localHidden"));
    calendar->setStringValue(QStringLiteral("Mine"), QStringLiteral("localTitle"));
    context().save();
    m_clock.advance(20);

    CalendarSubscription::setSubscribedTo(*calendar, false);
    EXPECT_EQ(subscription(calendar), 0);
    EXPECT_TRUE(m_log.contains(QStringLiteral("Unsubscribe from Mine")));
    EXPECT_FALSE(CalendarPublishing::isPublishedToService(*calendar, m_mirror));
    EXPECT_FALSE(QFileInfo::exists(itemFile));
    EXPECT_FALSE(calendar->unmaskedStringValueForKey(QStringLiteral("localSubscribePassword")));
    EXPECT_FALSE(calendar->boolValueForKey(QStringLiteral("localHidden")));
    EXPECT_EQ(calendar->effectiveTitle(), QStringLiteral("Server"));
    EXPECT_EQ(calendar->objectInfo()->dateValueForKey(QStringLiteral("localReceivedTime")),
              Date(kStart + 20));
    EXPECT_TRUE(callsOf(QStringLiteral("refresh")).isEmpty());
    context().save();
    EXPECT_EQ(fetchByUID(QStringLiteral("SyncableObject"), QStringLiteral("ITEM")), nullptr);
    EXPECT_NE(fetchByUID(QStringLiteral("SyncableObject"), QStringLiteral("CAL")), nullptr);

    // A calendar of a peer on the network has the peer's list refreshed.
    ModelObject *peer =
        makeService(QStringLiteral("Bonjour Subscribe Synchronization"), QStringLiteral("PEER"));
    CommonDataMO *shared = makeCalendar(QStringLiteral("SHARED"), peer);
    CalendarSubscription::setSubscribedTo(*shared, true);
    CalendarSubscription::setSubscribedTo(*shared, false);
    EXPECT_EQ(callsOf(QStringLiteral("refresh")), QStringList{QStringLiteral("refresh PEER")});
}

TEST_F(CalendarSubscriptionTest, SomeServicesKeepTheirCalendarsSubscribed) {
    std::shared_ptr<FakeExchangeEngine> exchange = m_engines.registerExchange();
    const auto unsubscribable = [&](const char *kind) {
        ModelObject *service = makeService(QLatin1String(kind), QLatin1String(kind));
        CommonDataMO *calendar = makeCalendar(QStringLiteral("C-") + QLatin1String(kind), service);
        calendar->setIntegerValue(1, QStringLiteral("localSubscription"));
        CalendarSubscription::setSubscribedTo(*calendar, false);
        return subscription(calendar) == 0;
    };
    EXPECT_FALSE(unsubscribable("WebDAV Subscribe Synchronization"));
    EXPECT_FALSE(unsubscribable("AddressBook Birthday Synchronization"));
    EXPECT_TRUE(unsubscribable("CalDAV Synchronization"));
    EXPECT_TRUE(unsubscribable("Exchange Synchronization"));
    exchange->containerType = ExchangeEngine::kAlwaysSubscribedContainerType;
    ModelObject *account =
        makeService(QStringLiteral("Exchange Synchronization"), QStringLiteral("X"));
    CommonDataMO *folder = makeCalendar(QStringLiteral("FOLDER"), account);
    EXPECT_FALSE(CalendarSubscription::serviceSupportsUnsubscribing(account, *folder));
    EXPECT_FALSE(CalendarSubscription::serviceSupportsUnsubscribing(nullptr, *folder));

    // Web subscriptions and birthdays are still subscribed to.
    ModelObject *feed =
        makeService(QStringLiteral("WebDAV Subscribe Synchronization"), QStringLiteral("FEED"));
    CommonDataMO *holidays = makeCalendar(QStringLiteral("HOLIDAYS"), feed);
    CalendarSubscription::setSubscribedTo(*holidays, true);
    EXPECT_EQ(subscription(holidays), 1);
}

TEST_F(CalendarSubscriptionTest, ACopySubscribedThroughAnotherServiceIsNotSubscribedTwice) {
    ModelObject *first = makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("A"));
    ModelObject *second =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("B"));
    CommonDataMO *original = makeCalendar(QStringLiteral("SAME"), first);
    CommonDataMO *copy = makeCalendar(QStringLiteral("SAME"), second);
    CalendarSubscription::setSubscribedTo(*original, true);
    context().save();
    CalendarSubscription::setSubscribedTo(*copy, true);
    EXPECT_EQ(subscription(copy), 0);
    // Once the first copy is dropped, the second may be taken.
    CalendarSubscription::setSubscribedTo(*original, false);
    context().save();
    CalendarSubscription::setSubscribedTo(*copy, true);
    EXPECT_EQ(subscription(copy), 1);
}

TEST_F(CalendarSubscriptionTest, CalendarsASyncCreatesAreSubscribedAfterTheCurrentEvent) {
    ModelObject *service =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("S"));
    service->setBoolValue(true, QStringLiteral("autoSubscribeContainers"));
    CommonDataMO *kept = nullptr;
    CommonDataMO *dropped = nullptr;
    whileSyncing(service, [&] {
        kept = CommonDataMO::makeObject(QStringLiteral("Calendar"), nullptr);
        dropped = CommonDataMO::makeObject(QStringLiteral("Calendar"), nullptr);
        kept->objectInfo()->setValue(QStringLiteral("uid"), QStringLiteral("KEPT"));
        dropped->objectInfo()->setValue(QStringLiteral("uid"), QStringLiteral("DROPPED"));
    });
    EXPECT_EQ(subscription(kept), 0);  // not during the sync's step
    CommonDataMO::deleteObject(dropped);
    QCoreApplication::processEvents();
    EXPECT_EQ(subscription(kept), 1);
    EXPECT_EQ(m_log.count(QStringLiteral("Subscribe to")), 1);  // not the deleted one

    // A service that does not subscribe by itself leaves new calendars alone.
    ModelObject *manual =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("M"));
    CommonDataMO *offered = nullptr;
    whileSyncing(manual,
                 [&] { offered = CommonDataMO::makeObject(QStringLiteral("Calendar"), nullptr); });
    QCoreApplication::processEvents();
    EXPECT_EQ(subscription(offered), 0);
}

TEST_F(CalendarSubscriptionTest, CalendarsTheUserCreatesGoToRepublishingServices) {
    ModelObject *mirror = republisher(QStringLiteral("MIRROR"));
    ModelObject *plain = makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("P"));
    CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    EXPECT_TRUE(CalendarPublishing::isPublishedToService(*calendar, mirror));
    EXPECT_FALSE(CalendarPublishing::isPublishedToService(*calendar, plain));
    // A calendar of a service is only republished once subscribed.
    ModelObject *owner = makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("O"));
    CommonDataMO *owned = CommonDataMO::makeContainer(QStringLiteral("Calendar"), owner);
    EXPECT_FALSE(CalendarPublishing::isPublishedToService(*owned, mirror));
    context().save();
}

}  // namespace
