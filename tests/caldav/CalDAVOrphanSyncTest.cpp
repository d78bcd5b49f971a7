#include <gtest/gtest.h>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/CalDAVSyncTask.h"
#include "caldav/support/SyncTestSuite.h"
#include "model/ExtraDataMO.h"
#include "time/recurrence/ItemRecurrence.h"

// Resources that hold detached instances of a repeating item but not the
// item itself (a server shows an attendee only the occurrences they were
// invited to): a placeholder repeating item keeps them together here, is
// never sent, and gives way when the series itself arrives. Each detached
// instance has a remote object of its own.
namespace {

template <typename Server>
class CalDAVOrphanSyncTest : public SyncTestSuite<Server> {
protected:
    static QStringList detachedTitles(CommonDataMO *item) {
        QStringList titles;
        for (CommonDataMO *detached : ItemRecurrence(item).detachedInstances())
            titles.append(detached->effectiveTitle().value_or(QString()));
        titles.sort();
        return titles;
    }
    static ExtraDataMO *onlyOrganizer(CommonDataMO *item) {
        const QList<ExtraDataMO *> organizers = item->extrasForRelationship("organizers");
        EXPECT_EQ(organizers.size(), 1);
        return organizers.isEmpty() ? nullptr : organizers.first();
    }
};

// Radicale refuses such a resource ("Main component missing").
using OrphanServers = ::testing::Types<XandikosServer, DAViCalServer>;
TYPED_TEST_SUITE(CalDAVOrphanSyncTest, OrphanServers);

const QByteArray kFirstInstance =
    vevent("orphan-1", "Invited once", "DTSTART:20261215T090000Z\r\nDTEND:20261215T093000Z\r\n",
           "RECURRENCE-ID:20261214T080000Z\r\n"
           "ORGANIZER;CN=Boss:mailto:boss@example.com\r\n"
           "ATTENDEE;CN=Me:mailto:me@example.com\r\n");
const QByteArray kSecondInstance =
    vevent("orphan-1", "Invited twice", "DTSTART:20261222T090000Z\r\nDTEND:20261222T093000Z\r\n",
           "RECURRENCE-ID:20261221T080000Z\r\n"
           "ORGANIZER;CN=Boss:mailto:boss@example.com\r\n"
           "ATTENDEE;CN=Me:mailto:me@example.com\r\n");

TYPED_TEST(CalDAVOrphanSyncTest, DetachedInstancesWithoutTheirSeriesShareAPlaceholder) {
    const QString url = this->makeServerCalendar("orphans", "Orphans");
    this->put(url + "orphan.ics", vcalendar(kFirstInstance + kSecondInstance));
    this->put(url + "lonely.ics",
              vcalendar(vevent("lonely-1", "All day alone", "DTSTART;VALUE=DATE:20261203\r\n",
                               "RECURRENCE-ID;VALUE=DATE:20261202\r\n")));
    const CalDAVAccountCheck::Outcome first = this->sync();
    EXPECT_EQ(first.counts.pulled, 2);
    CommonDataMO *calendar = this->calendarTitled("Orphans");
    ASSERT_NE(calendar, nullptr);
    EXPECT_EQ(this->itemUIDs(calendar), sortedNames(QStringList{"lonely-1", "orphan-1"}));
    EXPECT_TRUE(this->fixture.log.contains(
        "CalDAV: creating dummy main event (orphan-1) for orphaned detached events"));
    EXPECT_FALSE(this->fixture.log.contains("CalDAV: no main event in"));

    // One occurrence at the first instance's original start, replaced by it.
    CommonDataMO *placeholder = this->item(calendar, "orphan-1");
    ASSERT_NE(placeholder, nullptr);
    EXPECT_TRUE(placeholder->boolValueForKey("localOrphaned"));
    const Date original = Date::fromDateTime(QDateTime(QDate(2026, 12, 14), QTime(8, 0), Qt::UTC));
    EXPECT_EQ(placeholder->calendarDateValueForKey("startTimeAndZone")->date(), original);
    EXPECT_EQ(placeholder->calendarDateValueForKey("endTimeAndZone")->date(), original);
    const QList<ExtraDataMO *> rules = ItemRecurrence(placeholder).ruleRecords();
    ASSERT_EQ(rules.size(), 1);
    EXPECT_EQ(rules.first()->integerValueForKey("count"), 1);
    EXPECT_EQ(this->detachedTitles(placeholder), (QStringList{"Invited once", "Invited twice"}));
    ExtraDataMO *organizer = this->onlyOrganizer(placeholder);
    ASSERT_NE(organizer, nullptr);
    EXPECT_EQ(organizer->valueForKey("email").toString(), QStringLiteral("boss@example.com"));
    EXPECT_EQ(organizer->valueForKey("name").toString(), QStringLiteral("Boss"));
    EXPECT_EQ(organizer->valueForKey("meetingUID").toString(), QStringLiteral("orphan-1"));
    EXPECT_GT(placeholder->integerValueForKey("localFirstDay"), 0);

    CommonDataMO *lonely = this->item(calendar, "lonely-1");
    ASSERT_NE(lonely, nullptr);
    EXPECT_TRUE(lonely->boolValueForKey("allDay"));
    EXPECT_EQ(this->detachedTitles(lonely), QStringList{"All day alone"});
    ExtraDataMO *nobody = this->onlyOrganizer(lonely);
    ASSERT_NE(nobody, nullptr);
    EXPECT_EQ(nobody->valueForKey("email").toString(),
              QLatin1String(CalDAVSyncTask::kOrphanedOrganizerAddress));
    EXPECT_EQ(nobody->valueForKey("meetingUID").toString(), QStringLiteral("lonely-1"));

    // Each detached instance has its remote object, with the resource's ETag.
    const QString path = QUrl(url).path();
    {
        CalDAVRemoteObjects records(this->service());
        const ModelObject *main = records.forHREF(path + "orphan.ics");
        ASSERT_NE(main, nullptr);
        EXPECT_EQ(main->objectForKey("localObject"), placeholder->objectInfo());
        for (CommonDataMO *detached : ItemRecurrence(placeholder).detachedInstances()) {
            const ModelObject *record = records.forHREF(
                CalDAVRemoteObjects::detachedRemoteID(path + "orphan.ics", *detached));
            ASSERT_NE(record, nullptr);
            EXPECT_EQ(record->objectForKey("localObject"), detached->objectInfo());
            EXPECT_EQ(CalDAVRemoteObjects::etagOf(record), CalDAVRemoteObjects::etagOf(main));
        }
        EXPECT_NE(records.forHREF(path + "orphan.ics?rid=20261221T080000Z"), nullptr);
        EXPECT_NE(records.forHREF(path + "lonely.ics?rid=20261202"), nullptr);
    }

    // Nothing of it goes back.
    const CalDAVAccountCheck::Outcome quiet = this->sync();
    EXPECT_EQ(quiet.counts.pushed, 0);
    EXPECT_EQ(quiet.counts.pulled, 0);

    // An instance edited here is sent without the placeholder.
    ItemRecurrence(placeholder).detachedInstances().first()->setStringValue("Edited here", "title");
    const CalDAVAccountCheck::Outcome pushed = this->sync();
    EXPECT_EQ(pushed.counts.pushed, 1);
    EXPECT_EQ(pushed.counts.conflicts, 0);
    const QByteArray text = this->serverText(url + "orphan.ics");
    EXPECT_EQ(text.count("BEGIN:VEVENT"), 2) << text.toStdString();
    EXPECT_EQ(text.count("RECURRENCE-ID"), 2) << text.toStdString();
    EXPECT_FALSE(text.contains("RRULE")) << text.toStdString();
    EXPECT_TRUE(text.contains("SUMMARY:Edited here")) << text.toStdString();
    const CalDAVAccountCheck::Outcome after = this->sync();
    EXPECT_EQ(after.counts.pushed, 0);
    EXPECT_EQ(after.counts.pulled, 0);
    EXPECT_EQ(this->item(calendar, "orphan-1"), placeholder);

    // The server drops one instance: it goes here, with its remote object.
    this->put(url + "orphan.ics", vcalendar(kSecondInstance));
    this->sync();
    EXPECT_EQ(this->detachedTitles(placeholder), QStringList{"Invited twice"});
    {
        CalDAVRemoteObjects records(this->service());
        EXPECT_EQ(records.forHREF(path + "orphan.ics?rid=20261214T080000Z"), nullptr);
        EXPECT_NE(records.forHREF(path + "orphan.ics?rid=20261221T080000Z"), nullptr);
    }

    // The series itself arrives: the same item, no longer a placeholder.
    this->put(url + "orphan.ics",
              vcalendar(vevent("orphan-1", "Weekly",
                               "DTSTART:20261207T080000Z\r\nDTEND:20261207T083000Z\r\n",
                               "RRULE:FREQ=WEEKLY;COUNT=5\r\n") +
                        kSecondInstance));
    this->sync();
    EXPECT_EQ(this->item(calendar, "orphan-1"), placeholder);
    EXPECT_FALSE(placeholder->boolValueForKey("localOrphaned"));
    EXPECT_EQ(placeholder->effectiveTitle(), QStringLiteral("Weekly"));
    EXPECT_EQ(ItemRecurrence(placeholder).ruleRecords().first()->integerValueForKey("count"), 5);

    // A resource deleted on the server takes its detached records along.
    this->remove(url + "lonely.ics");
    this->sync();
    EXPECT_EQ(this->item(calendar, "lonely-1"), nullptr);
    CalDAVRemoteObjects records(this->service());
    EXPECT_EQ(records.forHREF(path + "lonely.ics"), nullptr);
    EXPECT_EQ(records.forHREF(path + "lonely.ics?rid=20261202"), nullptr);
}

}  // namespace
