#pragma once

#include <QList>
#include <QString>
#include <optional>

// One SRV record: where a service of a domain is offered.
struct SRVRecord {
    QString target;  // host name, without the final dot
    quint16 port = 0;
    quint16 priority = 0;
    quint16 weight = 0;
};

// Looks up the SRV records of a name ("_caldav._tcp.example.com"). Lookups
// block and run on worker threads: implementations must be safe to call
// from any thread and keep no state between calls.
class SRVResolver {
public:
    virtual ~SRVResolver();
    // The records of `name` in the order of the answer; empty when there
    // are none or the lookup failed.
    virtual QList<SRVRecord> lookupSRV(const QString &name) const = 0;

    // The record to use: the lowest priority, and among equal priorities the
    // highest weight; the first record wins full ties. None for no records.
    static std::optional<SRVRecord> bestRecord(const QList<SRVRecord> &records);
};
