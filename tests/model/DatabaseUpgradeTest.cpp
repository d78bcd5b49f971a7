#include <gtest/gtest.h>

#include <QDir>

#include "model/DatabaseUpgrade.h"
#include "model/Queries.h"
#include "model/ReminderRecord.h"
#include "model/foundation/Paths.h"
#include "model/objects/ModelFixture.h"

namespace {

// The data steps that bring an older store's contents up to date.
class DatabaseUpgradeTest : public ModelTest {
protected:
    DatabaseUpgradeTest() { Queries::setContext(&context()); }
    ~DatabaseUpgradeTest() override { Queries::setContext(nullptr); }

    TemporaryHome m_home;
};

TEST_F(DatabaseUpgradeTest, From40AttendeesBecomeSearchableAndPlacesMoveToProperties) {
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    CommonDataMO *meeting = makeItem(calendar, QStringLiteral("M"));
    meeting->setValue(QStringLiteral("title"), QStringLiteral("Review"));
    meeting->setIntegerValue(0, QStringLiteral("eventType"));
    ExtraDataMO::attachAttendee(QStringLiteral("zed@example.org"), meeting)
        ->setValue(QStringLiteral("name"), QStringLiteral("Zed Quill"));
    meeting->setValue(QStringLiteral("localSearchText"), QStringLiteral(" Review "));

    const QVariantMap place{
        {QStringLiteral("X-APPLE-PROXIMITY"), QStringLiteral("ARRIVE")},
        {QStringLiteral("X-APPLE-STRUCTURED-LOCATION"), QStringLiteral("geo:1,2")},
        {QStringLiteral("X-TITLE"), QStringLiteral("Office")}};
    ExtraDataMO *location = makeExtra(QStringLiteral("Reminder"), meeting);
    location->setIntegerValue(10, QStringLiteral("reminderType"));
    location->setArchivedValue(place, QStringLiteral("recipients"));
    ExtraDataMO *email = makeExtra(QStringLiteral("Reminder"), meeting);
    email->setIntegerValue(2, QStringLiteral("reminderType"));
    email->setArchivedValue(QStringList{QStringLiteral("a@b.org")}, QStringLiteral("recipients"));
    const QString cache =
        QDir(Paths::applicationSupportFolder()).filePath(QStringLiteral("Old/exchange"));
    ASSERT_TRUE(QDir().mkpath(cache + QStringLiteral("/items")));
    context().save();

    DatabaseUpgrade(&context()).finishUpgradeFromVersion(QStringLiteral("4.0"));

    EXPECT_TRUE(meeting->valueForKey(QStringLiteral("localSearchText"))
                    .toString()
                    .contains(QStringLiteral("Zed Quill")));
    EXPECT_FALSE(location->unarchivedValueForKey(QStringLiteral("recipients")).isValid());
    EXPECT_EQ(ReminderRecord::proximityDictFromXProps(
                  location->unarchivedValueForKey(QStringLiteral("xProps")).toMap()),
              place);
    EXPECT_EQ(email->unarchivedValueForKey(QStringLiteral("recipients")).toStringList(),
              QStringList{QStringLiteral("a@b.org")});
    EXPECT_FALSE(QFileInfo::exists(cache));
    EXPECT_FALSE(context().hasChanges());  // saved
}

TEST_F(DatabaseUpgradeTest, From41ExchangeTagsBecomeLocalTagsAndTheHistoryADictionary) {
    ModelObject *exchange =
        makeService(QStringLiteral("Exchange Synchronization"), QStringLiteral("X"));
    CommonDataMO *item =
        makeItem(makeCalendar(QStringLiteral("CAL"), exchange), QStringLiteral("E"));
    item->setTagListValue({QStringLiteral("Red_Team"), QStringLiteral("Plans")},
                          QStringLiteral("tags"));
    CommonDataMO *local = makeItem(makeCalendar(QStringLiteral("LOCAL")), QStringLiteral("L"));
    local->setTagListValue({QStringLiteral("Keep_Me")}, QStringLiteral("tags"));
    Preferences::shared().setObject(QStringLiteral("localTagHistory"),
                                    QStringList{QStringLiteral("Red_Team")});

    DatabaseUpgrade(&context()).finishUpgradeFromVersion(QStringLiteral("4.1"));

    EXPECT_TRUE(item->tagListValueForKey(QStringLiteral("tags")).isEmpty());
    EXPECT_EQ(item->tagListValueForKey(QStringLiteral("localTags")),
              (QStringList{QStringLiteral("Plans"), QStringLiteral("Red Team")}));
    EXPECT_EQ(local->tagListValueForKey(QStringLiteral("tags")),
              QStringList{QStringLiteral("Keep_Me")});
    EXPECT_EQ(Preferences::shared().objectForKey(QStringLiteral("localTagHistory")).toMap(),
              (QVariantMap{{QStringLiteral("Red Team"), kStart}}));
}

}  // namespace
