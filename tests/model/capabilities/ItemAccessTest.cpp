#include "model/ItemAccess.h"

#include "model/capabilities/FakeEngines.h"
#include "model/objects/ModelFixture.h"
#include "model/util/OwnAddresses.h"

namespace {

class ItemAccessTest : public ModelTest {
protected:
    ItemAccessTest() {
        OwnAddresses::setProvider([] { return QStringList{QStringLiteral("me@home.example")}; });
    }
    ~ItemAccessTest() override { OwnAddresses::setProvider({}); }

    CommonDataMO *meeting(const char *kind, const QString &organizerEmail) {
        ModelObject *service =
            kind ? makeService(QString::fromLatin1(kind), QStringLiteral("S")) : nullptr;
        CommonDataMO *item =
            makeItem(makeCalendar(QStringLiteral("C"), service), QStringLiteral("M"));
        m_organizer = makeExtra(QStringLiteral("Organizer"), item);
        m_organizer->setValue(QStringLiteral("email"), organizerEmail);
        m_us = makeExtra(QStringLiteral("Attendee"), item);
        m_us->setValue(QStringLiteral("email"), QStringLiteral("me@home.example"));
        return item;
    }

    ScopedEngineRegistry m_engines;
    ExtraDataMO *m_organizer = nullptr;
    ExtraDataMO *m_us = nullptr;
};

TEST_F(ItemAccessTest, InvitedUsersMaySetRemindersOnReadOnlyMeetings) {
    CommonDataMO *item = meeting(nullptr, QStringLiteral("boss@corp.example"));
    EXPECT_EQ(ItemAccess(item, 2, 2).effectiveAccessForReminders(), 2);  // not answered
    m_us->setIntegerValue(1, QStringLiteral("status"));
    EXPECT_EQ(ItemAccess(item, 2, 2).effectiveAccessForReminders(), 3);
    EXPECT_EQ(ItemAccess(item, 1, 1).effectiveAccessForReminders(), 1);
    EXPECT_EQ(ItemAccess(item, 4, 4).effectiveAccessForReminders(), 4);
    // The organizer of a read-only meeting may not.
    m_organizer->setValue(QStringLiteral("email"), QStringLiteral("ME@home.example"));
    EXPECT_EQ(ItemAccess(item, 2, 2).effectiveAccessForReminders(), 2);
    // A meeting that came by mail, whatever the user's answer.
    m_us->setIntegerValue(0, QStringLiteral("status"));
    m_organizer->setValue(QStringLiteral("email"), QStringLiteral("boss@corp.example"));
    m_organizer->setBoolValue(true, QStringLiteral("localFromITIP"));
    EXPECT_EQ(ItemAccess(item, 2, 2).effectiveAccessForReminders(), 3);
}

TEST_F(ItemAccessTest, MeetingsByMailOrServerSchedulingMayMove) {
    auto engine = m_engines.registerCalDAV();
    engine->userAddresses = {QStringLiteral("me@home.example")};
    CommonDataMO *item = meeting("CalDAV Synchronization", QStringLiteral("boss@corp.example"));
    EXPECT_EQ(ItemAccess(item, 2, 2).effectiveAccessForContainerChange(), 2);
    engine->autoScheduling = true;
    EXPECT_EQ(ItemAccess(item, 2, 2).effectiveAccessForContainerChange(), 3);
    EXPECT_EQ(ItemAccess(item, 2, 2).effectiveAccessForKey(QStringLiteral("container")), 3);
    m_us->setValue(QStringLiteral("email"), QStringLiteral("someone@corp.example"));
    EXPECT_EQ(ItemAccess(item, 4, 4).effectiveAccessForContainerChange(), 4);
    m_organizer->setBoolValue(true, QStringLiteral("localFromITIP"));
    EXPECT_EQ(ItemAccess(item, 4, 4).effectiveAccessForContainerChange(), 3);
}

TEST_F(ItemAccessTest, KeysRefineTheEffectiveAccess) {
    CommonDataMO *item = meeting(nullptr, QStringLiteral("boss@corp.example"));
    const ItemAccess access(item, 4, 1);
    EXPECT_EQ(ItemAccess(item, 0, 0).effectiveAccessForKey(QStringLiteral("localColor")), 3);
    EXPECT_EQ(access.effectiveAccessForKey(QStringLiteral("attendeeStatus")), 1);
    EXPECT_EQ(access.effectiveAccessForKey(QStringLiteral("blocksTime")), 1);
    EXPECT_EQ(access.effectiveAccessForKey(QStringLiteral("title")), 4);
    // A local calendar cannot hold private events.
    EXPECT_EQ(access.effectiveAccessForKey(QStringLiteral("classification")), 2);
    item->setIntegerValue(7, QStringLiteral("status"));
    EXPECT_EQ(ItemAccess(item, 4, 4).effectiveAccessForKey(QStringLiteral("blocksTime")), 2);

    CommonDataMO *onExchange = meeting("Exchange Synchronization", QString());
    EXPECT_EQ(ItemAccess(onExchange, 4, 4).effectiveAccessForKey(QStringLiteral("classification")),
              4);
}

}  // namespace
