// iCalendar from untrusted text (imported files, server answers) read into a
// calendar with every option: any input must be refused as a whole or give
// items; nothing may crash, and every item the reader counted as new must
// be in the calendar, and nothing else (a component it skipped leaves
// nothing behind). Each input is read twice, parsed whole and through the
// pipeline of slices that large files take: both ways must give the same.
#include <QCoreApplication>
#include <QTemporaryDir>
#include <cstdint>
#include <cstdlib>
#include <limits>

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

namespace {

// What one import of the text gave, to compare the two ways; "refused" when
// the text is not iCalendar.
QString importedOnce(FuzzStore &fuzz, const QByteArray &text, qsizetype pipelinedFrom) {
    QString outcome;
    try {
        ICalImporter importer(text, pipelinedFrom);
        CommonDataMO *calendar = fuzz.calendar();
        const ICalImporter::Result result = importer.importInto(
            calendar, ICalReadOptions::AlarmsWithoutOwnAddresses | ICalReadOptions::Attachments |
                          ICalReadOptions::ManagedAttachments | ICalReadOptions::OrganizerAlways);
        const QList<ManagedObject *> items =
            calendar->objectsForKey(QStringLiteral("childrenDirect"));
        if (items.size() != result.stored)
            std::abort();
        outcome = QStringLiteral("%1 %2 %3 %4 | %5")
                      .arg(result.stored)
                      .arg(result.updated)
                      .arg(result.detached.size())
                      .arg(importer.calendarName().value_or(QStringLiteral("-")))
                      .arg(result.uids.join(QLatin1Char(',')));
        for (const ICalImporter::Skipped &skipped : result.skipped)
            outcome += QLatin1Char('|') + skipped.component + QLatin1Char(':') + skipped.reason;
        QStringList titles;
        for (ManagedObject *item : items)
            titles << ModelObject::as<CommonDataMO>(item)
                          ->stringValueForKey(QStringLiteral("title"))
                          .value_or(QStringLiteral("-"));
        titles.sort();
        outcome += QLatin1Char('|') + titles.join(QLatin1Char(','));
    } catch (const ICalImporter::NotICalendar &) {
        outcome = QStringLiteral("refused");
    }
    fuzz.context->reset();
    return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static FuzzStore *fuzz = new FuzzStore;
    const QByteArray text(reinterpret_cast<const char *>(data), qsizetype(size));
    const QString whole = importedOnce(*fuzz, text, std::numeric_limits<qsizetype>::max());
    if (importedOnce(*fuzz, text, 0) != whole)
        std::abort();
    return 0;
}
