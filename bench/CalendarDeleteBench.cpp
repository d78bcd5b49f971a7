// Deleting a calendar of 10,000 events, each with its syncable object, one
// attendee and one reminder, as the user does it: the calendar's data object
// goes, its items are deleted, it is left as a stamped tombstone, and
// everything is written in one save.
//
//   BM_DeleteCalendarAndSave   deleteObject() of the calendar plus the save,
//                              from a freshly opened store (the fill is not
//                              timed)
#include <benchmark/benchmark.h>

#include <QTemporaryDir>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/Queries.h"
#include "model/Schema.h"
#include "model/SyncableObjectMO.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"

namespace {

constexpr int kItems = 10000;

void fill(ManagedObjectContext &context) {
    Queries::setContext(&context);
    CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    calendar->objectInfo()->setValue(QStringLiteral("uid"), QStringLiteral("CALENDAR"));
    for (int i = 0; i < kItems; ++i) {
        CommonDataMO *event = CommonDataMO::makeObject(QStringLiteral("Event"), calendar, nullptr);
        event->setStringValue(QStringLiteral("Event %1").arg(i), QStringLiteral("title"));
        ExtraDataMO::makeExtra(QStringLiteral("Attendee"), event)
            ->setValue(QStringLiteral("email"), QStringLiteral("guest%1@example.com").arg(i));
        ExtraDataMO::makeExtra(QStringLiteral("Reminder"), event)
            ->setDoubleValue(-900, QStringLiteral("relativeSeconds"));
    }
    context.save();
    Queries::setContext(nullptr);
}

void BM_DeleteCalendarAndSave(benchmark::State &state) {
    for (auto _ : state) {
        state.PauseTiming();
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("Delete.bsql"));
        {
            PersistentStore store(&Schema::model(), path);
            ManagedObjectContext context(&store);
            fill(context);
        }
        PersistentStore store(&Schema::model(), path);
        ManagedObjectContext context(&store);
        Queries::setContext(&context);
        state.ResumeTiming();

        auto *syncable = ModelObject::as<SyncableObjectMO>(
            Queries::syncableContainersForUID(QStringLiteral("CALENDAR")).first());
        CommonDataMO::deleteObject(syncable->objectData());
        context.save();

        state.PauseTiming();
        FetchRequest left(QStringLiteral("SyncableEvent"));
        if (context.countForFetchRequest(left) != 0)
            state.SkipWithError("items survived their calendar");
        Queries::setContext(nullptr);
        state.ResumeTiming();
    }
    state.counters["items"] = kItems;
}
BENCHMARK(BM_DeleteCalendarAndSave)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
