#include "app/commands/ExportCommand.h"

#include <QSaveFile>
#include <cstdio>

#include "app/CommandRegistry.h"
#include "app/StoreSession.h"
#include "app/commands/ItemLookup.h"
#include "ical/ICalWriter.h"
#include "model/CommonDataMO.h"
#include "model/Queries.h"
#include "model/SyncableObjectMO.h"

namespace {

QByteArray exportText(const QString &calendarUID) {
    if (!calendarUID.isEmpty())
        return ICalWriter::calendarExport(ItemLookup::calendarWithUID(calendarUID));
    QByteArray text;
    for (ManagedObject *object : Queries::allContainers()) {
        if (auto *calendar = ModelObject::as<CommonDataMO>(object))
            text += ICalWriter::calendarExport(calendar);
    }
    return text;
}

int runExport(CommandContext &context) {
    StoreSession session;
    session.open();
    const QByteArray text = exportText(context.arguments.value(QStringLiteral("--calendar")));
    session.close();
    const QString path = context.arguments.value(QStringLiteral("-o"));
    if (path.isEmpty()) {
        std::fwrite(text.constData(), 1, std::size_t(text.size()), stdout);
        std::fflush(stdout);
        return 0;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        throw CommandError(QStringLiteral("cannot write %1: %2").arg(path, file.errorString()));
    return 0;
}

}  // namespace

void registerExportCommand(CommandRegistry &registry) {
    registry.add({QStringLiteral("export"),
                  QStringLiteral("[--calendar UID] [-o FILE]"),
                  QStringLiteral("write calendars as iCalendar"),
                  {},
                  {QStringLiteral("--calendar"), QStringLiteral("-o")},
                  false,
                  runExport});
}
