#include "model/ChangeChecksum.h"

#include <QSet>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/foundation/Format.h"

namespace {

QString text(const ModelObject &object, const QString &key) {
    return object.valueForKey(key).toString();
}

qint64 seconds(const ModelObject &object, const QString &key) {
    const std::optional<Date> date = object.dateValueForKey(key);
    return date ? qint64(date->secondsSinceReference()) : 0;
}

QString listText(const QVariant &value) {
    QStringList items;
    for (const QVariant &item : value.toList())
        items << item.toString();
    return items.join(QLatin1Char(','));
}

QString reminderText(const ExtraDataMO &record) {
    return format("%ld.%ld.%ld.%ld.%ld.%@.%@",
                  record.integerValueForKey(QStringLiteral("reminderType")),
                  qint64(record.doubleValueForKey(QStringLiteral("relativeSeconds"))),
                  seconds(record, QStringLiteral("absoluteTime")),
                  seconds(record, QStringLiteral("acknowledged")),
                  qint64(record.boolValueForKey(QStringLiteral("snooze"))),
                  text(record, QStringLiteral("url")),
                  listText(record.unarchivedValueForKey(QStringLiteral("recipients"))));
}

QString contactText(const ExtraDataMO &record) {
    return format(
        "%ld.%ld.%@.%@.%@.%@.%@.%@", record.integerValueForKey(QStringLiteral("contactType")),
        record.integerValueForKey(QStringLiteral("nameOrder")),
        text(record, QStringLiteral("contactID")), text(record, QStringLiteral("firstName")),
        text(record, QStringLiteral("lastName")), text(record, QStringLiteral("company")),
        text(record, QStringLiteral("primaryEmail")), text(record, QStringLiteral("primaryPhone")));
}

QString attendeeText(const ExtraDataMO &record) {
    return format("%@.%@", text(record, QStringLiteral("email")),
                  text(record, QStringLiteral("name"))) +
           format(".%ld.%ld", record.integerValueForKey(QStringLiteral("attendeeType")),
                  record.integerValueForKey(QStringLiteral("role")));
}

QString attachmentText(const ExtraDataMO &record) {
    return format("%@.%.2f.%@", text(record, QStringLiteral("fileURL")),
                  record.opacityValueForKey(QStringLiteral("opacity")),
                  text(record, QStringLiteral("cellRelativeRect")));
}

QString recurrenceText(const ExtraDataMO &record) {
    QStringList parts;
    for (const char *key : {"frequency", "interval", "count", "weekStartDay", "regenerate"})
        parts << QString::number(record.integerValueForKey(QLatin1String(key)));
    parts << QString::number(seconds(record, QStringLiteral("until")));
    for (const char *key : {"byDayDays", "byDayFreq", "byMonth", "byMonthDay", "bySetPos",
                            "byWeekNumber", "byYearDay"})
        parts << listText(record.unarchivedValueForKey(QLatin1String(key)));
    for (const char *key : {"exceptionDates", "customDates"})
        parts << text(record, QLatin1String(key));
    return parts.join(QLatin1Char('.'));
}

struct ExtraGroup {
    const char *relationship;
    QString (*describe)(const ExtraDataMO &);
};

const ExtraGroup kExtraGroups[] = {{"reminders", reminderText},
                                   {"contacts", contactText},
                                   {"attendees", attendeeText},
                                   {"attachments", attachmentText},
                                   {"recurrences", recurrenceText}};

}  // namespace

quint16 ChangeChecksum::crc16(const QByteArray &bytes) {
    // The length is held in 16 bits, so only its low part counts.
    const qsizetype length = bytes.size() % 65536;
    quint16 crc = 0;
    for (qsizetype i = 0; i < length; ++i) {
        crc ^= quint16(quint8(bytes[i])) << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x8000) ? quint16((crc << 1) ^ 0x1021) : quint16(crc << 1);
    }
    return crc;
}

void ChangeChecksum::checksumString(const QString &value, const QString &key, Dict &dict) {
    if (!value.isEmpty())
        dict.insert(key, QString::number(crc16(value.toUtf8())));
}

ChangeChecksum::Dict ChangeChecksum::checksumDict(const CommonDataMO &item) {
    Dict dict;
    for (const char *key : {"title", "content"})
        checksumString(item.stringValueForKey(QLatin1String(key)).value_or(QString()),
                       QLatin1String(key), dict);
    for (const char *key :
         {"url", "location", "locationURL", "startTimeAndZone", "endTimeAndZone", "dueTimeAndZone"})
        if (item.propertyNamed(QLatin1String(key)))
            checksumString(text(item, QLatin1String(key)), QLatin1String(key), dict);
    checksumString(item.tagListValueForKey(QStringLiteral("tags")).join(QLatin1Char(',')),
                   QStringLiteral("tags"), dict);
    if (!item.propertyNamed(QStringLiteral("allDay")))
        return dict;
    if (item.boolValueForKey(QStringLiteral("allDay")))
        checksumString(QStringLiteral("1"), QStringLiteral("allDay"), dict);
    for (const char *key : {"blocksTime", "classification", "priority", "percentComplete"}) {
        const QVariant value = item.valueForKey(QLatin1String(key));
        if (value.isValid())
            checksumString(QString::number(value.toLongLong()), QLatin1String(key), dict);
    }
    if (item.dateValueForKey(QStringLiteral("completionTime")))
        checksumString(QString::number(seconds(item, QStringLiteral("completionTime"))),
                       QStringLiteral("completionTime"), dict);
    for (const ExtraGroup &group : kExtraGroups) {
        QStringList records;
        for (const ExtraDataMO *record :
             item.extrasForRelationship(QLatin1String(group.relationship)))
            if (!record->isLocalOnly())
                records << group.describe(*record);
        records.sort();
        checksumString(records.join(QLatin1Char('|')), QLatin1String(group.relationship), dict);
    }
    return dict;
}

QStringList ChangeChecksum::changedKeysBetweenChecksumDict(const Dict &first, const Dict &second) {
    QSet<QString> keys(first.keyBegin(), first.keyEnd());
    keys.unite(QSet<QString>(second.keyBegin(), second.keyEnd()));
    QStringList changed;
    for (const QString &key : keys) {
        if (!first.contains(key) || !second.contains(key) || first.value(key) != second.value(key))
            changed << key;
    }
    changed.sort();
    return changed;
}
