#include "model/foundation/WallClock.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceStoreTest.h"

namespace {

// The agenda of a saved store read by a new context, and what unsaved
// changes of that context do to it.
class StoredExpansionTest : public RecurrenceStoreTest {
protected:
    // Saves and opens the store again: the items are rows until used.
    void saveAndReopen() {
        for (CommonDataMO *item : m_compiled)
            ItemRecurrence(item).calcCompiledDays();
        m_compiled.clear();
        const ObjectID calendarID = calendar()->objectID();
        context().save();
        reopen();
        m_calendar = itemOf(calendarID);
    }
    CommonDataMO *repeating(const QString &title, int day, int hour, const QString &rule) {
        CommonDataMO *item = makeEvent(title, 2026, 11, day, hour);
        addRule(item, rule);
        m_compiled.append(item);
        return item;
    }
    CommonDataMO *itemOf(const ObjectID &id) {
        return ModelObject::as<CommonDataMO>(context().objectWithID(id));
    }
    // "Title d hh" on the New York wall clock, in agenda order.
    QStringList agenda(Date from, Date to, const CommonDataMO *calendar = nullptr) {
        QStringList lines;
        for (const Occurrence &occurrence : expand(from, to, calendar)) {
            const WallClock clock = WallClock::of(occurrence.start.date(), newYork());
            lines << QStringLiteral("%1 %2 %3")
                         .arg(occurrence.item->effectiveTitle().value_or(QString()))
                         .arg(clock.day)
                         .arg(clock.hour);
        }
        return lines;
    }

    QList<CommonDataMO *> m_compiled;
};

TEST_F(StoredExpansionTest, UnsavedChangesWinOverTheStoredRows) {
    const ObjectID moved = makeEvent(QStringLiteral("Moved"), 2026, 11, 3, 10)->objectID();
    const ObjectID gone = makeEvent(QStringLiteral("Gone"), 2026, 11, 4, 10)->objectID();
    const ObjectID daily =
        repeating(QStringLiteral("Daily"), 2, 8, QStringLiteral("FREQ=DAILY;COUNT=3"))->objectID();
    const ObjectID otherID =
        makeCalendar(QStringLiteral("WORK"), QStringLiteral("Work"))->objectID();
    makeEvent(QStringLiteral("Elsewhere"), nyTime(2026, 11, 5, 11), nyTime(2026, 11, 5, 12),
              itemOf(otherID));
    saveAndReopen();
    const Date from = utc(2026, 11, 2);
    const Date to = utc(2026, 11, 9);
    EXPECT_EQ(agenda(from, to), (QStringList{"Daily 2 8", "Daily 3 8", "Moved 3 10", "Daily 4 8",
                                             "Gone 4 10", "Elsewhere 5 11"}));
    EXPECT_EQ(agenda(from, to, itemOf(otherID)), QStringList{"Elsewhere 5 11"});

    CommonDataMO *movedItem = itemOf(moved);
    movedItem->setCalendarDateValue(nyTime(2026, 11, 6, 15), QStringLiteral("startTimeAndZone"));
    movedItem->setCalendarDateValue(nyTime(2026, 11, 6, 16), QStringLiteral("endTimeAndZone"));
    CommonDataMO::deleteObject(itemOf(gone));
    ItemRecurrence(itemOf(daily)).addExceptionDate(nyTime(2026, 11, 3, 8));
    makeEvent(QStringLiteral("New"), 2026, 11, 5, 9);
    EXPECT_EQ(agenda(from, to),
              (QStringList{"Daily 2 8", "Daily 4 8", "New 5 9", "Elsewhere 5 11", "Moved 6 15"}));
    EXPECT_EQ(agenda(from, to, calendar()),
              (QStringList{"Daily 2 8", "Daily 4 8", "New 5 9", "Moved 6 15"}));
    // The day the moved item left shows nothing any more.
    EXPECT_EQ(agenda(utc(2026, 11, 3), utc(2026, 11, 4)), QStringList{});
}

TEST_F(StoredExpansionTest, ADetachedInstanceMovedIntoTheRangeShowsWithoutItsSeries) {
    CommonDataMO *series =
        repeating(QStringLiteral("Weekly"), 2, 12, QStringLiteral("FREQ=WEEKLY;COUNT=3"));
    const ObjectID seriesID = series->objectID();
    const ObjectID instance =
        detach(series, nyTime(2026, 11, 2, 12), nyTime(2026, 12, 15, 13), nyTime(2026, 12, 15, 14))
            ->objectID();
    saveAndReopen();
    const Date from = utc(2026, 12, 14);
    const Date to = utc(2026, 12, 21);
    const QList<Occurrence> december = expand(from, to);
    ASSERT_EQ(december.size(), 1);
    EXPECT_EQ(december[0].item->objectID(), instance);
    EXPECT_TRUE(december[0].detached);
    EXPECT_EQ(december[0].recurrenceId->date(), nyTime(2026, 11, 2, 12).date());
    EXPECT_EQ(december[0].start.date(), nyTime(2026, 12, 15, 13).date());
    // The series itself lost that occurrence.
    EXPECT_EQ(agenda(utc(2026, 11, 2), utc(2026, 11, 17)),
              (QStringList{"Weekly 9 12", "Weekly 16 12"}));

    // Deleted, not saved: the occurrence is back where it was.
    CommonDataMO::deleteObject(itemOf(instance));
    ItemRecurrence(itemOf(seriesID)).detachedInstancesChanged();
    EXPECT_EQ(agenda(from, to), QStringList{});
    EXPECT_EQ(agenda(utc(2026, 11, 2), utc(2026, 11, 17)),
              (QStringList{"Weekly 2 12", "Weekly 9 12", "Weekly 16 12"}));
}

}  // namespace
