#include "model/foundation/Clock.h"

#include <QTimer>
#include <algorithm>
#include <cmath>

namespace {
Clock *g_sharedClock = nullptr;

SystemClock &systemClock() {
    static SystemClock clock;
    return clock;
}

// The wait of a QTimer until `when`: whole milliseconds, rounded up, at most
// what a QTimer can wait (about 24.8 days).
int millisecondsUntil(Date when, Date now) {
    const double ms = std::ceil(when.secondsSince(now) * 1000.0);
    return ms > 0 ? int(std::min(ms, double(INT_MAX))) : 0;
}
}  // namespace

Clock::~Clock() = default;

Clock &Clock::shared() {
    return g_sharedClock ? *g_sharedClock : systemClock();
}

void Clock::setShared(Clock *clock) {
    g_sharedClock = clock;
}

// --- SystemClock -------------------------------------------------------------

SystemClock::SystemClock() = default;

SystemClock::~SystemClock() {
    for (auto &[id, timer] : m_pending)
        delete timer;
}

Date SystemClock::now() const {
    return Date::fromSecondsSince1970(double(QDateTime::currentMSecsSinceEpoch()) / 1000.0);
}

Clock::TimerId SystemClock::schedule(Date when, Callback callback) {
    const TimerId id = m_nextId++;
    auto *timer = new QTimer;
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    // The connection owns the callback and lives until the timer is deleted,
    // which is deferred until after the callback has returned.
    QObject::connect(timer, &QTimer::timeout,
                     [this, id, timer, when, callback = std::move(callback)] {
                         // Timers further out than a QTimer can wait, and timers woken a
                         // little early, wait again for the rest.
                         if (const Date current = now(); current < when) {
                             timer->start(millisecondsUntil(when, current));
                             return;
                         }
                         if (m_pending.erase(id) == 0)
                             return;
                         timer->deleteLater();
                         callback();
                     });
    timer->start(millisecondsUntil(when, now()));
    m_pending.emplace(id, timer);
    return id;
}

void SystemClock::cancel(TimerId id) {
    auto it = m_pending.find(id);
    if (it == m_pending.end())
        return;
    delete it->second;
    m_pending.erase(it);
}

// --- ManualClock -------------------------------------------------------------

ManualClock::ManualClock(Date start) : m_now(start) {}

Clock::TimerId ManualClock::schedule(Date when, Callback callback) {
    const TimerId id = m_nextId++;
    m_timers.emplace(Key{std::max(when, m_now), id}, std::move(callback));
    return id;
}

void ManualClock::cancel(TimerId id) {
    std::erase_if(m_timers, [id](const auto &entry) { return entry.first.id == id; });
}

void ManualClock::advance(double seconds) {
    advanceTo(m_now.addingSeconds(seconds));
}

void ManualClock::advanceTo(Date when) {
    while (!m_timers.empty() && m_timers.begin()->first.when <= when) {
        auto node = m_timers.extract(m_timers.begin());
        m_now = std::max(m_now, node.key().when);
        node.mapped()();
    }
    m_now = std::max(m_now, when);
}

std::optional<Date> ManualClock::nextDue() const {
    if (m_timers.empty())
        return std::nullopt;
    return m_timers.begin()->first.when;
}

// --- ClockTimer --------------------------------------------------------------

void ClockTimer::start(double seconds, Clock::Callback callback) {
    startAt(Clock::shared().now().addingSeconds(seconds), std::move(callback));
}

void ClockTimer::startAt(Date when, Clock::Callback callback) {
    stop();
    m_fireDate = when;
    m_clock = &Clock::shared();
    m_id = m_clock->schedule(when, [this, callback = std::move(callback)] {
        m_id = 0;
        callback();
    });
}

void ClockTimer::stop() {
    if (m_id != 0)
        m_clock->cancel(m_id);
    m_id = 0;
}

std::optional<Date> ClockTimer::fireDate() const {
    if (m_id == 0)
        return std::nullopt;
    return m_fireDate;
}
