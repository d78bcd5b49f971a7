#include <gtest/gtest.h>

#include <QDateTime>

#include "model/Queries.h"
#include "model/ReminderRecord.h"
#include "model/objects/ModelFixture.h"

// Readable failures.
void PrintTo(const Reminder &reminder, std::ostream *out) {
    *out << "type " << reminder.reminderType << ", relative " << reminder.relativeSeconds
         << ", absolute "
         << (reminder.absoluteTime ? reminder.absoluteTime->secondsSinceReference() : -1)
         << ", title " << reminder.title.value_or(QStringLiteral("-")).toStdString() << ", note "
         << reminder.note.value_or(QStringLiteral("-")).toStdString() << ", url "
         << reminder.url.value_or(QStringLiteral("-")).toStdString() << ", recipients "
         << reminder.recipients.join(QLatin1Char(',')).toStdString() << ", xProps "
         << reminder.xProps.size();
}

namespace {

const QVariantMap kLocationXProps{
    {QStringLiteral("X-APPLE-PROXIMITY"),
     QVariantMap{{QStringLiteral("prop-value"), QStringLiteral("ARRIVE")}}},
    {QStringLiteral("X-APPLE-STRUCTURED-LOCATION"),
     QVariantMap{{QStringLiteral("prop-value"), QStringLiteral("geo:48.8584,2.2945")},
                 {QStringLiteral("VALUE"), QStringLiteral("URI")},
                 {QStringLiteral("X-TITLE"), QStringLiteral("Tower")},
                 {QStringLiteral("X-APPLE-RADIUS"), QStringLiteral("70")}}}};

class ReminderRecordTest : public ModelTest {
protected:
    ReminderRecordTest() {
        Queries::setContext(&context());
        m_item = makeItem(makeCalendar(QStringLiteral("CAL")), QStringLiteral("E"));
    }
    ~ReminderRecordTest() override { Queries::setContext(nullptr); }

    ExtraDataMO *makeReminder(qint64 type, double relative) {
        ExtraDataMO *record = ExtraDataMO::makeExtra(QStringLiteral("Reminder"), m_item);
        record->setIntegerValue(type, QStringLiteral("reminderType"));
        record->setDoubleValue(relative, QStringLiteral("relativeSeconds"));
        return record;
    }

    CommonDataMO *m_item = nullptr;
};

TEST_F(ReminderRecordTest, TheRecordAndTheDictionaryGiveTheSameValue) {
    ExtraDataMO *record = makeReminder(2, -900);
    record->setValue(QStringLiteral("title"), QStringLiteral("Leave now"));
    record->setArchivedValue(QStringList{QStringLiteral("a@example.org")},
                             QStringLiteral("recipients"));
    record->setDateValue(Date(800000000), QStringLiteral("absoluteTime"));
    const Reminder fromDictionary = Reminder::reminderFromDictionary(
        {{QStringLiteral("reminderType"), 2},
         {QStringLiteral("relativeSeconds"), -900.0},
         {QStringLiteral("absoluteTime"), Date(800000000).toDateTime()},
         {QStringLiteral("title"), QStringLiteral("Leave now")},
         {QStringLiteral("recipients"), QStringList{QStringLiteral("a@example.org")}}});
    EXPECT_EQ(ReminderRecord(*record).reminder(), fromDictionary);
    // Untyped values do not pass for strings or dates.
    const Reminder odd = Reminder::reminderFromDictionary(
        {{QStringLiteral("title"), 5}, {QStringLiteral("absoluteTime"), QStringLiteral("soon")}});
    EXPECT_FALSE(odd.title);
    EXPECT_FALSE(odd.absoluteTime);
}

TEST_F(ReminderRecordTest, ComparisonLooksAtTheTriggerAlwaysAndAtTextsWhenAsked) {
    ExtraDataMO *email = makeReminder(2, -600);
    email->setValue(QStringLiteral("title"), QStringLiteral("Standup"));
    email->setArchivedValue(
        QStringList{QStringLiteral("Ann@Example.org"), QStringLiteral("bo@x.org")},
        QStringLiteral("recipients"));
    Reminder other = ReminderRecord(*email).reminder();
    other.relativeSeconds = -600.3;  // a round trip through text keeps it within a second
    other.recipients = {QStringLiteral("bo@x.org"), QStringLiteral("ann@example.org")};
    EXPECT_TRUE(ReminderRecord(*email).equalsReminder(other, true, true));

    other.title = QStringLiteral("Stand-up");
    EXPECT_FALSE(ReminderRecord(*email).equalsReminder(other, true, false));
    EXPECT_TRUE(ReminderRecord(*email).equalsReminder(other, false, false));
    other.relativeSeconds = -300;
    EXPECT_FALSE(ReminderRecord(*email).equalsReminder(other, false, false));
    other = ReminderRecord(*email).reminder();
    other.absoluteTime = Date(1);
    EXPECT_FALSE(ReminderRecord(*email).equalsReminder(other, false, false));

    // A sound reminder's sound counts only when asked for.
    ExtraDataMO *sound = makeReminder(1, 0);
    sound->setValue(QStringLiteral("url"), QStringLiteral("Glass"));
    Reminder chime = ReminderRecord(*sound).reminder();
    chime.url = QStringLiteral("Basso");
    EXPECT_TRUE(ReminderRecord(*sound).equalsReminder(chime, true, false));
    EXPECT_FALSE(ReminderRecord(*sound).equalsReminder(chime, false, true));
    chime.reminderType = 0;
    EXPECT_FALSE(ReminderRecord(*sound).equalsReminder(chime, false, false));
}

TEST_F(ReminderRecordTest, LocationRemindersDifferByTheirPlace) {
    ExtraDataMO *arrive = makeReminder(10, 0);
    arrive->setArchivedValue(kLocationXProps, QStringLiteral("xProps"));
    Reminder elsewhere = ReminderRecord(*arrive).reminder();
    EXPECT_TRUE(ReminderRecord(*arrive).equalsReminder(elsewhere, false, false));
    QVariantMap location =
        elsewhere.xProps.value(QStringLiteral("X-APPLE-STRUCTURED-LOCATION")).toMap();
    location.insert(QStringLiteral("prop-value"), QStringLiteral("geo:51.5,0"));
    elsewhere.xProps.insert(QStringLiteral("X-APPLE-STRUCTURED-LOCATION"), location);
    EXPECT_FALSE(ReminderRecord(*arrive).equalsReminder(elsewhere, false, false));
}

TEST(ProximityTest, SettingsGoBetweenPropertiesAndAFlatDictionary) {
    const std::optional<QVariantMap> flat =
        ReminderRecord::proximityDictFromXProps(kLocationXProps);
    ASSERT_TRUE(flat);
    EXPECT_EQ(*flat, (QVariantMap{{QStringLiteral("X-APPLE-PROXIMITY"), QStringLiteral("ARRIVE")},
                                  {QStringLiteral("X-APPLE-STRUCTURED-LOCATION"),
                                   QStringLiteral("geo:48.8584,2.2945")},
                                  {QStringLiteral("X-TITLE"), QStringLiteral("Tower")},
                                  {QStringLiteral("X-APPLE-RADIUS"), QStringLiteral("70")}}));
    EXPECT_EQ(ReminderRecord::xPropsFromProximityDict(*flat), kLocationXProps);

    // Without the proximity there are no settings, whatever else is kept.
    QVariantMap onlyPlace = kLocationXProps;
    onlyPlace.remove(QStringLiteral("X-APPLE-PROXIMITY"));
    EXPECT_FALSE(ReminderRecord::proximityDictFromXProps(onlyPlace));
    // Proximity alone stays alone.
    EXPECT_EQ(
        ReminderRecord::xPropsFromProximityDict(
            {{QStringLiteral("X-APPLE-PROXIMITY"), QStringLiteral("DEPART")}}),
        (QVariantMap{{QStringLiteral("X-APPLE-PROXIMITY"),
                      QVariantMap{{QStringLiteral("prop-value"), QStringLiteral("DEPART")}}}}));
}

}  // namespace
