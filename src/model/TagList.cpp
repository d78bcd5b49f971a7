#include "model/TagList.h"

#include <QCollator>
#include <QSet>
#include <algorithm>

#include "model/store/Predicate.h"
#include "model/store/StringFolding.h"

namespace TagList {

QStringList sortedDistinctTags(const QStringList &tags) {
    struct Entry {
        QString key;
        QString tag;
    };
    std::vector<Entry> entries;
    QSet<QString> seen;
    for (const QString &tag : tags) {
        if (tag.isEmpty() || seen.contains(tag))
            continue;
        seen.insert(tag);
        entries.push_back({foldString(tag, CaseInsensitive | DiacriticInsensitive), tag});
    }
    QCollator collator;
    std::sort(entries.begin(), entries.end(), [&](const Entry &a, const Entry &b) {
        if (const int order = collator.compare(a.key, b.key))
            return order < 0;
        return a.tag < b.tag;
    });
    QStringList sorted;
    for (const Entry &entry : entries)
        sorted << entry.tag;
    return sorted;
}

}  // namespace TagList
