#include "ical/ICalImportFixture.h"

#include <QFile>

#include "ical/ICalReadOptions.h"
#include "support/TestSupport.h"

QByteArray ICalImportTest::dataFile(const QString &name) {
    QFile file(sourcePath(QStringLiteral("tests/ical/data/") + name));
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << "test file missing: " << file.fileName().toStdString()
                      << " (is MEROVAN_SOURCE_DIR set?)";
        return {};
    }
    return file.readAll();
}

QByteArray ICalImportTest::calendarText(const QStringList &componentLines) {
    QStringList lines{QStringLiteral("BEGIN:VCALENDAR"), QStringLiteral("VERSION:2.0"),
                      QStringLiteral("PRODID:-//Example Corp.//Planner 2.1//EN")};
    lines << componentLines << QStringLiteral("END:VCALENDAR");
    return (lines.join(QLatin1String("\r\n")) + QLatin1String("\r\n")).toUtf8();
}

QByteArray ICalImportTest::eventText(const QStringList &properties) {
    return calendarText(QStringList{QStringLiteral("BEGIN:VEVENT")} + properties +
                        QStringList{QStringLiteral("END:VEVENT")});
}

ICalImporter::Result ICalImportTest::importText(const QByteArray &text, quint32 options) {
    return ICalImporter(text).importInto(m_calendar, options);
}

ICalImporter::Result ICalImportTest::importText(const QByteArray &text) {
    return importText(text, ICalReadOptions::Alarms | ICalReadOptions::Attachments);
}

CommonDataMO *ICalImportTest::item(const QString &uid) const {
    for (ManagedObject *object : m_calendar->objectsForKey(QStringLiteral("childrenDirect"))) {
        auto *child = ModelObject::as<CommonDataMO>(object);
        if (child && child->uid() == uid && child->entityName() == QLatin1String("Event"))
            return child;
    }
    return nullptr;
}

QList<ExtraDataMO *> ICalImportTest::records(const QString &uid, const char *relationship) const {
    CommonDataMO *found = item(uid);
    return found ? found->extrasForRelationship(QLatin1String(relationship))
                 : QList<ExtraDataMO *>();
}

ExtraDataMO *ICalImportTest::record(const QString &uid, const char *relationship, const char *key,
                                    const QVariant &value) const {
    for (ExtraDataMO *each : records(uid, relationship)) {
        if (each->valueForKey(QLatin1String(key)) == value)
            return each;
    }
    return nullptr;
}
