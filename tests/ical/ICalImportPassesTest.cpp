#include <gtest/gtest.h>

#include "ical/ICalImportFixture.h"
#include "time/recurrence/ItemRecurrence.h"

// The importer reads a text's items first and their moved occurrences after
// them, over every VCALENDAR of the text, and frees each component once it
// is read: components keep their positions and their order, and a text is
// imported once.
namespace {

class ICalImportPassesTest : public ICalImportTest {
protected:
    static QByteArray calendars() {
        return calendarText({"X-WR-CALNAME:Trips", "BEGIN:VEVENT", "UID:series",
                             "RECURRENCE-ID:20240308T100000Z", "DTSTART:20240308T120000Z",
                             "SUMMARY:Moved", "END:VEVENT", "BEGIN:VEVENT",
                             "SUMMARY:No start, no UID", "END:VEVENT", "BEGIN:VEVENT", "UID:single",
                             "DTSTART:20240302T090000Z", "SUMMARY:Single", "END:VEVENT"}) +
               calendarText({"BEGIN:VEVENT", "RECURRENCE-ID:20240315T100000Z",
                             "SUMMARY:An occurrence without start or UID", "END:VEVENT",
                             "BEGIN:VEVENT", "UID:series", "DTSTART:20240301T100000Z",
                             "RRULE:FREQ=WEEKLY;COUNT=4", "SUMMARY:Series", "END:VEVENT"});
    }
    int itemCount() const {
        return int(m_calendar->objectsForKey(QStringLiteral("childrenDirect")).size());
    }
};

TEST_F(ICalImportPassesTest, OccurrencesComeAfterTheItemsOfEveryCalendarAndKeepTheirPositions) {
    ICalImporter importer(calendars());
    const ICalImporter::Result result = importer.importInto(m_calendar);

    EXPECT_EQ(result.stored, 3);
    EXPECT_EQ(result.updated, 0);
    EXPECT_EQ(result.uids, (QStringList{QStringLiteral("single"), QStringLiteral("series")}));
    // The item without start is skipped while the items are read, the
    // occurrence without start after them; both named by their place in the
    // text.
    ASSERT_EQ(result.skipped.size(), 2);
    EXPECT_EQ(result.skipped[0].component, QStringLiteral("component 2"));
    EXPECT_EQ(result.skipped[1].component, QStringLiteral("component 4"));
    // The occurrence that came before its series in another VCALENDAR
    // belongs to it.
    CommonDataMO *series = item(QStringLiteral("series"));
    ASSERT_NE(series, nullptr);
    const QList<CommonDataMO *> detached = ItemRecurrence(series).detachedInstances();
    ASSERT_EQ(detached.size(), 1);
    EXPECT_EQ(result.detached, detached);
    EXPECT_EQ(detached[0]->stringValueForKey(QStringLiteral("title")), QStringLiteral("Moved"));
    EXPECT_EQ(detached[0]->calendarDateValueForKey(QStringLiteral("startTimeAndZone"))->date(),
              utc(2024, 3, 8, 12).date());
    EXPECT_EQ(item(QStringLiteral("single"))->stringValueForKey(QStringLiteral("title")),
              QStringLiteral("Single"));
}

TEST_F(ICalImportPassesTest, AnImporterImportsItsTextOnce) {
    ICalImporter importer(calendars());
    importer.importInto(m_calendar);
    const int items = itemCount();
    EXPECT_THROW(importer.importInto(m_calendar), std::logic_error);
    EXPECT_EQ(itemCount(), items);
    // What describes the calendar is still there to read.
    EXPECT_EQ(importer.calendarName(), QStringLiteral("Trips"));
}

}  // namespace
