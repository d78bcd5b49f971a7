// iCalendar from untrusted text (imported files, server answers) read into a
// calendar with every option: any input must be refused as a whole or give
// items; nothing may crash, and every item the reader counted as new must
// be in the calendar, and nothing else (a component it skipped leaves
// nothing behind).
#include <QCoreApplication>
#include <QTemporaryDir>
#include <cstdint>
#include <cstdlib>

#include "ical/ICalImporter.h"
#include "ical/ICalReadOptions.h"
#include "model/CommonDataMO.h"
#include "model/Queries.h"
#include "model/Schema.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"

namespace {

// One store for the whole run, with one saved empty calendar; each input's
// changes are dropped afterwards.
struct FuzzStore {
    FuzzStore() {
        Log::setMask(0);
        qputenv("MEROVAN_HOME", home.path().toUtf8());
        store = std::make_unique<PersistentStore>(&Schema::model(),
                                                  home.filePath(QStringLiteral("Fuzz.bsql")));
        context = std::make_unique<ManagedObjectContext>(store.get());
        Queries::setContext(context.get());
        calendarID = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr)->objectID();
        context->save();
    }
    CommonDataMO *calendar() {
        return ModelObject::as<CommonDataMO>(context->objectWithID(calendarID));
    }

    int argc = 1;
    char name[8] = "fuzzer";
    char *argv[2] = {name, nullptr};
    QCoreApplication application{argc, argv};
    QTemporaryDir home;
    std::unique_ptr<PersistentStore> store;
    std::unique_ptr<ManagedObjectContext> context;
    ObjectID calendarID;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static FuzzStore *fuzz = new FuzzStore;
    const QByteArray text(reinterpret_cast<const char *>(data), qsizetype(size));
    try {
        ICalImporter importer(text);
        CommonDataMO *calendar = fuzz->calendar();
        const ICalImporter::Result result = importer.importInto(
            calendar, ICalReadOptions::AlarmsWithoutOwnAddresses | ICalReadOptions::Attachments |
                          ICalReadOptions::ManagedAttachments | ICalReadOptions::OrganizerAlways);
        const qsizetype items = calendar->objectsForKey(QStringLiteral("childrenDirect")).size();
        if (items != result.stored)
            std::abort();
    } catch (const ICalImporter::NotICalendar &) {
    }
    fuzz->context->reset();
    return 0;
}
