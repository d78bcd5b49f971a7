#include <gtest/gtest.h>

#include <QEventLoop>
#include <QTimer>
#include <vector>

#include "model/foundation/Clock.h"
#include "support/TestSupport.h"

namespace {

// What fired, and when the clock said it was.
struct Firings {
    std::vector<std::pair<QString, double>> list;

    Clock::Callback record(const QString &name, const Clock &clock) {
        return
            [this, name, &clock] { list.emplace_back(name, clock.now().secondsSinceReference()); };
    }
    QStringList names() const {
        QStringList result;
        for (const auto &[name, when] : list)
            result << name;
        return result;
    }
};

constexpr double kStart = 1000.0;

}  // namespace

TEST(ManualClock, FiresInOrderOfDueTimeThenOfScheduling) {
    ManualClock clock{Date(kStart)};
    Firings fired;
    clock.schedule(Date(kStart + 30), fired.record(QStringLiteral("late"), clock));
    clock.schedule(Date(kStart + 10), fired.record(QStringLiteral("first of two"), clock));
    clock.schedule(Date(kStart + 20), fired.record(QStringLiteral("middle"), clock));
    clock.schedule(Date(kStart + 10), fired.record(QStringLiteral("second of two"), clock));
    EXPECT_EQ(clock.nextDue(), Date(kStart + 10));

    clock.advance(25);
    EXPECT_EQ(fired.names(),
              (QStringList{QStringLiteral("first of two"), QStringLiteral("second of two"),
                           QStringLiteral("middle")}));
    // Each ran with the clock at its own due time.
    EXPECT_EQ(fired.list[0].second, kStart + 10);
    EXPECT_EQ(fired.list[2].second, kStart + 20);
    EXPECT_EQ(clock.now(), Date(kStart + 25));
    EXPECT_EQ(clock.pendingCount(), 1u);
    EXPECT_EQ(clock.nextDue(), Date(kStart + 30));

    clock.advanceTo(Date(kStart + 30));  // due exactly now fires
    EXPECT_EQ(fired.names().last(), QStringLiteral("late"));
    EXPECT_EQ(clock.pendingCount(), 0u);
    EXPECT_FALSE(clock.nextDue());
}

TEST(ManualClock, PastTimersAreDueNowAndTimeNeverGoesBack) {
    ManualClock clock{Date(kStart)};
    Firings fired;
    clock.schedule(Date(kStart + 5), fired.record(QStringLiteral("later"), clock));
    clock.schedule(Date(kStart - 60), fired.record(QStringLiteral("past"), clock));
    EXPECT_EQ(clock.nextDue(), Date(kStart));
    EXPECT_TRUE(fired.list.empty());  // nothing runs inside schedule()

    clock.fireDue();
    EXPECT_EQ(fired.names(), QStringList{QStringLiteral("past")});
    EXPECT_EQ(fired.list[0].second, kStart);

    clock.advanceTo(Date(kStart - 100));
    EXPECT_EQ(clock.now(), Date(kStart));
    EXPECT_EQ(fired.list.size(), 1u);
}

TEST(ManualClock, CancelForgetsOnlyThatTimer) {
    ManualClock clock{Date(kStart)};
    Firings fired;
    const Clock::TimerId a = clock.schedule(Date(kStart + 10), fired.record("a", clock));
    const Clock::TimerId b = clock.schedule(Date(kStart + 10), fired.record("b", clock));
    const Clock::TimerId c = clock.schedule(Date(kStart + 20), fired.record("c", clock));
    EXPECT_NE(a, b);
    clock.cancel(b);
    clock.cancel(b);       // twice
    clock.cancel(c + 99);  // never given out
    EXPECT_EQ(clock.pendingCount(), 2u);
    clock.advance(30);
    EXPECT_EQ(fired.names(), (QStringList{"a", "c"}));
    clock.cancel(a);  // already fired
    EXPECT_EQ(clock.pendingCount(), 0u);
}

TEST(ManualClock, TimersScheduledWhileFiringRunInTheSameAdvanceWhenDue) {
    ManualClock clock{Date(kStart)};
    Firings fired;
    Clock::TimerId doomed = 0;
    clock.schedule(Date(kStart + 10), [&] {
        fired.list.emplace_back("outer", clock.now().secondsSinceReference());
        clock.schedule(clock.now(), fired.record("due at once", clock));
        clock.schedule(Date(kStart + 15), fired.record("inner", clock));
        clock.schedule(Date(kStart + 100), fired.record("beyond", clock));
        clock.cancel(doomed);
    });
    clock.schedule(Date(kStart + 10), fired.record("same time, earlier", clock));
    doomed = clock.schedule(Date(kStart + 12), fired.record("cancelled by outer", clock));

    clock.advance(20);
    EXPECT_EQ(fired.names(), (QStringList{"outer", "same time, earlier", "due at once", "inner"}));
    EXPECT_EQ(fired.list[2].second, kStart + 10);
    EXPECT_EQ(fired.list[3].second, kStart + 15);
    EXPECT_EQ(clock.now(), Date(kStart + 20));
    EXPECT_EQ(clock.nextDue(), Date(kStart + 100));
}

TEST(ClockTimer, FiresOnceOnTheSharedClock) {
    ScopedManualClock clock{Date(kStart)};
    ClockTimer timer;
    int count = 0;
    bool activeWhileFiring = true;
    timer.start(10, [&] {
        ++count;
        activeWhileFiring = timer.isActive();
    });
    EXPECT_TRUE(timer.isActive());
    EXPECT_EQ(timer.fireDate(), Date(kStart + 10));
    clock.advance(9.5);
    EXPECT_EQ(count, 0);
    clock.advance(100);
    EXPECT_EQ(count, 1);
    EXPECT_FALSE(activeWhileFiring);
    EXPECT_FALSE(timer.isActive());
    EXPECT_FALSE(timer.fireDate());
}

TEST(ClockTimer, RestartReplacesAndStopOrDestructionCancels) {
    ScopedManualClock clock{Date(kStart)};
    Firings fired;
    {
        ClockTimer timer;
        timer.start(10, fired.record("first", clock));
        timer.startAt(Date(kStart + 20), fired.record("second", clock));
        EXPECT_EQ(clock.pendingCount(), 1u);
        clock.advance(30);
        EXPECT_EQ(fired.names(), QStringList{"second"});
        EXPECT_EQ(fired.list[0].second, kStart + 20);

        timer.start(10, fired.record("stopped", clock));
        timer.stop();
        timer.stop();
        EXPECT_FALSE(timer.isActive());
        EXPECT_EQ(clock.pendingCount(), 0u);

        timer.start(10, fired.record("destroyed", clock));
    }
    EXPECT_EQ(clock.pendingCount(), 0u);
    clock.advance(100);
    EXPECT_EQ(fired.names(), QStringList{"second"});
}

TEST(ClockTimer, RestartingFromItsOwnCallbackRepeats) {
    ScopedManualClock clock{Date(kStart)};
    ClockTimer timer;
    std::vector<double> times;
    std::function<void()> tick = [&] {
        times.push_back(clock.now().secondsSinceReference());
        if (times.size() < 3)
            timer.start(10, tick);
    };
    timer.start(10, tick);
    clock.advance(100);
    EXPECT_EQ(times, (std::vector<double>{kStart + 10, kStart + 20, kStart + 30}));
    EXPECT_FALSE(timer.isActive());
}

TEST(ClockTimer, StopsOnTheClockItWasStartedOn) {
    ManualClock first{Date(kStart)}, second{Date(kStart)};
    Clock::setShared(&first);
    ClockTimer timer;
    timer.start(10, [] {});
    Clock::setShared(&second);
    second.schedule(Date(kStart + 10), [] {});
    timer.stop();
    EXPECT_EQ(first.pendingCount(), 0u);
    EXPECT_EQ(second.pendingCount(), 1u);
    Clock::setShared(nullptr);
}

TEST(SystemClock, FiresFromTheEventLoopAndNeverBeforeItsTime) {
    SystemClock clock;
    QEventLoop loop;
    QTimer guard;  // bounds the test if a timer never fires
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, &loop, [&] { loop.exit(1); });

    QStringList fired;
    bool soonWasOnTime = false;
    const Date soon = clock.now().addingSeconds(0.05);
    clock.schedule(clock.now().addingSeconds(-10), [&] { fired << "past"; });
    const Clock::TimerId cancelled =
        clock.schedule(clock.now().addingSeconds(0.01), [&] { fired << "cancelled"; });
    clock.schedule(soon, [&] {
        fired << "soon";
        soonWasOnTime = clock.now() >= soon;
        loop.exit(0);
    });
    clock.schedule(clock.now().addingSeconds(3600), [&] { fired << "next hour"; });
    clock.cancel(cancelled);
    EXPECT_TRUE(fired.isEmpty());  // nothing runs inside schedule()

    guard.start(10000);
    ASSERT_EQ(loop.exec(), 0) << "no timer fired within 10 s";
    EXPECT_EQ(fired, (QStringList{"past", "soon"}));
    EXPECT_TRUE(soonWasOnTime);
}
