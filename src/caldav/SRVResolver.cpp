#include "caldav/SRVResolver.h"

SRVResolver::~SRVResolver() = default;

std::optional<SRVRecord> SRVResolver::bestRecord(const QList<SRVRecord> &records) {
    std::optional<SRVRecord> best;
    for (const SRVRecord &record : records) {
        if (!best || record.priority < best->priority ||
            (record.priority == best->priority && record.weight > best->weight))
            best = record;
    }
    return best;
}
