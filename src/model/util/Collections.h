#pragma once

#include <QList>
#include <QSet>
#include <QString>
#include <QVariant>
#include <concepts>
#include <optional>

// Helpers for lists, sets and maps that Qt does not have: additions that skip
// missing values, case-insensitive look-ups and order-keeping set operations
// on lists.

// Stores `value` under `key` unless the value is missing (an invalid QVariant).
inline void setObjectIfNotNil(QVariantMap &map, const QString &key, const QVariant &value) {
    if (value.isValid())
        map.insert(key, value);
}
// Stores `*value` under `key` unless `value` is none.
template <typename Map, typename T>
void setObjectIfNotNil(Map &map, const typename Map::key_type &key, const std::optional<T> &value) {
    if (value)
        map.insert(key, *value);
}

// Appends `value` unless it is missing (an invalid QVariant).
inline void addObjectIfNotNil(QVariantList &list, const QVariant &value) {
    if (value.isValid())
        list.append(value);
}
// Appends `*value` unless `value` is none.
template <typename List, typename T>
void addObjectIfNotNil(List &list, const std::optional<T> &value) {
    if (value)
        list.append(*value);
}

// Whether some element of `strings` (a list or a set of strings) equals
// `string` without regard to case.
template <typename Strings>
bool caseInsensitiveContainsString(const Strings &strings, const QString &string) {
    for (const QString &element : strings) {
        if (element.compare(string, Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

// The value stored under `key`; failing that, the value under the first key
// (in the map's own order) that equals `key` without regard to case; none
// when there is neither.
template <typename Map>
std::optional<typename Map::mapped_type> objectForCaseInsensitiveKey(const Map &map,
                                                                     const QString &key) {
    if (const auto exact = map.constFind(key); exact != map.constEnd())
        return exact.value();
    for (auto it = map.constBegin(); it != map.constEnd(); ++it) {
        if (it.key().compare(key, Qt::CaseInsensitive) == 0)
            return it.value();
    }
    return std::nullopt;
}

namespace CollectionsDetail {
// QVariant hashes by type but compares numbers across types, so it takes the
// slow path.
template <typename T>
concept Hashable = !std::same_as<T, QVariant> && requires(const T &value) {
    { qHash(value) } -> std::convertible_to<size_t>;
};

// The elements of `list` that are (keep == true) or are not (keep == false)
// in `other`, in the order of `list`, duplicates included.
template <typename T>
QList<T> filtered(const QList<T> &list, const QList<T> &other, bool keep) {
    QList<T> result;
    if constexpr (Hashable<T>) {
        const QSet<T> members(other.begin(), other.end());
        for (const T &element : list) {
            if (members.contains(element) == keep)
                result.append(element);
        }
    } else {
        for (const T &element : list) {
            if (other.contains(element) == keep)
                result.append(element);
        }
    }
    return result;
}
}  // namespace CollectionsDetail

// The elements of `list` that also occur in `other`, in the order of `list`.
template <typename T>
QList<T> arrayByIntersectingArray(const QList<T> &list, const QList<T> &other) {
    return CollectionsDetail::filtered(list, other, true);
}

// The elements of `list` that do not occur in `other`, in the order of `list`.
template <typename T>
QList<T> arrayByRemovingObjectsInArray(const QList<T> &list, const QList<T> &other) {
    return CollectionsDetail::filtered(list, other, false);
}
