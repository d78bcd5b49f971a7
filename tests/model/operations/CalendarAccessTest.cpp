#include <gtest/gtest.h>

#include "model/CalendarAccess.h"
#include "model/objects/ModelFixture.h"

namespace {

using CalendarAccessTest = ModelTest;

TEST_F(CalendarAccessTest, OwnersDecideTheLevels) {
    CommonDataMO *mine = makeCalendar(QStringLiteral("MINE"));
    CommonDataMO *item = makeItem(mine, QStringLiteral("I"));
    EXPECT_EQ(CalendarAccess::effectiveAccess(*mine), 4);
    item->setIntegerValue(1, QStringLiteral("access"));
    EXPECT_EQ(CalendarAccess::effectiveAccess(*item), 1);

    // A calendar subscribed from another copy: 2 for itself, 3 for its items.
    ModelObject *peer =
        makeService(QStringLiteral("Bonjour Subscribe Synchronization"), QStringLiteral("P"));
    CommonDataMO *shared = makeCalendar(QStringLiteral("SHARED"), peer);
    shared->setIntegerValue(4, QStringLiteral("access"));
    CommonDataMO *sharedItem = makeItem(shared, QStringLiteral("S"));
    EXPECT_EQ(CalendarAccess::effectiveAccess(*shared), 2);
    EXPECT_EQ(CalendarAccess::effectiveAccess(*sharedItem), 3);
    // With a subscribe password its access is the password's.
    shared->setMaskedStringValue(QStringLiteral("pw"), QStringLiteral("localSubscribePassword"));
    shared->setIntegerValue(1, QStringLiteral("localSubscribeAccess"));
    EXPECT_EQ(CalendarAccess::effectiveAccess(*sharedItem), 1);
    // While its owner syncs, anything goes.
    whileSyncing(peer, [&] { EXPECT_EQ(CalendarAccess::effectiveAccess(*sharedItem), 4); });

    // Other owners grant what their remote object says, else the calendar's.
    ModelObject *dav = makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("D"));
    CommonDataMO *remote = makeCalendar(QStringLiteral("REMOTE"), dav);
    remote->setIntegerValue(3, QStringLiteral("access"));
    EXPECT_EQ(CalendarAccess::effectiveAccess(*remote), 3);
    ManagedObject *record = context().insertNewObject(QStringLiteral("RemoteObject"));
    record->setObject(QStringLiteral("theRemoteService"), dav);
    record->setObject(QStringLiteral("localObject"), remote->objectInfo());
    record->setValue(QStringLiteral("remoteAccess"), 1);
    EXPECT_EQ(CalendarAccess::effectiveAccess(*remote), 1);
    EXPECT_EQ(CalendarAccess::effectiveAccessForChildren(*remote), 1);
}

TEST_F(CalendarAccessTest, PasswordsSetWhatSubscribersGet) {
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    context().save();
    CalendarAccess::setDefaultSubscriberAccess(*calendar);
    EXPECT_EQ(calendar->integerValueForKey(QStringLiteral("access")), 3);
    EXPECT_TRUE(CalendarAccess::passwordWasNotNeeded(*calendar));

    CalendarAccess::setPassword(*calendar, QStringLiteral("localWritePassword"),
                                QStringLiteral("w"));
    EXPECT_EQ(calendar->integerValueForKey(QStringLiteral("access")), 2);
    EXPECT_TRUE(CalendarAccess::passwordGrantsReadAccess(*calendar, QStringLiteral("x")));
    EXPECT_FALSE(CalendarAccess::passwordGrantsWriteAccess(*calendar, QStringLiteral("x")));
    EXPECT_TRUE(CalendarAccess::passwordGrantsWriteAccess(*calendar, QStringLiteral("w")));

    CalendarAccess::setPassword(*calendar, QStringLiteral("localReadPassword"),
                                QStringLiteral("r"));
    EXPECT_EQ(calendar->integerValueForKey(QStringLiteral("access")), 0);
    EXPECT_FALSE(CalendarAccess::passwordGrantsReadAccess(*calendar, QStringLiteral("x")));
    EXPECT_TRUE(CalendarAccess::passwordGrantsReadAccess(*calendar, QStringLiteral("r")));
    EXPECT_TRUE(CalendarAccess::passwordGrantsReadAccess(*calendar, QStringLiteral("w")));
    EXPECT_FALSE(CalendarAccess::passwordWasNotNeeded(*calendar));

    // Unchanged access leaves the stamps alone.
    m_clock.advance(100);
    const std::optional<Date> stamped =
        calendar->objectInfo()->dateValueForKey(QStringLiteral("lastModTime"));
    CalendarAccess::setDefaultSubscriberAccess(*calendar);
    EXPECT_EQ(calendar->objectInfo()->dateValueForKey(QStringLiteral("lastModTime")), stamped);

    // A web subscription caps the level at 2.
    ModelObject *web =
        makeService(QStringLiteral("WebDAV Subscribe Synchronization"), QStringLiteral("W"));
    CommonDataMO *feed = makeCalendar(QStringLiteral("FEED"), web);
    CalendarAccess::setDefaultSubscriberAccess(*feed);
    EXPECT_EQ(feed->integerValueForKey(QStringLiteral("access")), 2);
}

}  // namespace
