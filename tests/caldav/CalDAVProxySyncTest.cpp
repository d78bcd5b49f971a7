#include <gtest/gtest.h>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/CalDAVServiceInfo.h"
#include "caldav/support/FaultProxy.h"
#include "caldav/support/SyncTestSuite.h"
#include "model/CalendarAccess.h"
#include "model/ConflictBin.h"
#include "model/Queries.h"

// Delegation on real DAViCal: the user "test2" makes the account's user
// "test" a write or read proxy (a PROPPATCH of the group-member-set of
// test2's proxy groups, as test2's own client would), and the account then
// syncs test2's calendars beside its own: each in the group of its owner,
// with the owner's principal as proxy ID, writable only for a write proxy.
// What the owner holds is read back with plain HTTP requests as test2.
namespace {

constexpr char kOwner[] = "test2";
constexpr char kOwnerPrincipal[] = "/caldav.php/test2/";

class CalDAVProxySyncTest : public SyncTestSuite<DAViCalServer> {
protected:
    void SetUp() override {
        SyncTestSuite::SetUp();
        setProxies({}, {});
    }

    // The members of test2's proxy groups (principal paths), replacing the
    // previous ones.
    void setProxies(const QStringList &writers, const QStringList &readers) {
        for (const auto &[group, members] : {std::pair{"calendar-proxy-write", writers},
                                             std::pair{"calendar-proxy-read", readers}}) {
            QByteArray hrefs;
            for (const QString &member : members)
                hrefs += "<D:href>" + member.toUtf8() + "</D:href>";
            const QByteArray body =
                "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:propertyupdate xmlns:D=\"DAV:\">"
                "<D:set><D:prop><D:group-member-set>" +
                hrefs + "</D:group-member-set></D:prop></D:set></D:propertyupdate>";
            ASSERT_EQ(
                sendBlocking("PROPPATCH", server->url(QLatin1String(kOwnerPrincipal) + group + '/'),
                             kOwner, kOwner, body),
                207);
        }
    }
    // A calendar of test2 with one event (uid "<name>-1"); its URL.
    QString makeOwnerCalendar(const QString &name, const QString &title) {
        const QString url = server->url(QLatin1String(kOwnerPrincipal) + name + '/');
        const QByteArray body =
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
            "<C:mkcalendar xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">"
            "<D:set><D:prop><D:displayname>" +
            title.toUtf8() + "</D:displayname></D:prop></D:set></C:mkcalendar>";
        EXPECT_EQ(sendBlocking("MKCALENDAR", url, kOwner, kOwner, body), 201);
        EXPECT_EQ(sendBlocking("PUT", url + name + "-1.ics", kOwner, kOwner,
                               vcalendar(vevent(name.toUtf8() + "-1", "Planned by the owner",
                                                "DTSTART:20261215T090000Z\r\n"
                                                "DTEND:20261215T100000Z\r\n")),
                               20000, "text/calendar; charset=utf-8"),
                  201);
        return url;
    }
    QByteArray ownerText(const QString &url) {
        const BlockingAnswer answer = fetchBlocking("GET", url, kOwner, kOwner, {});
        return answer.status == 200 ? answer.body : QByteArray();
    }
    const ModelObject *recordOf(CommonDataMO *calendar) {
        return CalDAVRemoteObjects::recordOf(calendar->objectInfo(), service());
    }
    // The title of the calendar's group, or "<none>".
    static QString groupTitleOf(CommonDataMO *calendar) {
        const auto *group =
            ModelObject::as<CommonDataMO>(calendar->objectForKey(QStringLiteral("parentGroup")));
        return group ? group->effectiveTitle().value_or(QString()) : QStringLiteral("<none>");
    }
    // The account's own calendar "/caldav.php/test/calendar/", or nullptr.
    CommonDataMO *ownCalendar() {
        for (ManagedObject *object : service()->objectsForKey("ownedContainers")) {
            auto *syncable = ModelObject::as<SyncableObjectMO>(object);
            const ModelObject *record =
                syncable ? CalDAVRemoteObjects::recordOf(syncable, service()) : nullptr;
            if (record && record->valueForKey("remoteID") == "/caldav.php/test/calendar/")
                return syncable->objectData();
        }
        return nullptr;
    }
    QVariantList proxiesInSyncData() {
        return fixture.syncData(service()).value("proxies").toList();
    }
    // The account reaches the server through a proxy that fails chosen
    // requests, when a test made one.
    QString serviceAddress() const override {
        return faults ? faults->url(QLatin1String(SyncAccount<DAViCalServer>::principal))
                      : SyncTestSuite::serviceAddress();
    }
    std::unique_ptr<FaultProxy> faults;
};

TEST_F(CalDAVProxySyncTest, AWriteProxySyncsTheOwnersCalendarBothWays) {
    const QString url = makeOwnerCalendar("boss-write", "Boss Write");
    setProxies({"/caldav.php/test/"}, {});
    sync();

    // The owner's calendar, in the owner's group, writable, with its event.
    CommonDataMO *boss = calendarTitled("Boss Write");
    ASSERT_NE(boss, nullptr);
    ASSERT_NE(recordOf(boss), nullptr);
    EXPECT_EQ(CalDAVRemoteObjects::proxyIDForRemoteObject(recordOf(boss)), kOwnerPrincipal);
    EXPECT_EQ(recordOf(boss)->integerValueForKey("remoteAccess"), CalendarAccess::kFullAccess);
    EXPECT_EQ(groupTitleOf(boss), "test2 user");
    EXPECT_EQ(itemUIDs(boss), QStringList{"boss-write-1"});
    const QVariantList proxies = proxiesInSyncData();
    ASSERT_EQ(proxies.size(), 1);
    const QVariantMap proxy = proxies.first().toMap();
    EXPECT_EQ(proxy.value("principal-URL"), kOwnerPrincipal);
    EXPECT_EQ(proxy.value("displayname"), "test2 user");
    EXPECT_EQ(proxy.value("read-only"), false);
    EXPECT_EQ(proxy.value("urn:ietf:params:xml:ns:caldav calendar-user-address-set").toStringList(),
              QStringList({"mailto:test2@example.com", kOwnerPrincipal}));
    EXPECT_TRUE(proxy.value("collections").toList().size() >= 2);  // "calendar", "boss-write"
    // The account's own calendars are its own: no group, no proxy ID.
    CommonDataMO *own = ownCalendar();
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(groupTitleOf(own), "<none>");
    EXPECT_EQ(CalDAVRemoteObjects::proxyIDForRemoteObject(recordOf(own)), "");

    // An edit and a new item made here reach the owner's calendar.
    item(boss, "boss-write-1")->setStringValue("Moved by the assistant", "title");
    const QString madeUID = makeLocalItem(boss, "Booked by the assistant")->uid();
    const CalDAVAccountCheck::Outcome pushed = sync();
    EXPECT_EQ(pushed.counts.pushed, 2);
    EXPECT_EQ(pushed.counts.conflicts, 0);
    EXPECT_TRUE(ownerText(url + "boss-write-1.ics").contains("SUMMARY:Moved by the assistant"));
    EXPECT_TRUE(ownerText(url + madeUID + ".ics").contains("SUMMARY:Booked by the assistant"));

    // The owner's change comes back; a local deletion of the calendar is not
    // sent (a proxy does not delete its owner's calendars) and the calendar
    // comes back with its items.
    EXPECT_EQ(sendBlocking("PUT", url + "boss-write-2.ics", kOwner, kOwner,
                           vcalendar(vevent("boss-write-2", "Added by the owner",
                                            "DTSTART:20261216T090000Z\r\n")),
                           20000, "text/calendar; charset=utf-8"),
              201);
    const CalDAVAccountCheck::Outcome pulled = sync();
    EXPECT_EQ(pulled.counts.pulled, 1);
    EXPECT_EQ(pulled.counts.pushed, 0);
    EXPECT_EQ(itemUIDs(boss), sortedNames({"boss-write-1", "boss-write-2", madeUID}));
    CommonDataMO::deleteObject(boss);
    sync();
    EXPECT_TRUE(
        fixture.log.contains("ignoring delete to proxy calendar /caldav.php/test2/boss-write/"));
    EXPECT_EQ(sendBlocking("PROPFIND", url, kOwner, kOwner), 207);
    sync();
    boss = calendarTitled("Boss Write");
    ASSERT_NE(boss, nullptr);
    EXPECT_EQ(itemUIDs(boss), sortedNames({"boss-write-1", "boss-write-2", madeUID}));
}

TEST_F(CalDAVProxySyncTest, AReadProxyKeepsWhatTheOwnerHas) {
    const QString url = makeOwnerCalendar("boss-read", "Boss Read");
    EXPECT_EQ(sendBlocking(
                  "PUT", url + "boss-read-2.ics", kOwner, kOwner,
                  vcalendar(vevent("boss-read-2", "Doomed here", "DTSTART:20261216T090000Z\r\n")),
                  20000, "text/calendar; charset=utf-8"),
              201);
    setProxies({}, {"/caldav.php/test/"});
    sync();
    CommonDataMO *boss = calendarTitled("Boss Read");
    ASSERT_NE(boss, nullptr);
    EXPECT_EQ(recordOf(boss)->integerValueForKey("remoteAccess"), CalendarAccess::kReadOnly);
    EXPECT_EQ(CalDAVRemoteObjects::proxyIDForRemoteObject(recordOf(boss)), kOwnerPrincipal);
    EXPECT_EQ(groupTitleOf(boss), "test2 user");
    EXPECT_EQ(proxiesInSyncData().value(0).toMap().value("read-only"), true);
    EXPECT_EQ(itemUIDs(boss), sortedNames({"boss-read-1", "boss-read-2"}));

    // Nothing made, edited or deleted here is sent: the edit and the new item
    // are kept in the conflict bin, and the calendar shows the owner's items
    // as the server has them.
    item(boss, "boss-read-1")->setStringValue("Edited here", "title");
    CommonDataMO::deleteObject(item(boss, "boss-read-2"));
    const QString madeUID = makeLocalItem(boss, "Made here")->uid();
    const CalDAVAccountCheck::Outcome refused = sync();
    EXPECT_EQ(refused.counts.pushed, 0);
    EXPECT_EQ(refused.counts.conflicts, 2);
    EXPECT_TRUE(
        fixture.log.contains("ignoring change to event (boss-read-1) in read-only proxy "
                             "calendar /caldav.php/test2/boss-read/"));
    EXPECT_FALSE(fixture.log.contains("CalDAV: push"));
    EXPECT_EQ(itemUIDs(boss), sortedNames({"boss-read-1", "boss-read-2"}));
    EXPECT_EQ(item(boss, "boss-read-1")->effectiveTitle(), "Planned by the owner");
    CommonDataMO *bin = ConflictBin::conflictCalendar(boss->managedObjectContext());
    ASSERT_NE(bin, nullptr);
    QStringList binTitles;
    for (ManagedObject *child : bin->objectsForKey("childrenDirect"))
        binTitles.append(ModelObject::as<CommonDataMO>(child)->effectiveTitle().value_or(""));
    EXPECT_EQ(sortedNames(binTitles), sortedNames({"Edited here", "Made here"}));
    EXPECT_TRUE(ownerText(url + "boss-read-1.ics").contains("SUMMARY:Planned by the owner"));
    EXPECT_TRUE(ownerText(url + "boss-read-2.ics").contains("SUMMARY:Doomed here"));
    EXPECT_TRUE(ownerText(url + madeUID + ".ics").isEmpty());
    expectQuietCycle();

    // A new title given here stays here.
    boss->setStringValue("Renamed here", "title");
    expectQuietCycle();
    EXPECT_TRUE(
        fixture.log.contains("ignoring changes to proxy calendar /caldav.php/test2/boss-read/"));
    EXPECT_EQ(boss->effectiveTitle(), "Renamed here");
    expectQuietCycle();
}

TEST_F(CalDAVProxySyncTest, RevokingTheProxyTakesTheOwnersCalendarsAway) {
    makeOwnerCalendar("boss-gone", "Boss Gone");
    setProxies({"/caldav.php/test/"}, {});
    sync();
    ASSERT_NE(calendarTitled("Boss Gone"), nullptr);
    ASSERT_NE(ownCalendar(), nullptr);
    makeLocalItem(ownCalendar(), "Mine");
    sync();
    const QStringList ownItems = itemUIDs(ownCalendar());
    ASSERT_EQ(ownItems.size(), 1);

    setProxies({}, {});
    sync();
    EXPECT_EQ(calendarTitled("Boss Gone"), nullptr);
    EXPECT_TRUE(fixture.log.contains("CalDAV: garbage collecting calendar Boss Gone"));
    EXPECT_TRUE(proxiesInSyncData().isEmpty());
    EXPECT_TRUE(Queries::groupsFromService(service()).isEmpty());
    ASSERT_NE(ownCalendar(), nullptr);
    EXPECT_EQ(itemUIDs(ownCalendar()), ownItems);
    expectQuietCycle();
}

// A server whose principal does not offer the expand-property report names
// the owners through the proxy groups the account belongs to, and each
// owner's principal is read on its own. Other groups, and a proxy group of
// the account itself, name no owner.
TEST_F(CalDAVProxySyncTest, TheGroupMembershipRouteFindsTheSameProxies) {
    makeOwnerCalendar("boss-groups", "Boss Groups");
    setProxies({}, {"/caldav.php/test/"});
    CalDAVAccountCheck::CycleRunner runner(service());
    ASSERT_EQ(runner.runCycle(60).state, SyncState::Idle);
    QVariantMap syncData = CalDAVServiceInfo::syncDataForService(service());
    EXPECT_TRUE(syncData.value("group-membership")
                    .toStringList()
                    .contains("/caldav.php/test2/calendar-proxy-read/"));
    QStringList reports = syncData.value("supported-report-set").toStringList();
    reports.removeAll("expand-property");
    syncData.insert("supported-report-set", reports);
    syncData.insert("group-membership",
                    syncData.value("group-membership").toStringList() +
                        QStringList{"/caldav.php/test/calendar-proxy-write/", "/caldav.php/team/"});
    CalDAVServiceInfo::setArchivedSyncData(syncData, service());
    fixture.log.clear();

    const CalDAVAccountCheck::Outcome outcome = runner.runCycle(60);
    EXPECT_EQ(outcome.state, SyncState::Idle);
    EXPECT_TRUE(fixture.log.contains("CalDAV: connecting to " + server->url(kOwnerPrincipal)));
    EXPECT_TRUE(fixture.log.contains("ignoring bogus proxy-to-self"));
    EXPECT_FALSE(fixture.log.contains("garbage collecting"));
    EXPECT_EQ(proxiesInSyncData().size(), 1);
    CommonDataMO *boss = calendarTitled("Boss Groups");
    ASSERT_NE(boss, nullptr);
    EXPECT_EQ(recordOf(boss)->integerValueForKey("remoteAccess"), CalendarAccess::kReadOnly);
    const QVariantMap proxy = proxiesInSyncData().value(0).toMap();
    EXPECT_EQ(proxy.value("principal-URL"), kOwnerPrincipal);
    EXPECT_EQ(proxy.value("displayname"), "test2 user");
    EXPECT_EQ(proxy.value("read-only"), true);
}

// The owner's group follows the owner's name.
TEST_F(CalDAVProxySyncTest, TheOwnersGroupTakesTheOwnersNewName) {
    makeOwnerCalendar("boss-renamed", "Boss Renamed");
    setProxies({}, {"/caldav.php/test/"});
    sync();
    ASSERT_NE(calendarTitled("Boss Renamed"), nullptr);
    EXPECT_EQ(groupTitleOf(calendarTitled("Boss Renamed")), "test2 user");
    const auto renameOwner = [this](const QByteArray &name) {
        return sendBlocking("PROPPATCH", server->url(kOwnerPrincipal), kOwner, kOwner,
                            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:propertyupdate "
                            "xmlns:D=\"DAV:\"><D:set><D:prop><D:displayname>" +
                                name + "</D:displayname></D:prop></D:set></D:propertyupdate>");
    };
    ASSERT_EQ(renameOwner("The Boss"), 207);
    sync();
    EXPECT_EQ(renameOwner("test2 user"), 207);
    ASSERT_NE(calendarTitled("Boss Renamed"), nullptr);
    EXPECT_EQ(groupTitleOf(calendarTitled("Boss Renamed")), "The Boss");
    EXPECT_EQ(Queries::groupsFromService(service()).size(), 1);
}

// The proxies or a proxy's home not readable for a time: nothing of the
// owner's is deleted here meanwhile.
TEST_F(CalDAVProxySyncTest, AnOwnerNotReadableForATimeKeepsTheirCalendars) {
    faults = std::make_unique<FaultProxy>(server->port());
    ASSERT_EQ(faults->listen(), QString());
    makeOwnerCalendar("boss-faults", "Boss Faults");
    setProxies({"/caldav.php/test/"}, {});
    CalDAVAccountCheck::CycleRunner runner(service());
    ASSERT_EQ(runner.runCycle(60).state, SyncState::Idle);
    ASSERT_NE(calendarTitled("Boss Faults"), nullptr);

    // The proxies are refused: the last ones are listed again.
    FaultProxy::Rule report;
    report.method = "REPORT";
    report.bodyContains = "expand-property";
    report.status = 403;
    faults->addRule(report);
    EXPECT_EQ(runner.runCycle(60).state, SyncState::Idle);
    EXPECT_EQ(faults->faultsApplied("REPORT"), 1);
    EXPECT_TRUE(fixture.log.contains("proxies not readable (HTTP 403); keeping the last ones"));
    EXPECT_EQ(proxiesInSyncData().size(), 1);
    ASSERT_NE(calendarTitled("Boss Faults"), nullptr);
    EXPECT_EQ(itemUIDs(calendarTitled("Boss Faults")), QStringList{"boss-faults-1"});

    // The owner's home (listed after the account's own) is not found, then
    // the account's own: each time the cycle ends, to be tried again, and
    // the calendars stay.
    for (const auto &[homesBefore, logText] :
         {std::pair{1, "suspicious response for shared calendar; retrying"},
          std::pair{0, "): suspicious response; retrying"}}) {
        faults->clearRules();
        FaultProxy::Rule home;
        home.method = "PROPFIND";
        home.bodyContains = "getctag";
        home.skip = homesBefore;
        home.status = 404;
        faults->addRule(home);
        fixture.log.clear();
        EXPECT_EQ(runner.runCycle(60).state, SyncState::UnableToConnect);
        EXPECT_TRUE(fixture.log.contains(logText)) << logText;
        EXPECT_FALSE(fixture.log.contains("garbage collecting"));
    }
    EXPECT_EQ(faults->faultsApplied("PROPFIND"), 2);
    faults->clearRules();
    EXPECT_EQ(runner.runCycle(60).state, SyncState::Idle);
    ASSERT_NE(ownCalendar(), nullptr);
    ASSERT_NE(calendarTitled("Boss Faults"), nullptr);
    EXPECT_EQ(itemUIDs(calendarTitled("Boss Faults")), QStringList{"boss-faults-1"});
}

// With a proxy, a cycle without changes lists the account's homes, asks
// for the proxies and lists the proxy's homes: three requests.
TEST_F(CalDAVProxySyncTest, AQuietCycleWithAProxyListsItsHomesToo) {
    makeOwnerCalendar("boss-quiet", "Boss Quiet");
    setProxies({"/caldav.php/test/"}, {});
    CalDAVAccountCheck::CycleRunner runner(service());
    ASSERT_EQ(runner.runCycle(60).state, SyncState::Idle);
    for (int cycle = 0; cycle < 2; ++cycle) {
        const CalDAVAccountCheck::Outcome quiet = runner.runCycle(60);
        EXPECT_EQ(quiet.state, SyncState::Idle);
        EXPECT_EQ(quiet.counts.pulled, 0);
        EXPECT_EQ(quiet.counts.requests, 3);
    }
}

}  // namespace
