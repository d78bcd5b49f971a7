#include <gtest/gtest.h>

#include <QSet>

#include "caldav/CalDAVRemoteObjects.h"
#include "caldav/support/SyncTestSuite.h"
#include "model/ConflictBin.h"
#include "model/store/ManagedObjectContext.h"
#include "time/recurrence/ItemRecurrence.h"

// Pulling calendars and items from real servers, seeded and changed by
// plain HTTP requests of the test (an independent client): the first pull,
// calendars and items made, changed and deleted on the server, a sync token
// the server refuses, and counts and UIDs checked so that nothing is lost or
// pulled twice.
namespace {

// The seeded resources: file name and text.
QList<std::pair<QString, QByteArray>> seededResources() {
    return {
        {"timed.ics", vcalendar(vevent("timed-1", "Timed",
                                       "DTSTART:20261201T100000Z\r\nDTEND:20261201T110000Z\r\n"))},
        {"allday.ics", vcalendar(vevent("allday-1", "All day",
                                        "DTSTART;VALUE=DATE:20261202\r\n"
                                        "DTEND;VALUE=DATE:20261203\r\n"))},
        {"floating.ics", vcalendar(vevent("floating-1", "Floating",
                                          "DTSTART:20261203T090000\r\nDTEND:20261203T100000\r\n"))},
        {"repeating.ics", vcalendar(vevent("repeating-1", "Weekly",
                                           "DTSTART:20261207T080000Z\r\nDTEND:20261207T083000Z\r\n",
                                           "RRULE:FREQ=WEEKLY;COUNT=5\r\n") +
                                    vevent("repeating-1", "Weekly\\, moved",
                                           "DTSTART:20261215T090000Z\r\nDTEND:20261215T093000Z\r\n",
                                           "RECURRENCE-ID:20261214T080000Z\r\n"))},
        {"todo.ics", vcalendar("BEGIN:VTODO\r\nUID:todo-1\r\nDTSTAMP:20261101T000000Z\r\n"
                               "SUMMARY:Done\r\nDUE:20261205T170000Z\r\nSTATUS:COMPLETED\r\n"
                               "COMPLETED:20261204T120000Z\r\nEND:VTODO\r\n")},
    };
}

template <typename Server>
class CalDAVSyncTest : public SyncTestSuite<Server> {};

TYPED_TEST_SUITE(CalDAVSyncTest, SyncServers);

TYPED_TEST(CalDAVSyncTest, PullsCalendarsAndItemsAndFollowsChangesOnTheServer) {
    const QString url = this->makeServerCalendar("pulled", "Pulled");
    for (const auto &[name, text] : seededResources())
        this->put(url + name, text);
    // Enough plain events for more than one download request.
    for (int i = 0; i < 52; ++i)
        this->put(url + QStringLiteral("bulk-%1.ics").arg(i),
                  vcalendar(vevent(QByteArray("bulk-") + QByteArray::number(i), "Bulk",
                                   "DTSTART:20261210T100000Z\r\nDTEND:20261210T110000Z\r\n")));
    // Deleted before the first pull: a server may still list it as gone.
    this->put(url + "gone.ics",
              vcalendar(vevent("gone-1", "Gone", "DTSTART:20261201T100000Z\r\n")));
    this->remove(url + "gone.ics");

    const CalDAVAccountCheck::Outcome first = this->sync();
    EXPECT_EQ(first.counts.pulled, 57);
    EXPECT_EQ(first.counts.deleted, 0);
    CommonDataMO *calendar = this->calendarTitled("Pulled");
    ASSERT_NE(calendar, nullptr);
    EXPECT_EQ(this->calendarsTitled("Pulled"), 1);
    QStringList expected{"allday-1", "floating-1", "repeating-1", "timed-1", "todo-1"};
    for (int i = 0; i < 52; ++i)
        expected.append(QStringLiteral("bulk-%1").arg(i));
    expected.sort();
    EXPECT_EQ(this->itemUIDs(calendar), expected);

    CommonDataMO *timed = this->item(calendar, "timed-1");
    ASSERT_NE(timed, nullptr);
    EXPECT_EQ(timed->effectiveTitle(), QStringLiteral("Timed"));
    EXPECT_FALSE(timed->boolValueForKey("allDay"));
    EXPECT_TRUE(this->item(calendar, "allday-1")->boolValueForKey("allDay"));
    EXPECT_TRUE(this->item(calendar, "floating-1")->boolValueForKey("floatingEvent"));
    CommonDataMO *repeating = this->item(calendar, "repeating-1");
    ASSERT_EQ(repeating->objectsForKey("detachedEvents").size(), 1);
    EXPECT_EQ(ModelObject::as<CommonDataMO>(repeating->objectsForKey("detachedEvents").first())
                  ->effectiveTitle(),
              QStringLiteral("Weekly, moved"));
    CommonDataMO *todo = this->item(calendar, "todo-1");
    EXPECT_EQ(todo->integerValueForKey("eventType"), ItemType::ToDo);
    EXPECT_TRUE(todo->dateValueForKey("completionTime"));
    EXPECT_TRUE(todo->calendarDateValueForKey("dueTimeAndZone"));

    // Changes on the server: an item edited, one deleted, one added, the
    // calendar renamed, another calendar made.
    this->put(url + "timed.ics",
              vcalendar(vevent("timed-1", "Timed\\, edited",
                               "DTSTART:20261201T120000Z\r\nDTEND:20261201T130000Z\r\n")));
    this->remove(url + "floating.ics");
    this->put(url + "added.ics", vcalendar(vevent("added-1", "Added",
                                                  "DTSTART:20261206T100000Z\r\n"
                                                  "DTEND:20261206T110000Z\r\n")));
    this->rename(url, "Renamed");
    const QString second = this->makeServerCalendar("second", "Second");

    const CalDAVAccountCheck::Outcome next = this->sync();
    EXPECT_EQ(next.counts.pulled, 2);
    EXPECT_EQ(next.counts.deleted, 1);
    EXPECT_EQ(this->calendarTitled("Pulled"), nullptr);
    ASSERT_EQ(this->calendarTitled("Renamed"), calendar);
    expected.removeOne("floating-1");
    expected.append("added-1");
    expected.sort();
    EXPECT_EQ(this->itemUIDs(calendar), expected);
    EXPECT_EQ(this->item(calendar, "timed-1")->effectiveTitle(), QStringLiteral("Timed, edited"));
    EXPECT_EQ(this->calendarsTitled("Second"), 1);

    // Nothing changed: nothing pulled.
    const CalDAVAccountCheck::Outcome quiet = this->sync();
    EXPECT_EQ(quiet.counts.pulled, 0);
    EXPECT_EQ(quiet.counts.deleted, 0);
    EXPECT_EQ(this->itemUIDs(calendar), expected);

    // A calendar deleted on the server goes, with its items.
    this->put(second + "in-second.ics",
              vcalendar(vevent("in-second-1", "In second", "DTSTART:20261206T100000Z\r\n")));
    this->sync();
    ASSERT_NE(this->calendarTitled("Second"), nullptr);
    EXPECT_EQ(this->itemUIDs(this->calendarTitled("Second")), QStringList{"in-second-1"});
    this->remove(second);
    this->sync();
    EXPECT_EQ(this->calendarsTitled("Second"), 0);
    CalDAVRemoteObjects records(this->service());
    EXPECT_EQ(records.forHREF(QUrl(second).path()), nullptr);
    EXPECT_EQ(records.forHREF(QUrl(second).path() + "in-second.ics"), nullptr);
}

TYPED_TEST(CalDAVSyncTest, ATokenTheServerRefusesFallsBackToAFullListing) {
    using Known = SyncAccount<TypeParam>;
    const QString url = this->makeServerCalendar("tokens", "Tokens");
    this->put(url + "kept.ics",
              vcalendar(vevent("kept-1", "Kept", "DTSTART:20261201T100000Z\r\n")));
    this->put(url + "dropped.ics",
              vcalendar(vevent("dropped-1", "Dropped", "DTSTART:20261201T100000Z\r\n")));
    this->sync();
    CommonDataMO *calendar = this->calendarTitled("Tokens");
    ASSERT_NE(calendar, nullptr);
    EXPECT_EQ(this->itemUIDs(calendar), sortedNames(QStringList{"dropped-1", "kept-1"}));

    // The kept token is one the server never gave.
    CalDAVRemoteObjects records(this->service());
    ModelObject *record = records.forHREF(QUrl(url).path());
    ASSERT_NE(record, nullptr);
    ASSERT_FALSE(record->valueForKey("editURL").toString().isEmpty());
    record->setValue("editURL", QUrl(url).toString() + "unknown-token-42");
    this->put(url + "new.ics", vcalendar(vevent("new-1", "New", "DTSTART:20261201T100000Z\r\n")));
    if (Known::refusesUnknownToken)
        this->remove(url + "dropped.ics");

    const CalDAVAccountCheck::Outcome outcome = this->sync();
    const QStringList expected = Known::refusesUnknownToken
                                     ? QStringList{"kept-1", "new-1"}
                                     : QStringList{"dropped-1", "kept-1", "new-1"};
    EXPECT_EQ(this->itemUIDs(calendar), expected);
    EXPECT_EQ(outcome.counts.pulled, 1);
    EXPECT_EQ(outcome.counts.deleted, Known::refusesUnknownToken ? 1 : 0);
    EXPECT_EQ(this->fixture.log.contains("out of date error"), Known::refusesUnknownToken);
    // The next cycle uses the token of the full listing again.
    EXPECT_NE(record->valueForKey("editURL").toString(), QUrl(url).toString() + "unknown-token-42");
}

TYPED_TEST(CalDAVSyncTest, SendsLocalChangesAndKeepsBothVersionsOfAnItemChangedOnBothSides) {
    const QString url = this->makeServerCalendar("pushed", "Pushed");
    this->put(url + "edited.ics",
              vcalendar(vevent("edited-1", "Edited", "DTSTART:20261201T100000Z\r\n")));
    this->put(url + "doomed.ics",
              vcalendar(vevent("doomed-1", "Doomed", "DTSTART:20261201T100000Z\r\n")));
    this->sync();
    CommonDataMO *calendar = this->calendarTitled("Pushed");
    ASSERT_NE(calendar, nullptr);
    // What was pulled is not sent back.
    const CalDAVAccountCheck::Outcome pulledOnly = this->sync();
    EXPECT_EQ(pulledOnly.counts.pushed, 0);
    EXPECT_EQ(pulledOnly.counts.pulled, 0);

    // A new item, an edit and a deletion, made here.
    CommonDataMO *made = this->makeLocalItem(calendar, "Made here");
    const QString madeUID = made->uid();
    this->item(calendar, "edited-1")->setStringValue("Edited here", "title");
    CommonDataMO::deleteObject(this->item(calendar, "doomed-1"));
    const CalDAVAccountCheck::Outcome pushed = this->sync();
    EXPECT_EQ(pushed.counts.pushed, 3);
    EXPECT_EQ(pushed.counts.conflicts, 0);
    EXPECT_EQ(this->serverResources(url), sortedNames(QStringList{madeUID + ".ics", "edited.ics"}));
    EXPECT_TRUE(this->serverText(url + madeUID + ".ics").contains("UID:" + madeUID.toUtf8()));
    EXPECT_TRUE(this->serverText(url + madeUID + ".ics").contains("SUMMARY:Made here"));
    EXPECT_TRUE(this->serverText(url + "edited.ics").contains("SUMMARY:Edited here"));
    EXPECT_TRUE(this->serverText(url + "edited.ics").contains("UID:edited-1"));
    // Sent once: the next cycle has nothing to send or fetch.
    const CalDAVAccountCheck::Outcome quiet = this->sync();
    EXPECT_EQ(quiet.counts.pushed, 0);
    EXPECT_EQ(quiet.counts.pulled, 0);
    EXPECT_EQ(this->itemUIDs(calendar), sortedNames(QStringList{"edited-1", madeUID}));

    // Changed on both sides: the server's version wins the UID, the local
    // one goes to the local conflict calendar and never reaches the server.
    this->put(url + "edited.ics",
              vcalendar(vevent("edited-1", "Edited there", "DTSTART:20261201T100000Z\r\n")));
    this->item(calendar, "edited-1")->setStringValue("Edited here again", "title");
    const CalDAVAccountCheck::Outcome conflict = this->sync();
    EXPECT_EQ(conflict.counts.conflicts, 1);
    EXPECT_EQ(conflict.counts.pushed, 0);
    EXPECT_EQ(conflict.counts.pulled, 1);
    EXPECT_TRUE(this->fixture.log.contains(
        "copyChildToConflictBinAndDeleteOriginal(edited-1) : Event modified on server"));
    ASSERT_NE(this->item(calendar, "edited-1"), nullptr);
    EXPECT_EQ(this->item(calendar, "edited-1")->effectiveTitle(), QStringLiteral("Edited there"));
    EXPECT_TRUE(this->serverText(url + "edited.ics").contains("SUMMARY:Edited there"));
    EXPECT_EQ(this->itemUIDs(calendar), sortedNames(QStringList{"edited-1", madeUID}));
    CommonDataMO *bin = ConflictBin::conflictCalendar(calendar->managedObjectContext());
    EXPECT_EQ(bin->effectiveTitle(), QStringLiteral("Conflicts"));
    EXPECT_EQ(bin->owningService(), nullptr);
    const QStringList kept = this->itemUIDs(bin);
    ASSERT_EQ(kept.size(), 1);
    EXPECT_NE(kept.first(), QStringLiteral("edited-1"));
    EXPECT_EQ(this->item(bin, kept.first())->effectiveTitle(), QStringLiteral("Edited here again"));

    const CalDAVAccountCheck::Outcome after = this->sync();
    EXPECT_EQ(after.counts.pushed, 0);
    EXPECT_EQ(after.counts.pulled, 0);
    EXPECT_EQ(after.counts.conflicts, 0);
    EXPECT_EQ(this->serverResources(url), sortedNames(QStringList{madeUID + ".ics", "edited.ics"}));
    EXPECT_EQ(this->itemUIDs(calendar), sortedNames(QStringList{"edited-1", madeUID}));
    EXPECT_EQ(this->itemUIDs(bin), kept);
}

TYPED_TEST(CalDAVSyncTest, AnEditedDetachedInstanceIsSentWithItsRepeatingItem) {
    const QString url = this->makeServerCalendar("instances", "Instances");
    for (const auto &[name, text] : seededResources())
        if (name == "repeating.ics")
            this->put(url + name, text);
    this->sync();
    CommonDataMO *calendar = this->calendarTitled("Instances");
    ASSERT_NE(calendar, nullptr);
    CommonDataMO *repeating = this->item(calendar, "repeating-1");
    ASSERT_NE(repeating, nullptr);
    ASSERT_EQ(repeating->objectsForKey("detachedEvents").size(), 1);
    ModelObject::as<CommonDataMO>(repeating->objectsForKey("detachedEvents").first())
        ->setStringValue("Moved and renamed", "title");

    const CalDAVAccountCheck::Outcome pushed = this->sync();
    EXPECT_EQ(pushed.counts.pushed, 1);
    EXPECT_EQ(pushed.counts.conflicts, 0);
    EXPECT_EQ(this->serverResources(url), QStringList{"repeating.ics"});
    const QByteArray text = this->serverText(url + "repeating.ics");
    EXPECT_TRUE(text.contains("SUMMARY:Moved and renamed")) << text.toStdString();
    EXPECT_TRUE(text.contains("RRULE:FREQ=WEEKLY")) << text.toStdString();
    EXPECT_EQ(text.count("BEGIN:VEVENT"), 2) << text.toStdString();
    const CalDAVAccountCheck::Outcome quiet = this->sync();
    EXPECT_EQ(quiet.counts.pushed, 0);
    EXPECT_EQ(quiet.counts.pulled, 0);
}

TYPED_TEST(CalDAVSyncTest, ADetachedInstanceTheServerDropsGoesAndItsOccurrenceComesBack) {
    const QString url = this->makeServerCalendar("series", "Series");
    const QByteArray series =
        vevent("series-1", "Weekly", "DTSTART:20261207T080000Z\r\nDTEND:20261207T083000Z\r\n",
               "RRULE:FREQ=WEEKLY;COUNT=5\r\n");
    const QByteArray kept =
        vevent("series-1", "Kept moved", "DTSTART:20261215T090000Z\r\nDTEND:20261215T093000Z\r\n",
               "RECURRENCE-ID:20261214T080000Z\r\n");
    const QByteArray dropped = vevent("series-1", "Dropped moved",
                                      "DTSTART:20261222T090000Z\r\nDTEND:20261222T093000Z\r\n",
                                      "RECURRENCE-ID:20261221T080000Z\r\n");
    this->put(url + "series.ics", vcalendar(series + kept + dropped));
    this->sync();
    CommonDataMO *calendar = this->calendarTitled("Series");
    ASSERT_NE(calendar, nullptr);
    CommonDataMO *item = this->item(calendar, "series-1");
    ASSERT_NE(item, nullptr);
    const auto detachedTitles = [&] {
        QStringList titles;
        for (CommonDataMO *detached : ItemRecurrence(item).detachedInstances())
            titles.append(detached->effectiveTitle().value_or(QString()));
        titles.sort();
        return titles;
    };
    EXPECT_EQ(detachedTitles(), (QStringList{"Dropped moved", "Kept moved"}));
    EXPECT_FALSE(this->fixture.log.contains("garbage collecting detached"));

    // The server's copy loses one detached instance; the other is edited.
    const QByteArray edited = vevent("series-1", "Kept moved again",
                                     "DTSTART:20261215T100000Z\r\nDTEND:20261215T103000Z\r\n",
                                     "RECURRENCE-ID:20261214T080000Z\r\n");
    this->put(url + "series.ics", vcalendar(series + edited));
    const CalDAVAccountCheck::Outcome outcome = this->sync();
    EXPECT_EQ(outcome.counts.pulled, 1);
    EXPECT_EQ(this->itemUIDs(calendar), QStringList{"series-1"});
    EXPECT_EQ(this->item(calendar, "series-1"), item);
    EXPECT_EQ(detachedTitles(), QStringList{"Kept moved again"});
    EXPECT_TRUE(this->fixture.log.contains(
        "CalDAV: garbage collecting detached event Dropped moved (series-1) from calendar Series"));
    // The series occurs on the dropped instance's day again, at its own time.
    const Date dropOriginal =
        Date::fromDateTime(QDateTime(QDate(2026, 12, 21), QTime(8, 0), Qt::UTC));
    const std::vector<Date> occurrences = ItemRecurrence(item).series().occurrences(
        dropOriginal, dropOriginal.addingSeconds(Date::kSecondsPerDay), 10);
    EXPECT_EQ(occurrences, std::vector<Date>{dropOriginal});
}

// A calendar gone from the store without a tombstone (nothing to send, as
// after a repair of the store) leaves the records of it and of its items
// behind: the next cycle makes it again from the listing and pulls all of
// its items, not only the changes since the token of its old record, and
// no record is left without its object.
TYPED_TEST(CalDAVSyncTest, ACalendarGoneFromTheStoreIsPulledAgainInFull) {
    const QString url = this->makeServerCalendar("vanished", "Vanished");
    for (const QByteArray name : {"first", "second"})
        this->put(url + name + ".ics",
                  vcalendar(vevent(name + "-1", name, "DTSTART:20261201T100000Z\r\n")));
    this->sync();
    CommonDataMO *calendar = this->calendarTitled("Vanished");
    ASSERT_NE(calendar, nullptr);
    SyncableObjectMO *syncable = calendar->objectInfo();
    ManagedObjectContext *context = syncable->managedObjectContext();
    CommonDataMO::deleteObject(calendar, false);
    context->deleteObject(syncable);
    ASSERT_EQ(this->calendarTitled("Vanished"), nullptr);

    const CalDAVAccountCheck::Outcome outcome = this->sync();
    EXPECT_EQ(outcome.counts.pulled, 2);
    CommonDataMO *again = this->calendarTitled("Vanished");
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(this->itemUIDs(again), sortedNames(QStringList{"first-1", "second-1"}));
    for (ManagedObject *record : this->service()->objectsForKey("remoteObjects"))
        EXPECT_TRUE(record->isDeleted() || record->objectForKey("localObject"))
            << record->valueForKey("remoteID").toString().toStdString();
}

}  // namespace
