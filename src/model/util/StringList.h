#pragma once

#include <QString>
#include <QStringList>
#include <optional>

#include "model/util/CharacterSet.h"

// String lists: several strings stored as one, for tag lists and other
// multi-valued text attributes. The entries are joined by "|&|"; empty entries
// at the end are dropped before joining, and a list with nothing left is
// stored as no value at all, never as an empty string. An empty entry between
// others survives a round trip.

inline constexpr QLatin1StringView kStringListSeparator("|&|");

// The stored form of `entries`; none when no entry is left after dropping the
// trailing empty ones.
std::optional<QString> stringListFromArray(const QStringList &entries);
// The stored form of the non-empty entries of `entries`.
std::optional<QString> arrayByRemovingEmptiesInStringList(const QStringList &entries);
// The entries of a stored list; no entries for an empty or missing text.
QStringList arrayFromStringList(const QString &list);
// The entry at `index` of a stored list; none when the index is out of range
// or the entry there is empty.
std::optional<QString> stringListEntryAtIndex(const QString &list, qsizetype index);
// The stored list with every "|&|" replaced by `separator`, for display.
QString stringListSeparatedByString(const QString &list, const QString &separator);

// Editing a list of entries before it is stored. Missing entries are kept as
// empty strings so that the positions of the others do not move. A negative
// index is a programming error: it is logged and the list is left alone.
void addStringListEntry(QStringList &entries, const std::optional<QString> &entry);
// Pads with empty entries up to `index`, then inserts there.
void insertStringListEntry(QStringList &entries, const std::optional<QString> &entry,
                           qsizetype index);
// Pads with empty entries so that `index` exists, then replaces the entry there.
void replaceStringListEntryAtIndex(QStringList &entries, qsizetype index,
                                   const std::optional<QString> &entry);
void removeEmptiesInStringList(QStringList &entries);

// `text` split at every character of `separators`, without empty pieces.
QStringList componentsSeparatedByCharactersInSetWithoutEmpties(const QString &text,
                                                               const CharacterSet &separators);
