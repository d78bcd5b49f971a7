#pragma once

#include <QStringList>

// Tag lists as items keep them: every tag once, in the order a person reads
// them, ignoring case and accents ("apple", "Äpfel", "banana").
namespace TagList {
// The distinct non-empty tags, sorted with the current locale's collation of
// their case- and diacritic-folded forms; tags that fold alike keep a stable
// order by their exact text.
QStringList sortedDistinctTags(const QStringList &tags);
}  // namespace TagList
