#include <gtest/gtest.h>

#include "model/CalendarAccess.h"
#include "model/CalendarCapabilities.h"
#include "model/ItemAccess.h"
#include "model/ItemReminders.h"
#include "model/capabilities/FakeEngines.h"
#include "model/operations/ServiceFixture.h"

namespace {

// What a calendar's owning service decides: access to private items and to
// the calendar itself, attachments and their fetching.
class OwnerServiceTest : public ServiceTest {
protected:
    // A private item on a calendar of the kind (nullptr: local) whose
    // service grants its items `grantedAccess`.
    CommonDataMO *privateItem(const char *kind, int grantedAccess) {
        ModelObject *service =
            kind ? makeService(QLatin1String(kind), QLatin1String(kind) + QStringLiteral("-S"))
                 : nullptr;
        CommonDataMO *calendar = makeCalendar(QStringLiteral("C%1").arg(++m_count), service);
        calendar->setIntegerValue(grantedAccess, QStringLiteral("access"));
        CommonDataMO *item = makeItem(calendar, QStringLiteral("I%1").arg(m_count));
        item->setIntegerValue(1, QStringLiteral("classification"));
        return item;
    }

    ScopedEngineRegistry m_engines;
    int m_count = 0;
};

TEST_F(OwnerServiceTest, PrivateItemsOfSharedServerCalendarsCannotBeDeleted) {
    // Another person's CalDAV or Exchange calendar: read-only for deletion.
    for (const char *kind : {"CalDAV Synchronization", "Exchange Synchronization"}) {
        CommonDataMO *item = privateItem(kind, 3);
        EXPECT_EQ(CalendarAccess::effectiveAccess(*item), 3) << kind;
        EXPECT_EQ(CalendarAccess::effectiveAccessForDelete(*item, true), 2) << kind;
        EXPECT_EQ(CalendarAccess::effectiveAccessForDelete(*item, false), 3) << kind;
        // A public item of the same calendar may go.
        item->setIntegerValue(0, QStringLiteral("classification"));
        EXPECT_EQ(CalendarAccess::effectiveAccessForDelete(*item, true), 3) << kind;
    }
    // The user's own server calendar, a local one and a peer's are unaffected.
    EXPECT_EQ(
        CalendarAccess::effectiveAccessForDelete(*privateItem("CalDAV Synchronization", 4), true),
        4);
    EXPECT_EQ(CalendarAccess::effectiveAccessForDelete(*privateItem(nullptr, 3), true), 4);
    EXPECT_EQ(CalendarAccess::effectiveAccessForDelete(
                  *privateItem("Bonjour Subscribe Synchronization", 3), true),
              3);
    // While its owner syncs, the sync may do anything.
    CommonDataMO *synced = privateItem("CalDAV Synchronization", 3);
    whileSyncing(synced->owningService(),
                 [&] { EXPECT_EQ(CalendarAccess::effectiveAccessForDelete(*synced, true), 4); });

    // The user's answer to such a meeting follows the access for deletion.
    CommonDataMO *meeting = privateItem("Exchange Synchronization", 3);
    EXPECT_EQ(ItemAccess(meeting).effectiveAccessForKey(QStringLiteral("attendeeStatus")), 2);
    EXPECT_EQ(ItemAccess(meeting).effectiveAccessForKey(QStringLiteral("title")), 3);
    meeting->setIntegerValue(0, QStringLiteral("classification"));
    EXPECT_EQ(ItemAccess(meeting).effectiveAccessForKey(QStringLiteral("blocksTime")), 3);
}

TEST_F(OwnerServiceTest, CalDAVCalendarsTheUserManagesHaveFullAccess) {
    std::shared_ptr<FakeCalDAVEngine> engine = m_engines.registerCalDAV();
    ModelObject *account =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("ACCOUNT"));
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"), account);
    calendar->setIntegerValue(3, QStringLiteral("access"));
    CommonDataMO *item = makeItem(calendar, QStringLiteral("ITEM"));
    EXPECT_EQ(CalendarAccess::effectiveAccess(*calendar), 3);
    engine->calendarType = CalDAVEngine::kFullAccessCalendarType;
    EXPECT_EQ(CalendarAccess::effectiveAccess(*calendar), 4);
    // Its items keep the level the server granted them.
    EXPECT_EQ(CalendarAccess::effectiveAccess(*item), 3);
    EXPECT_EQ(CalendarAccess::effectiveAccessForChildren(*calendar), 3);
    // The rule is CalDAV's: an Exchange folder of the same kind is not raised.
    m_engines.registerExchange()->containerType = CalDAVEngine::kFullAccessCalendarType;
    CommonDataMO *folder =
        makeCalendar(QStringLiteral("FOLDER"),
                     makeService(QStringLiteral("Exchange Synchronization"), QStringLiteral("X")));
    folder->setIntegerValue(3, QStringLiteral("access"));
    EXPECT_EQ(CalendarAccess::effectiveAccess(*folder), 3);
}

TEST_F(OwnerServiceTest, OwnersDecideAboutAttachmentsAndTheirFetching) {
    std::shared_ptr<FakeCalDAVEngine> caldav = m_engines.registerCalDAV();
    ModelObject *dav = makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("D"));
    ModelObject *exchange =
        makeService(QStringLiteral("Exchange Synchronization"), QStringLiteral("X"));
    ModelObject *feed =
        makeService(QStringLiteral("WebDAV Subscribe Synchronization"), QStringLiteral("W"));
    CommonDataMO *davItem = makeItem(makeCalendar(QStringLiteral("DAV"), dav), QStringLiteral("I"));
    CommonDataMO *folder = makeCalendar(QStringLiteral("FOLDER"), exchange);
    CommonDataMO *local = makeCalendar(QStringLiteral("LOCAL"));

    EXPECT_EQ(CalendarCapabilities(davItem).parentCalDAVService(), dav);
    EXPECT_EQ(CalendarCapabilities(davItem).parentExchangeService(), nullptr);
    EXPECT_EQ(CalendarCapabilities(folder).parentExchangeService(), exchange);
    EXPECT_EQ(CalendarCapabilities(local).parentCalDAVService(), nullptr);

    EXPECT_TRUE(CalendarCapabilities(davItem).canHoldAttachments());
    caldav->attachments = false;
    EXPECT_FALSE(CalendarCapabilities(davItem).canHoldAttachments());
    // An Exchange account without its engine is not trusted with files.
    EXPECT_FALSE(CalendarCapabilities(folder).canHoldAttachments());
    m_engines.registerExchange();
    EXPECT_TRUE(CalendarCapabilities(folder).canHoldAttachments());
    EXPECT_TRUE(CalendarCapabilities(local).canHoldAttachments());
    EXPECT_TRUE(
        CalendarCapabilities(makeCalendar(QStringLiteral("FEED"), feed)).canHoldAttachments());

    // Turning fetching on asks the owner to sync; only a change counts.
    CalendarCapabilities::setFetchAttachments(folder, true);
    EXPECT_TRUE(CalendarCapabilities(folder).autoFetchAttachments());
    CalendarCapabilities::setFetchAttachments(folder, true);
    CalendarCapabilities::setFetchAttachments(folder, false);
    EXPECT_FALSE(CalendarCapabilities(folder).autoFetchAttachments());
    CalendarCapabilities::setFetchAttachments(davItem->parentContainer(), true);
    EXPECT_FALSE(CalendarCapabilities(davItem).autoFetchAttachments());  // no attachments there
    EXPECT_EQ(callsOf(QStringLiteral("sync")),
              (QStringList{QStringLiteral("sync X"), QStringLiteral("sync D")}));

    // The filter dialog stores the setting the same way, returning no items.
    EXPECT_TRUE(ItemReminders::setFilterReminders(local, false, true, false).isEmpty());
    EXPECT_TRUE(CalendarCapabilities(local).autoFetchAttachments());
}

TEST_F(OwnerServiceTest, RenamingKeepsTheTitleOfCalendarsTheServerNames) {
    ModelObject *account =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("ACCOUNT"));
    CommonDataMO *writable = makeCalendar(QStringLiteral("RW"), account);
    writable->setIntegerValue(3, QStringLiteral("access"));
    writable->setEffectiveTitle(QStringLiteral("Team"));
    EXPECT_EQ(writable->stringValueForKey(QStringLiteral("title")), QStringLiteral("Team"));
    EXPECT_FALSE(writable->stringValueForKey(QStringLiteral("localTitle")));

    // A read-only calendar is renamed here only; the server's title stays.
    CommonDataMO *readOnly = makeCalendar(QStringLiteral("RO"), account);
    readOnly->setIntegerValue(2, QStringLiteral("access"));
    readOnly->setStringValue(QStringLiteral("Holidays"), QStringLiteral("title"));
    readOnly->setEffectiveAttributedTitle(RichText(QStringLiteral("Days off")));
    EXPECT_EQ(readOnly->stringValueForKey(QStringLiteral("title")), QStringLiteral("Holidays"));
    EXPECT_EQ(readOnly->effectiveTitle(), QStringLiteral("Days off"));
    EXPECT_EQ(readOnly->effectiveAttributedTitle()->text, QStringLiteral("Days off"));
    // Once overridden, the override is what changes, whatever the access.
    readOnly->setIntegerValue(3, QStringLiteral("access"));
    readOnly->setEffectiveTitle(QStringLiteral("Leave"));
    EXPECT_EQ(readOnly->stringValueForKey(QStringLiteral("title")), QStringLiteral("Holidays"));
    EXPECT_EQ(readOnly->effectiveTitle(), QStringLiteral("Leave"));
    // The sync writes the server's own title.
    whileSyncing(account, [&] { readOnly->setEffectiveTitle(QStringLiteral("Feiertage")); });
    EXPECT_EQ(readOnly->stringValueForKey(QStringLiteral("title")), QStringLiteral("Feiertage"));
    EXPECT_EQ(readOnly->effectiveTitle(), QStringLiteral("Leave"));
}

}  // namespace
