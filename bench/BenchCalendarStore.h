#pragma once

#include <QTemporaryDir>

#include "model/CommonDataMO.h"
#include "model/Queries.h"
#include "model/Schema.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"

// A fresh store in a temporary folder with one empty calendar, the queries
// pointed at it and the log silenced, for the benchmarks that fill a
// calendar.
struct BenchCalendarStore {
    BenchCalendarStore()
        : store(&Schema::model(), folder.filePath(QStringLiteral("Bench.bsql"))), context(&store) {
        Log::setMask(0);
        Queries::setContext(&context);
        calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    }
    ~BenchCalendarStore() { Queries::setContext(nullptr); }
    BenchCalendarStore(const BenchCalendarStore &) = delete;
    BenchCalendarStore &operator=(const BenchCalendarStore &) = delete;

    QTemporaryDir folder;
    PersistentStore store;
    ManagedObjectContext context;
    CommonDataMO *calendar = nullptr;
};
