#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>

class QTimer;

#include "model/foundation/Date.h"

// The source of "now" and of every timer in the program. Production code uses
// the system clock; tests install a ManualClock and move time by hours or days
// without sleeping. Timers fire on the thread that owns the clock's event loop
// (the main thread).
class Clock {
public:
    using TimerId = std::uint64_t;
    using Callback = std::function<void()>;

    virtual ~Clock();

    virtual Date now() const = 0;
    // Runs `callback` once, when now() has reached `when` (at once, from the
    // event loop, when `when` is already past). Returns an id for cancel().
    virtual TimerId schedule(Date when, Callback callback) = 0;
    // Forgets a timer that has not fired; unknown ids are ignored.
    virtual void cancel(TimerId id) = 0;

    // The process clock. Tests may replace it; the caller keeps ownership and
    // restores the previous one (nullptr restores the system clock).
    static Clock &shared();
    static void setShared(Clock *clock);
};

// Wall-clock time, timers on QTimer.
class SystemClock final : public Clock {
public:
    SystemClock();
    ~SystemClock() override;
    Date now() const override;
    TimerId schedule(Date when, Callback callback) override;
    void cancel(TimerId id) override;

private:
    std::map<TimerId, QTimer *> m_pending;
    TimerId m_nextId = 1;
};

// A clock that only moves when told to. advance() fires every timer that falls
// due on the way, in order of due time (then of scheduling), each with now()
// set to its due time.
class ManualClock : public Clock {
public:
    explicit ManualClock(Date start = Date(0));
    Date now() const override { return m_now; }
    TimerId schedule(Date when, Callback callback) override;
    void cancel(TimerId id) override;

    void advance(double seconds);
    void advanceTo(Date when);
    // Fires the timers already due without moving time.
    void fireDue() { advanceTo(m_now); }
    std::size_t pendingCount() const { return m_timers.size(); }
    // Due time of the earliest pending timer, if any.
    std::optional<Date> nextDue() const;

private:
    struct Key {
        Date when;
        TimerId id;
        auto operator<=>(const Key &) const = default;
    };
    Date m_now;
    TimerId m_nextId = 1;
    std::map<Key, Callback> m_timers;
};

// A one-shot timer on the clock that is shared when it is started, cancelled when it is destroyed
// or restarted.
class ClockTimer {
public:
    ClockTimer() = default;
    ~ClockTimer() { stop(); }
    ClockTimer(const ClockTimer &) = delete;
    ClockTimer &operator=(const ClockTimer &) = delete;

    void start(double seconds, Clock::Callback callback);
    void startAt(Date when, Clock::Callback callback);
    void stop();
    bool isActive() const { return m_id != 0; }
    std::optional<Date> fireDate() const;

private:
    Clock *m_clock = nullptr;
    Clock::TimerId m_id = 0;
    Date m_fireDate;
};
