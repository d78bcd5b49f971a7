#include "model/ItemReminders.h"

#include "model/Queries.h"
#include "model/objects/ModelFixture.h"

namespace {

class ItemRemindersTest : public ModelTest {
protected:
    ItemRemindersTest() { Queries::setContext(&context()); }
    ~ItemRemindersTest() override { Queries::setContext(nullptr); }

    ExtraDataMO *reminder(CommonDataMO *item, std::optional<double> relative,
                          std::optional<double> absolute, qint64 type = 0,
                          const char *entity = "Reminder") {
        ExtraDataMO *made = makeExtra(QString::fromLatin1(entity), item);
        if (relative)
            made->setDoubleValue(*relative, QStringLiteral("relativeSeconds"));
        if (absolute)
            made->setDateValue(Date(*absolute), QStringLiteral("absoluteTime"));
        made->setIntegerValue(type, QStringLiteral("reminderType"));
        return made;
    }

    CommonDataMO *m_calendar = makeCalendar(QStringLiteral("C"));
    CommonDataMO *m_item = makeItem(m_calendar, QStringLiteral("I"));
};

TEST_F(ItemRemindersTest, GlobalAndLocalRecordsAreToldApartByEntity) {
    ExtraDataMO *global = reminder(m_item, -600, std::nullopt);
    ExtraDataMO *local = reminder(m_item, -60, std::nullopt, 0, "LocalReminder");
    ExtraDataMO *link = makeExtra(QStringLiteral("ContactLink"), m_item);
    ExtraDataMO *localLink = makeExtra(QStringLiteral("LocalContactLink"), m_item);
    const ItemReminders reminders(m_item);
    EXPECT_EQ(reminders.globalReminders(), QList<ExtraDataMO *>{global});
    EXPECT_EQ(reminders.localReminders(), QList<ExtraDataMO *>{local});
    EXPECT_EQ(reminders.globalContacts(), QList<ExtraDataMO *>{link});
    EXPECT_EQ(reminders.localContacts(), QList<ExtraDataMO *>{localLink});
}

TEST_F(ItemRemindersTest, UndatedItemsRemindAtTheirEarliestAbsoluteTime) {
    bool location = true;
    EXPECT_EQ(ItemReminders(m_item).reminderDateForUndatedEvent(&location), std::nullopt);
    EXPECT_FALSE(location);
    reminder(m_item, -600, std::nullopt);
    reminder(m_item, std::nullopt, kStart + 500);
    reminder(m_item, std::nullopt, kStart + 100, 10);
    EXPECT_EQ(ItemReminders(m_item).reminderDateForUndatedEvent(&location), Date(kStart + 100));
    EXPECT_TRUE(location);
}

TEST_F(ItemRemindersTest, VisibilityWidensForEveryReminder) {
    double before = 1, after = 1;
    ItemReminders(m_item).getReminderVisibilityForStartDate(Date(kStart), &before, &after);
    EXPECT_EQ(before, 0);
    EXPECT_EQ(after, 0);

    reminder(m_item, -900, std::nullopt);
    reminder(m_item, 300, std::nullopt);
    // An absolute time still to come counts from the start; a past one by
    // its relative seconds.
    reminder(m_item, -60, kStart + 7200);
    reminder(m_item, 0, kStart - 7200);
    ItemReminders(m_item).getReminderVisibilityForStartDate(Date(kStart + 3600), &before, &after);
    EXPECT_EQ(before, -900);
    EXPECT_EQ(after, 3601);
    // Without a start only the relative seconds count.
    ItemReminders(m_item).getReminderVisibilityForStartDate(std::nullopt, &before, &after);
    EXPECT_EQ(before, -900);
    EXPECT_EQ(after, 301);
}

TEST_F(ItemRemindersTest, ChangingFiltersReturnsTheItemsWhoseDisplayChanges) {
    reminder(m_item, -600, std::nullopt);
    CommonDataMO *todo = makeItem(m_calendar, QStringLiteral("T"));
    todo->setIntegerValue(1, QStringLiteral("eventType"));
    CommonDataMO *plain = makeItem(m_calendar, QStringLiteral("P"));
    makeItem(makeCalendar(QStringLiteral("Other")), QStringLiteral("O"))
        ->setIntegerValue(1, QStringLiteral("eventType"));
    context().save();

    // Only the attachment setting: no item.
    EXPECT_TRUE(ItemReminders::setFilterReminders(m_calendar, false, true, false).isEmpty());
    EXPECT_TRUE(m_calendar->boolValueForKey(QStringLiteral("localFetchAttachments")));

    EXPECT_EQ(ItemReminders::setFilterReminders(m_calendar, true, true, false),
              QList<CommonDataMO *>{m_item});
    EXPECT_EQ(ItemReminders::setFilterReminders(m_calendar, true, false, true),
              QList<CommonDataMO *>{todo});
    EXPECT_FALSE(m_calendar->boolValueForKey(QStringLiteral("localFetchAttachments")));
    QList<CommonDataMO *> both = ItemReminders::setFilterReminders(m_calendar, false, false, false);
    std::sort(both.begin(), both.end());
    QList<CommonDataMO *> expected{m_item, todo};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(both, expected);
    EXPECT_FALSE(both.contains(plain));
}

}  // namespace
