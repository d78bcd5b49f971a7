#include <QCoreApplication>

#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrencePrecompiler.h"
#include "time/recurrence/RecurrenceStoreTest.h"

namespace {

class RecurrencePrecompilerTest : public RecurrenceStoreTest {
protected:
    // Lets the walks finish and their queued results arrive.
    void settle() {
        m_precompiler.waitForWalks();
        QCoreApplication::processEvents();
    }
    RecurrencePrecompiler m_precompiler;
};

TEST_F(RecurrencePrecompilerTest, CompilesOnAWorkerAndStoresTheResultsOnTheMainThread) {
    QList<CommonDataMO *> items;
    for (int i = 0; i < 5; ++i) {
        CommonDataMO *event = makeEvent(QStringLiteral("E%1").arg(i), 2026, 11, 2 + i, 9);
        addRule(event, QStringLiteral("FREQ=WEEKLY;COUNT=%1").arg(i + 1));
        items.append(event);
    }
    CommonDataMO *single = makeEvent(QStringLiteral("Single"), 2026, 11, 2, 9);
    items.append(single);
    int completions = 0;
    m_precompiler.precompileAsyncBlock(items, [&] { ++completions; });
    EXPECT_TRUE(m_precompiler.isBusy());
    EXPECT_FALSE(ItemRecurrence(items[0]).compiledDays());  // nothing before the event loop
    settle();
    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(m_precompiler.isBusy());
    for (int i = 0; i < 5; ++i) {
        const auto offsets = ItemRecurrence(items[i]).compiledDays();
        ASSERT_TRUE(offsets) << i;
        EXPECT_EQ(offsets->size(), std::size_t(i + 1));
        EXPECT_EQ(items[i]->integerValueForKey(QStringLiteral("localLastDay")),
                  ItemRecurrence::dayOf(
                      nyTime(2026, 11, 2 + i + 7 * i, 10).date().secondsSinceReference()));
    }
}

TEST_F(RecurrencePrecompilerTest, DropsResultsForItemsThatWentAwayOrChanged) {
    CommonDataMO *gone = makeEvent(QStringLiteral("Gone"), 2026, 11, 2, 9);
    addRule(gone, QStringLiteral("FREQ=DAILY"));
    CommonDataMO *changed = makeEvent(QStringLiteral("Changed"), 2026, 11, 2, 9);
    addRule(changed, QStringLiteral("FREQ=DAILY;COUNT=3"));
    int completions = 0;
    m_precompiler.precompileAsyncBlock({gone, changed}, [&] { ++completions; });
    CommonDataMO::deleteObject(gone);
    addRule(changed, QStringLiteral("FREQ=DAILY;COUNT=4"));
    settle();
    EXPECT_EQ(completions, 1);
    EXPECT_FALSE(ItemRecurrence(changed).compiledDays());  // the walk saw the old rules
}

TEST_F(RecurrencePrecompilerTest, ADelayedStartWaitsForTheClock) {
    CommonDataMO *event = makeEvent(QStringLiteral("Later"), 2026, 11, 2, 9);
    addRule(event, QStringLiteral("FREQ=DAILY;COUNT=2"));
    bool done = false;
    m_precompiler.precompileAfter(30, {event}, [&] { done = true; });
    settle();
    EXPECT_FALSE(done);
    EXPECT_TRUE(m_precompiler.isBusy());
    m_clock.advance(30);
    settle();
    EXPECT_TRUE(done);
    EXPECT_EQ(ItemRecurrence(event).compiledDays()->size(), 2u);
}

TEST_F(RecurrencePrecompilerTest, CompletesAtOnceWhenNothingNeedsCompiling) {
    CommonDataMO *toDo = makeEvent(QStringLiteral("To-do"), 2026, 11, 2, 9);
    toDo->setIntegerValue(1, QStringLiteral("eventType"));
    addRule(toDo, QStringLiteral("FREQ=DAILY"));
    bool done = false;
    m_precompiler.precompileAsyncBlock({toDo}, [&] { done = true; });
    settle();
    EXPECT_TRUE(done);
    EXPECT_FALSE(ItemRecurrence(toDo).compiledDays());
}

}  // namespace
