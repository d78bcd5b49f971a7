#include <gtest/gtest.h>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/support/SyncTestSuite.h"
#include "model/CalendarAccess.h"
#include "model/store/FetchRequest.h"
#include "model/store/Predicate.h"

// Calendars that user "test2" of Cyrus shares with the account's user
// "test" (a share-resource POST of the owner, accepted by the sharee with an
// invite-reply POST to the invitation in its notification collection): they
// show up in the account's home and are synced like its own, under a
// calendar group named after their owner, writable or not as the share
// says, and they go when the owner stops sharing them.
namespace {

constexpr char kSharer[] = "test2";
constexpr char kSharerPrincipal[] = "/dav/principals/user/test2/";

class CalDAVSharedCalendarTest : public SyncTestSuite<CyrusServer> {
protected:
    // A calendar of the owner; its URL.
    QString makeOwnerCalendar(const QString &name, const QString &title) {
        const QString url = server->url(QStringLiteral("/dav/calendars/user/test2/") + name + '/');
        EXPECT_EQ(sendBlocking("MKCALENDAR", url, kSharer, kSharer, mkcalendarBody(title)), 201);
        return url;
    }
    void putAsOwner(const QString &url, const QByteArray &text) {
        const int status =
            sendBlocking("PUT", url, kSharer, kSharer, text, 20000, "text/calendar; charset=utf-8");
        EXPECT_TRUE(status == 201 || status == 204) << url.toStdString() << " " << status;
    }
    QByteArray ownerText(const QString &url) {
        const BlockingAnswer answer = fetchBlocking("GET", url, kSharer, kSharer, {});
        return answer.status == 200 ? answer.body : QByteArray();
    }
    // The owner gives "test" this access ("read-write", "read" or
    // "no-access") to the calendar; a new share is accepted by "test".
    void share(const QString &url, const char *access) {
        const QByteArray body = QByteArray(
                                    "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                                    "<D:share-resource xmlns:D=\"DAV:\"><D:sharee>"
                                    "<D:href>mailto:test@example.com</D:href><D:share-access><D:") +
                                access + "/></D:share-access></D:sharee></D:share-resource>";
        ASSERT_EQ(
            sendBlocking("POST", url, kSharer, kSharer, body, 20000, "application/davsharing+xml"),
            204);
        if (qstrcmp(access, "no-access") != 0)
            acceptInvitationTo(QUrl(url).path());
    }
    void acceptInvitationTo(const QString &calendarPath) {
        const QString notifications = server->url(QStringLiteral("/dav/notifications/user/test/"));
        const BlockingAnswer listing =
            fetchBlocking("PROPFIND", notifications, user(), password(), "1");
        ASSERT_EQ(listing.status, 207);
        static const QRegularExpression hrefPattern(QStringLiteral("<D:href>([^<]*\\.xml)<"));
        int accepted = 0;
        for (auto it = hrefPattern.globalMatch(QString::fromUtf8(listing.body)); it.hasNext();) {
            const QString url = server->url(it.next().captured(1));
            const QByteArray invitation = serverText(url);
            if (!invitation.contains("invite-noresponse") ||
                !invitation.contains(">" + calendarPath.toUtf8() + "<"))
                continue;
            const QByteArray reply =
                "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                "<D:invite-reply xmlns:D=\"DAV:\"><D:invite-accepted/><D:create-in>"
                "<D:href>/dav/calendars/user/test/</D:href></D:create-in></D:invite-reply>";
            EXPECT_EQ(sendBlocking("POST", url, user(), password(), reply, 20000,
                                   "application/davsharing+xml"),
                      201);
            ++accepted;
        }
        EXPECT_EQ(accepted, 1) << listing.body.toStdString();
    }

    int remoteAccessOf(CommonDataMO *calendar) {
        const ModelObject *record =
            CalDAVRemoteObjects::recordOf(calendar->objectInfo(), service());
        return record ? int(record->integerValueForKey("remoteAccess")) : -1;
    }
    static QString groupTitleOf(CommonDataMO *calendar) {
        auto *group = ModelObject::as<CommonDataMO>(calendar->objectForKey("parentGroup"));
        return group ? group->effectiveTitle().value_or(QString()) : QString();
    }
    QVariantMap ownerInfo() {
        for (const QVariant &owner : fixture.syncData(service()).value("owners").toList())
            if (owner.toMap().value("principal-URL") == kSharerPrincipal)
                return owner.toMap();
        return {};
    }
    int ownerLookups() {
        return fixture.log.count("CalDAV: connecting to " + server->url(kSharerPrincipal));
    }
    int groupsOfOwner() {
        FetchRequest request("CalendarGroup");
        request.setPredicate(Predicate::fromFormat("%K ENDSWITH %@", {"uid", kSharerPrincipal}));
        return int(service()->managedObjectContext()->countForFetchRequest(request));
    }
};

}  // namespace

TEST_F(CalDAVSharedCalendarTest, AReadWriteShareSyncsBothWaysUnderItsOwner) {
    const QString url = makeOwnerCalendar("team", "Team plans");
    putAsOwner(url + "kickoff.ics",
               vcalendar(vevent("kickoff", "Kick-off",
                                "DTSTART:20261203T090000Z\r\nDTEND:20261203T100000Z\r\n")));
    share(url, "read-write");
    sync();

    CommonDataMO *calendar = calendarTitled("Team plans");
    ASSERT_NE(calendar, nullptr);
    EXPECT_EQ(remoteAccessOf(calendar), CalendarAccess::kFullAccess);
    EXPECT_NE(item(calendar, "kickoff"), nullptr);
    // The owner, asked for once. Cyrus does not let the account read the
    // owner's principal (403): the group goes by the owner's path.
    EXPECT_EQ(ownerInfo().value("principal-URL"), kSharerPrincipal);
    EXPECT_TRUE(fixture.log.contains("): no information on the owner " +
                                     QLatin1String(kSharerPrincipal) + " (403)"));
    EXPECT_EQ(groupTitleOf(calendar), kSharer);
    EXPECT_TRUE(fixture.log.contains("): processSharedCalendars"));
    EXPECT_EQ(ownerLookups(), 1);

    // Written here, the item reaches the owner's calendar.
    CommonDataMO *made = makeLocalItem(calendar, "From the sharee");
    EXPECT_EQ(sync().counts.pushed, 1);
    EXPECT_TRUE(ownerText(url + made->uid() + ".ics").contains("SUMMARY:From the sharee"));
    // Written by the owner, it comes here.
    putAsOwner(url + "review.ics",
               vcalendar(vevent("review", "Review",
                                "DTSTART:20261210T090000Z\r\nDTEND:20261210T100000Z\r\n")));
    EXPECT_EQ(sync().counts.pulled, 1);
    EXPECT_NE(item(calendar, "review"), nullptr);
    expectQuietCycle();
    EXPECT_EQ(ownerLookups(), 1);  // a known owner is not asked again
    EXPECT_EQ(calendarsTitled("Team plans"), 1);

    // No longer shared: gone here, with its items and its group.
    share(url, "no-access");
    sync();
    EXPECT_EQ(calendarsTitled("Team plans"), 0);
    EXPECT_EQ(groupsOfOwner(), 0);
    EXPECT_TRUE(ownerInfo().isEmpty());
}

TEST_F(CalDAVSharedCalendarTest, AReadOnlyShareKeepsItsChangesAtHome) {
    const QString readURL = makeOwnerCalendar("notices", "Notices");
    const QString writeURL = makeOwnerCalendar("rota", "Rota");
    share(readURL, "read");
    share(writeURL, "read-write");
    sync();
    CommonDataMO *notices = calendarTitled("Notices");
    CommonDataMO *rota = calendarTitled("Rota");
    ASSERT_NE(notices, nullptr);
    ASSERT_NE(rota, nullptr);
    EXPECT_EQ(remoteAccessOf(notices), CalendarAccess::kReadOnly);
    EXPECT_EQ(remoteAccessOf(rota), CalendarAccess::kFullAccess);
    // One group for the owner's calendars.
    EXPECT_EQ(notices->objectForKey("parentGroup"), rota->objectForKey("parentGroup"));
    EXPECT_EQ(groupsOfOwner(), 1);

    // A rename of the read-only calendar is not sent.
    notices->setStringValue("Renamed here", "title");
    const CalDAVAccountCheck::Outcome renamed = sync();
    EXPECT_EQ(renamed.counts.calendarsPushed, 0);
    EXPECT_TRUE(fixture.log.contains("): ignoring changes to proxy calendar "));

    // One share ends: the other calendar stays in the group.
    share(readURL, "no-access");
    sync();
    EXPECT_EQ(calendarsTitled("Renamed here") + calendarsTitled("Notices"), 0);
    EXPECT_EQ(calendarTitled("Rota"), rota);
    EXPECT_EQ(groupsOfOwner(), 1);
    EXPECT_FALSE(ownerInfo().isEmpty());
    share(writeURL, "no-access");
    sync();
    EXPECT_EQ(calendarsTitled("Rota"), 0);
    EXPECT_EQ(groupsOfOwner(), 0);
}
