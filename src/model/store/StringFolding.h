#pragma once

#include <QString>

// Folds text for the comparison options of predicates (ComparisonOption bits):
// CaseInsensitive applies Unicode case folding; DiacriticInsensitive removes
// diacritics (the non-spacing marks of the canonical decomposition). With any
// option the result is in NFC, so that canonically equivalent texts fold
// alike; with none the text is returned unchanged. Pure ASCII takes a fast
// path. The store registers the same function with SQLite so that SQL and
// in-memory comparisons agree.
QString foldString(const QString &text, int options);
