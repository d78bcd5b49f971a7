#pragma once

#include <QRegularExpression>
#include <QTimeZone>
#include <QUrl>
#include <iostream>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/support/DAVServers.h"
#include "caldav/support/DiscoveryFixture.h"
#include "caldav/support/ServerTestSuite.h"
#include "model/CommonDataMO.h"
#include "model/ItemCodes.h"
#include "model/SyncableObjectMO.h"
#include "tasks/SyncState.h"
#include "time/CalendarDates.h"

// Syncing an account of a real server, whose calendars and items the test
// makes, changes and reads with plain HTTP requests (an independent client):
// the account of each server, iCalendar texts to seed, and the local
// calendars and items to look at.
template <typename Server>
struct SyncAccount;
template <>
struct SyncAccount<RadicaleServer> {
    static constexpr char login[] = "test", password[] = "test", principal[] = "/test/",
                          home[] = "/test/";
    // A token the server does not know is refused (403 valid-sync-token).
    static constexpr bool refusesUnknownToken = true;
};
template <>
struct SyncAccount<RadicaleRestrictedServer> : SyncAccount<RadicaleServer> {};
template <>
struct SyncAccount<XandikosServer> {
    static constexpr char login[] = "user", password[] = "anything", principal[] = "/user/",
                          home[] = "/user/calendars/";
    static constexpr bool refusesUnknownToken = true;  // with a 500
};
template <>
struct SyncAccount<DAViCalServer> {
    static constexpr char login[] = "test", password[] = "test", principal[] = "/caldav.php/test/",
                          home[] = "/caldav.php/test/";
    // An unknown token lists everything, as from the beginning.
    static constexpr bool refusesUnknownToken = false;
};

template <>
struct SyncAccount<CyrusServer> {
    static constexpr char login[] = "test", password[] = "test",
                          principal[] = "/dav/principals/user/test/",
                          home[] = "/dav/calendars/user/test/";
    static constexpr bool refusesUnknownToken = true;
};

inline QStringList sortedNames(QStringList names) {
    names.sort();
    return names;
}

inline QByteArray vcalendar(const QByteArray &components) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Sync test//EN\r\n" + components +
           "END:VCALENDAR\r\n";
}

inline QByteArray vevent(const QByteArray &uid, const QByteArray &summary, const QByteArray &dates,
                         const QByteArray &extra = {}) {
    return "BEGIN:VEVENT\r\nUID:" + uid + "\r\nDTSTAMP:20261101T000000Z\r\nSUMMARY:" + summary +
           "\r\n" + dates + extra + "END:VEVENT\r\n";
}

// The body of a MKCALENDAR of a calendar with that title.
inline QByteArray mkcalendarBody(const QString &title) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<C:mkcalendar xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\">"
           "<D:set><D:prop><D:displayname>" +
           title.toUtf8() + "</D:displayname></D:prop></D:set></C:mkcalendar>";
}

// The servers every sync behaviour is tried on.
using SyncServers = ::testing::Types<RadicaleServer, XandikosServer, DAViCalServer>;

template <typename Server>
class SyncTestSuite : public ServerTestSuite<Server> {
protected:
    using Known = SyncAccount<Server>;

    QString user() const { return QLatin1String(Known::login); }
    QString password() const { return QLatin1String(Known::password); }
    // A new calendar on the server, named after the test; its URL.
    QString makeServerCalendar(const QString &name, const QString &title) {
        const QString url = this->server->url(QLatin1String(Known::home) + name + '/');
        EXPECT_EQ(sendBlocking("MKCALENDAR", url, user(), password(), mkcalendarBody(title)), 201);
        return url;
    }
    void put(const QString &url, const QByteArray &text) {
        const int status = sendBlocking("PUT", url, user(), password(), text, 20000,
                                        "text/calendar; charset=utf-8");
        EXPECT_TRUE(status == 201 || status == 204) << url.toStdString() << " " << status;
    }
    void remove(const QString &url) {
        const int status = sendBlocking("DELETE", url, user(), password());
        EXPECT_TRUE(status == 200 || status == 204) << url.toStdString() << " " << status;
    }
    void rename(const QString &url, const QString &title) {
        const QByteArray body =
            "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
            "<D:propertyupdate xmlns:D=\"DAV:\"><D:set><D:prop><D:displayname>" +
            title.toUtf8() + "</D:displayname></D:prop></D:set></D:propertyupdate>";
        EXPECT_EQ(sendBlocking("PROPPATCH", url, user(), password(), body), 207);
    }

    // The text of a resource on the server, or empty when it has none.
    QByteArray serverText(const QString &url) {
        const BlockingAnswer answer = fetchBlocking("GET", url, user(), password(), {});
        return answer.status == 200 ? answer.body : QByteArray();
    }
    // The file names of the calendar's resources on the server, sorted; a
    // name twice shows up twice.
    QStringList serverResources(const QString &url) {
        const BlockingAnswer answer =
            fetchBlocking("PROPFIND", url, user(), password(), "1",
                          "<?xml version=\"1.0\"?><D:propfind xmlns:D=\"DAV:\"><D:prop><D:getetag/>"
                          "</D:prop></D:propfind>");
        EXPECT_EQ(answer.status, 207);
        QStringList names;
        static const QRegularExpression hrefPattern(
            QStringLiteral("<([A-Za-z0-9]+:)?href>([^<]*)<"));
        for (auto it = hrefPattern.globalMatch(QString::fromUtf8(answer.body)); it.hasNext();) {
            const QString path = QUrl(it.next().captured(2)).path();
            if (!path.endsWith('/'))
                names.append(QUrl::fromPercentEncoding(path.section('/', -1).toUtf8()));
        }
        names.sort();
        return names;
    }
    // A new item of the calendar, made by the user.
    static CommonDataMO *makeLocalItem(CommonDataMO *calendar, const QString &title) {
        CommonDataMO *item = CommonDataMO::makeObject("Event", calendar, nullptr);
        item->setStringValue(title, "title");
        item->setIntegerValue(ItemType::Event, "eventType");
        item->setCalendarDateValue(
            CalendarDates::dateWithYear(2026, 12, 9, 10, 0, 0, false, QTimeZone::utc()),
            "startTimeAndZone");
        item->setCalendarDateValue(
            CalendarDates::dateWithYear(2026, 12, 9, 11, 0, 0, false, QTimeZone::utc()),
            "endTimeAndZone");
        return item;
    }

    // Where the account's service finds the server.
    virtual QString serviceAddress() const {
        return this->server->url(QLatin1String(Known::principal));
    }
    ModelObject *service() {
        if (!m_service)
            m_service = fixture.makeService(serviceAddress(), user(), password());
        return m_service;
    }
    CalDAVAccountCheck::Outcome sync() {
        CalDAVAccountCheck::Outcome outcome = fixture.discover(service());
        EXPECT_EQ(outcome.state, SyncState::Idle) << outcome.error.value_or("").toStdString();
        return outcome;
    }
    // A cycle now sends, fetches, deletes and refuses nothing.
    void expectQuietCycle() {
        const CalDAVAccountCheck::Outcome quiet = sync();
        EXPECT_EQ(quiet.counts.pushed, 0);
        EXPECT_EQ(quiet.counts.pulled, 0);
        EXPECT_EQ(quiet.counts.deleted, 0);
        EXPECT_EQ(quiet.counts.conflicts, 0);
        EXPECT_EQ(quiet.counts.calendarsPushed, 0);
    }
    // The account's local calendar with that title, or nullptr.
    CommonDataMO *calendarTitled(const QString &title) {
        for (ManagedObject *object : service()->objectsForKey("ownedContainers")) {
            auto *syncable = ModelObject::as<SyncableObjectMO>(object);
            if (syncable && syncable->objectData() &&
                syncable->objectData()->effectiveTitle() == title)
                return syncable->objectData();
        }
        return nullptr;
    }
    // The account's local calendar synced with the server's calendar at
    // that URL, or nullptr.
    CommonDataMO *localCalendarOf(const QString &url) {
        SyncableObjectMO *syncable =
            CalDAVRemoteObjects(service()).localObjectForHREF(QUrl(url).path());
        return syncable ? syncable->objectData() : nullptr;
    }
    int calendarsTitled(const QString &title) {
        int count = 0;
        for (ManagedObject *object : service()->objectsForKey("ownedContainers")) {
            auto *syncable = ModelObject::as<SyncableObjectMO>(object);
            count += syncable && syncable->objectData() &&
                     syncable->objectData()->effectiveTitle() == title;
        }
        return count;
    }
    // The UIDs of the calendar's items (detached instances apart), sorted;
    // a UID twice shows up twice.
    static QStringList itemUIDs(CommonDataMO *calendar) {
        QStringList uids;
        for (ManagedObject *child : calendar->objectsForKey("childrenDirect"))
            if (child->entityName() == "Event")
                uids.append(ModelObject::as<CommonDataMO>(child)->uid());
        uids.sort();
        return uids;
    }
    // The item of that UID, not one of its detached instances.
    static CommonDataMO *item(CommonDataMO *calendar, const QString &uid) {
        for (ManagedObject *child : calendar->objectsForKey("childrenDirect"))
            if (child->entityName() == "Event" &&
                ModelObject::as<CommonDataMO>(child)->uid() == uid)
                return ModelObject::as<CommonDataMO>(child);
        return nullptr;
    }

    // What the cycles logged, to see where a failed test went wrong.
    void TearDown() override {
        if (!this->HasFailure())
            return;
        const auto &messages = fixture.log.messages();
        for (size_t i = messages.size() > 300 ? messages.size() - 300 : 0; i < messages.size(); ++i)
            std::cerr << messages[i].text.left(400).toStdString() << '\n';
    }

    DiscoveryFixture fixture;

private:
    ModelObject *m_service = nullptr;
};
