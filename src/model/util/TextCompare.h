#pragma once

#include <QString>
#include <QVariant>

// Comparisons of text and values that ignore what the user does not see as a
// difference (case, accents, character width), the edit distance used to
// match names and titles loosely, and the nil-safe equality used when
// deciding whether a stored value really changed.

// `text` in canonical decomposition (NFD) with case, diacritics and character
// width folded away, for matching: "Ｃafé" and "CAFE" give the same string.
QString normalizedString(const QString &text);
// `text` without its diacritics, precomposed again (NFC): "Crème brûlée" gives
// "Creme brulee".
QString stringWithDiacriticsRemoved(const QString &text);

bool isEqualToCaseAndDiacriticalInsensitiveString(const QString &a, const QString &b);
// The order of `a` and `b` (negative, 0, positive) in the current locale's
// collation, ignoring case and diacritics.
int localizedCaseAndDiacriticInsensitiveCompare(const QString &a, const QString &b);
// The order of `a` and `b` as people sort names: without regard to case, and
// with runs of digits compared by their numeric value ("Week 9" before
// "Week 10").
int caseInsensitiveSmartCompare(const QString &a, const QString &b);

// The edit distance between `a` and `b`: the number of insertions, deletions
// and substitutions of single UTF-16 code units, case-sensitive, that turn
// one into the other.
qsizetype fuzzyCompare(const QString &a, const QString &b);

// Equality of two stored values, chosen by the kind of `a`: lists by
// arraysEqual(), strings by stringsEqual(), rich text by its text and runs
// (both empty counts as equal). For those three a missing `b` counts as an
// empty value of the same kind, and a `b` of another kind is unequal. For any
// other kind, and for a missing `a`, the values must both be missing or both
// present and equal. So valuesEqual("", none) is true and
// valuesEqual(none, "") is false.
bool valuesEqual(const QVariant &a, const QVariant &b);
// Same count and equal elements.
bool arraysEqual(const QVariantList &a, const QVariantList &b);
// Same text; a null string counts as an empty one.
bool stringsEqual(const QString &a, const QString &b);
bool stringsEqualIgnoringCase(const QString &a, const QString &b);
// Whether two e-mail addresses stand for the same person: both are the user's
// own (see OwnAddresses), or they are equal without regard to case.
bool addressesEqual(const QString &a, const QString &b);
