#include "app/commands/ImportCommand.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <memory>
#include <vector>

#include "app/CommandRegistry.h"
#include "app/StoreSession.h"
#include "app/commands/ItemLookup.h"
#include "ical/ICalImporter.h"
#include "model/CommonDataMO.h"
#include "model/DatabaseController.h"
#include "model/store/ManagedObjectContext.h"

namespace {

struct ImportFile {
    QString path;
    std::unique_ptr<ICalImporter> importer;
};

// Every file read and parsed before the store is touched.
std::vector<ImportFile> parseFiles(const QStringList &paths) {
    if (paths.isEmpty())
        throw CommandError(QStringLiteral("import wants at least one FILE.ics"), 2);
    std::vector<ImportFile> files;
    for (const QString &path : paths) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            throw CommandError(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        try {
            files.push_back({path, std::make_unique<ICalImporter>(file.readAll())});
        } catch (const ICalImporter::NotICalendar &error) {
            throw CommandError(QStringLiteral("%1: %2").arg(path, QString::fromUtf8(error.what())));
        }
    }
    return files;
}

CommonDataMO *newCalendar(const QString &title) {
    CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    calendar->setStringValue(title, QStringLiteral("title"));
    return calendar;
}

// The calendar named by the file itself: its VCALENDAR's name, colour and
// notes, else the file's name.
CommonDataMO *calendarOfFile(const ImportFile &file) {
    CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    file.importer->describeCalendar(calendar);
    if (!file.importer->calendarName())
        calendar->setStringValue(QFileInfo(file.path).completeBaseName(), QStringLiteral("title"));
    return calendar;
}

int runImport(CommandContext &context) {
    const CommandArguments &arguments = context.arguments;
    if (arguments.has(QStringLiteral("--calendar")) &&
        arguments.has(QStringLiteral("--new-calendar")))
        throw CommandError(QStringLiteral("give either --calendar or --new-calendar"), 2);
    const std::vector<ImportFile> files = parseFiles(arguments.positional());

    StoreSession session;
    session.open();
    ManagedObjectContext *store = session.controller().managedObjectContext();
    CommonDataMO *shared = nullptr;
    if (arguments.has(QStringLiteral("--calendar")))
        shared = ItemLookup::calendarWithUID(arguments.value(QStringLiteral("--calendar")));
    else if (arguments.has(QStringLiteral("--new-calendar")))
        shared = newCalendar(arguments.value(QStringLiteral("--new-calendar")));

    int stored = 0, updated = 0, skipped = 0;
    QStringList calendars;
    for (const ImportFile &file : files) {
        CommonDataMO *calendar = shared ? shared : calendarOfFile(file);
        const ICalImporter::Result result = file.importer->importInto(calendar);
        store->save();
        for (const ICalImporter::Skipped &each : result.skipped)
            CommandOutput::message(
                QStringLiteral("%1: skipped %2: %3").arg(file.path, each.component, each.reason));
        stored += result.stored;
        updated += result.updated;
        skipped += int(result.skipped.size());
        if (!calendars.contains(calendar->uid()))
            calendars << calendar->uid();
    }
    session.close();

    if (context.json) {
        CommandOutput::printJson(
            QJsonObject{{QStringLiteral("stored"), stored},
                        {QStringLiteral("updated"), updated},
                        {QStringLiteral("skipped"), skipped},
                        {QStringLiteral("calendars"), QJsonArray::fromStringList(calendars)}});
    } else {
        CommandOutput::printLine(QStringLiteral("%1 stored, %2 updated, %3 skipped in %4")
                                     .arg(stored)
                                     .arg(updated)
                                     .arg(skipped)
                                     .arg(calendars.join(QLatin1String(", "))));
    }
    return 0;
}

}  // namespace

void registerImportCommand(CommandRegistry &registry) {
    registry.add({QStringLiteral("import"),
                  QStringLiteral("FILE.ics... [--calendar UID | --new-calendar TITLE]"),
                  QStringLiteral("read iCalendar files into a calendar"),
                  {},
                  {QStringLiteral("--calendar"), QStringLiteral("--new-calendar")},
                  true,
                  runImport});
}
