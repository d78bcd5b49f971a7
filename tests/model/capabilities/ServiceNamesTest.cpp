#include "model/ServiceNames.h"

#include <QLocale>

#include "model/capabilities/FakeEngines.h"
#include "model/objects/ModelFixture.h"

namespace {

class ServiceNamesTest : public ModelTest {
protected:
    ModelObject *service(const char *kind) {
        return makeService(QString::fromLatin1(kind), QStringLiteral("S%1").arg(++m_count));
    }

    ScopedEngineRegistry m_engines;
    int m_count = 0;
};

TEST_F(ServiceNamesTest, OnlyAddressedPeersAndNoBirthdaysCountAsAddedByHand) {
    ModelObject *peer = service("Bonjour Subscribe Synchronization");
    EXPECT_FALSE(ServiceNames::serviceWasAddedManually(peer));
    peer->setValue(QStringLiteral("urlAlternate"), QStringLiteral("Office/10.0.0.5:4990"));
    EXPECT_TRUE(ServiceNames::serviceWasAddedManually(peer));
    EXPECT_FALSE(
        ServiceNames::serviceWasAddedManually(service("AddressBook Birthday Synchronization")));
    EXPECT_TRUE(ServiceNames::serviceWasAddedManually(service("CalDAV Synchronization")));
    EXPECT_TRUE(ServiceNames::serviceWasAddedManually(service("WebDAV Subscribe Synchronization")));
}

TEST_F(ServiceNamesTest, AccountsAreNamedByTitleProviderOrKind) {
    ModelObject *caldav = service("CalDAV Synchronization");
    EXPECT_EQ(ServiceNames::nameForService(caldav), QStringLiteral("CalDAV"));
    caldav->setMaskedStringValue(QStringLiteral("jane"), QStringLiteral("login"));
    EXPECT_EQ(ServiceNames::nameForService(caldav), QStringLiteral("jane"));
    auto engine = m_engines.registerCalDAV();
    EXPECT_EQ(ServiceNames::nameForService(caldav), QStringLiteral("jane"));
    engine->type = CalDAVEngine::ServerType::Yahoo;
    EXPECT_EQ(ServiceNames::nameForService(caldav), QStringLiteral("Yahoo!"));
    caldav->setValue(QStringLiteral("title"), QStringLiteral("Family"));
    EXPECT_EQ(ServiceNames::nameForService(caldav), QStringLiteral("Family"));

    ModelObject *exchange = service("Exchange Synchronization");
    EXPECT_EQ(ServiceNames::nameForService(exchange), QStringLiteral("Exchange"));
    m_engines.registerExchange()->type = ExchangeEngine::ServerType::Office365;
    EXPECT_EQ(ServiceNames::nameForService(exchange), QStringLiteral("Office 365"));

    ModelObject *peer = service("Bonjour Subscribe Synchronization");
    peer->setValue(QStringLiteral("url"), QStringLiteral("local.:Office"));
    EXPECT_EQ(ServiceNames::nameForService(peer), QStringLiteral("Office"));
    peer->setValue(QStringLiteral("urlAlternate"), QStringLiteral("Office/10.0.0.5:4990"));
    EXPECT_EQ(ServiceNames::nameForService(peer), QStringLiteral("Office/10.0.0.5"));

    EXPECT_EQ(ServiceNames::nameForService(service("WebDAV Subscribe Synchronization")),
              QStringLiteral("WebDAV"));
    EXPECT_EQ(ServiceNames::nameForService(service("AddressBook Birthday Synchronization")),
              QStringLiteral("Contacts"));
    EXPECT_EQ(ServiceNames::nameForService(service("Weather Synchronization")),
              QStringLiteral("<Weather Synchronization>"));
    auto *publisher =
        ModelObject::as<ModelObject>(context().insertNewObject(QStringLiteral("BonjourPublisher")));
    publisher->setValue(QStringLiteral("title"), QStringLiteral("Shared"));
    EXPECT_EQ(ServiceNames::nameForService(publisher), QStringLiteral("LAN"));
}

TEST_F(ServiceNamesTest, LastSyncIsRelativeOrNever) {
    ModelObject *web = service("WebDAV Subscribe Synchronization");
    ModelObject *caldav = service("CalDAV Synchronization");
    EXPECT_EQ(ServiceNames::lastSyncString(web), QStringLiteral("Last updated: never"));
    EXPECT_EQ(ServiceNames::lastSyncString(caldav), QStringLiteral("Last synced: never"));

    const Date now = m_clock.now();
    const QTime time = now.toDateTime().toLocalTime().time();
    const QString shortTime = QLocale().toString(time, QLocale::ShortFormat).toLower();
    caldav->setDateValue(now, QStringLiteral("lastSyncTime"));
    EXPECT_EQ(ServiceNames::lastSyncString(caldav),
              QStringLiteral("Last synced: today ") + shortTime);
    caldav->setDateValue(now.addingSeconds(-86400), QStringLiteral("lastSyncTime"));
    EXPECT_TRUE(
        ServiceNames::lastSyncString(caldav).startsWith(QStringLiteral("Last synced: yesterday ")));
    caldav->setDateValue(now.addingSeconds(-86400000 + 1), QStringLiteral("lastSyncTime"));
    EXPECT_NE(ServiceNames::lastSyncString(caldav), QStringLiteral("Last synced: never"));
    caldav->setDateValue(now.addingSeconds(-86400000 - 1), QStringLiteral("lastSyncTime"));
    EXPECT_EQ(ServiceNames::lastSyncString(caldav), QStringLiteral("Last synced: never"));
}

}  // namespace
