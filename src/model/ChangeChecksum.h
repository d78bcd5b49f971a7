#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

class CommonDataMO;

// Which attributes of an item changed, told cheaply: a dictionary from
// attribute name to a checksum of its value, compared with the dictionary
// of an earlier state. Peers compare these, so the checksum (CRC-16,
// polynomial 0x1021, initial value 0, most significant bit first, no final
// XOR, of the first (length mod 65536) UTF-8 bytes, printed in decimal)
// must never change.
//
// Keys: "title", "content", "url", "location", "locationURL", "tags",
// "allDay", "blocksTime", "classification", "priority", "percentComplete",
// "startTimeAndZone", "endTimeAndZone", "dueTimeAndZone", "completionTime",
// and one per group of synced extra records: "reminders", "contacts",
// "attendees", "attachments", "recurrences". A key without a value (or
// without records) is absent. Local-only records and "local…" attributes
// take no part.
class ChangeChecksum {
public:
    using Dict = QMap<QString, QString>;

    static Dict checksumDict(const CommonDataMO &item);
    // Adds the checksum of `value` under `key`; an empty value adds nothing.
    static void checksumString(const QString &value, const QString &key, Dict &dict);
    // The keys of either dictionary whose values differ (absent on one side
    // counts as different), sorted.
    static QStringList changedKeysBetweenChecksumDict(const Dict &first, const Dict &second);

    static quint16 crc16(const QByteArray &bytes);
};
