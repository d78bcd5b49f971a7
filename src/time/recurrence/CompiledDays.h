#pragma once

#include <QByteArray>
#include <cstdint>
#include <optional>
#include <vector>

#include "time/recurrence/RecurrenceSeries.h"

// The cached occurrences of a repeating item: the offset in seconds of each
// occurrence from the item's start (its first occurrence, unless an
// exception date removed that one), ascending, at most kMaxOccurrences, each
// below kOffsetLimit. Stored as packed unsigned 32-bit integers in the
// platform's byte order.
namespace CompiledDays {

constexpr std::size_t kMaxOccurrences = 500;
constexpr std::uint64_t kOffsetLimit = 4294967295u;

// The offsets of the series from its start to the end of time (occurrences
// before the start, such as an earlier extra date, are left out).
std::vector<std::uint32_t> compile(const RecurrenceSeries &series);

QByteArray pack(const std::vector<std::uint32_t> &offsets);
// Whole 32-bit entries only; a trailing partial entry is ignored.
std::vector<std::uint32_t> unpack(const QByteArray &data);

// The list ends where the cap or the offset limit cut it: the series goes
// on beyond its last entry (500 entries, or a step that would carry the
// next offset to kOffsetLimit - 1 or beyond).
bool isOpenEnded(const std::vector<std::uint32_t> &offsets);

}  // namespace CompiledDays

// A halving search over ascending offsets for `target`: 0 for fewer than two
// entries; otherwise the index of an equal entry, or of one next to where
// the target would be. Callers look at the entries on both sides.
std::size_t compiledOffsetIndex(const std::uint32_t *offsets, std::size_t count,
                                std::uint32_t target);
