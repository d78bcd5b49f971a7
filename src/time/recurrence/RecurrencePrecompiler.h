#pragma once

#include <QList>
#include <QObject>
#include <QThreadPool>
#include <functional>

#include "model/foundation/Clock.h"
#include "model/store/ObjectID.h"
#include "time/recurrence/RecurrenceSeries.h"

class CommonDataMO;
class ManagedObjectContext;

// Compiles the days of repeating items on a worker thread. The items'
// series are copied on the main thread; the walks run on the precompiler's
// own pool; the results come back to the main thread as queued calls. There,
// an item that still exists and whose series did not change meanwhile gets
// its compiled days and its first and last day stored (the context is not
// saved). Lives on the main thread.
class RecurrencePrecompiler : public QObject {
public:
    explicit RecurrencePrecompiler(QObject *parent = nullptr);
    // Waits for walks still running; their results are dropped.
    ~RecurrencePrecompiler() override;

    // Starts the walks for those of `items` that need compiling (not to-dos,
    // a rule record with an empty cache); `completion` runs on the main
    // thread once all of their results were handled (at once, from the event
    // loop, when none needs compiling).
    void precompileAsyncBlock(const QList<CommonDataMO *> &items, std::function<void()> completion);
    // The same after `seconds` on the shared clock; a new call replaces a
    // pending one.
    void precompileAfter(double seconds, const QList<CommonDataMO *> &items,
                         std::function<void()> completion);
    bool isBusy() const { return m_running > 0 || m_timer.isActive(); }
    // Blocks until the running walks are done; their results are then
    // waiting in the event loop.
    void waitForWalks() { m_pool.waitForDone(); }

private:
    struct Job {
        ManagedObjectContext *context;
        ObjectID item;
        RecurrenceSeries series;
    };
    void finish(const Job &job, const std::vector<std::uint32_t> &offsets);

    QThreadPool m_pool;
    ClockTimer m_timer;
    int m_running = 0;
    QList<std::function<void()>> m_completions;
};
