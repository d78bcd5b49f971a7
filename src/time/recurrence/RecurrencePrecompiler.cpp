#include "time/recurrence/RecurrencePrecompiler.h"

#include <QMetaObject>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/ItemDates.h"
#include "model/store/ManagedObjectContext.h"
#include "time/recurrence/CompiledDays.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceRecord.h"

namespace {

bool needsCompiling(CommonDataMO *item) {
    if (ItemDates(item).isTask())
        return false;
    const QList<ExtraDataMO *> records = ItemRecurrence(item).ruleRecords();
    return std::any_of(records.begin(), records.end(), [](ExtraDataMO *record) {
        return RecurrenceRecord(record).compiledDays().isEmpty();
    });
}

}  // namespace

RecurrencePrecompiler::RecurrencePrecompiler(QObject *parent) : QObject(parent) {
    m_pool.setMaxThreadCount(1);
}

RecurrencePrecompiler::~RecurrencePrecompiler() {
    m_pool.waitForDone();
}

void RecurrencePrecompiler::precompileAfter(double seconds, const QList<CommonDataMO *> &items,
                                            std::function<void()> completion) {
    QList<Job> jobs;
    for (CommonDataMO *item : items)
        jobs.append({item->managedObjectContext(), item->objectID(), {}});
    m_timer.start(seconds, [this, jobs, completion = std::move(completion)] {
        QList<CommonDataMO *> live;
        for (const Job &job : jobs) {
            if (auto *item = ModelObject::as<CommonDataMO>(job.context->registeredObject(job.item));
                item && !item->isDeleted())
                live.append(item);
        }
        precompileAsyncBlock(live, completion);
    });
}

void RecurrencePrecompiler::precompileAsyncBlock(const QList<CommonDataMO *> &items,
                                                 std::function<void()> completion) {
    QList<Job> jobs;
    for (CommonDataMO *item : items) {
        if (needsCompiling(item))
            jobs.append(
                {item->managedObjectContext(), item->objectID(), ItemRecurrence(item).series()});
    }
    if (completion)
        m_completions.append(std::move(completion));
    ++m_running;  // held until every job of this call was handed back
    for (const Job &job : jobs) {
        ++m_running;
        m_pool.start([this, job] {
            const std::vector<std::uint32_t> offsets = CompiledDays::compile(job.series);
            QMetaObject::invokeMethod(
                this, [this, job, offsets] { finish(job, offsets); }, Qt::QueuedConnection);
        });
    }
    QMetaObject::invokeMethod(
        this,
        [this] {
            finish({nullptr, {}, {}}, {});
        },
        Qt::QueuedConnection);
}

void RecurrencePrecompiler::finish(const Job &job, const std::vector<std::uint32_t> &offsets) {
    if (job.context) {
        auto *item = ModelObject::as<CommonDataMO>(job.context->registeredObject(job.item));
        if (item && !item->isDeleted() && ItemRecurrence(item).series() == job.series)
            ItemRecurrence(item).storeCompiledDays(offsets);
    }
    if (--m_running > 0)
        return;
    const QList<std::function<void()>> completions = std::exchange(m_completions, {});
    for (const std::function<void()> &completion : completions)
        completion();
}
