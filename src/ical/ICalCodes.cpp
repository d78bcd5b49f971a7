#include "ical/ICalCodes.h"

#include <QSet>
#include <array>
#include <utility>

namespace {

using Code = std::pair<qint64, const char *>;

template <std::size_t N>
const char *nameOf(const std::array<Code, N> &table, qint64 code) {
    for (const auto &[value, name] : table) {
        if (value == code)
            return name;
    }
    return nullptr;
}

template <std::size_t N>
std::optional<qint64> codeOf(const std::array<Code, N> &table, const QString &name) {
    for (const auto &[value, text] : table) {
        if (name.compare(QLatin1String(text), Qt::CaseInsensitive) == 0)
            return value;
    }
    return std::nullopt;
}

constexpr std::array<Code, 4> kEventTypes{{{ICalCodes::Graphic, "GRAPHIC"},
                                           {ICalCodes::Sticky, "STICKY"},
                                           {ICalCodes::Journal, "JOURNAL"},
                                           {ICalCodes::ToDo, "TODO"}}};
constexpr std::array<Code, 3> kItemStatuses{{{2, "TENTATIVE"}, {7, "CANCELLED"}, {8, "CONFIRMED"}}};
constexpr std::array<Code, 7> kParticipation{{{1, "NEEDS-ACTION"},
                                              {2, "TENTATIVE"},
                                              {3, "ACCEPTED"},
                                              {4, "IN-PROCESS"},
                                              {5, "DELEGATED"},
                                              {6, "COMPLETED"},
                                              {9, "DECLINED"}}};
// The written ones first: INDIVIDUAL and UNKNOWN are only read.
constexpr std::array<Code, 5> kAttendeeTypes{
    {{1, "GROUP"}, {2, "RESOURCE"}, {3, "ROOM"}, {0, "INDIVIDUAL"}, {4, "UNKNOWN"}}};
constexpr std::array<Code, 4> kRoles{
    {{0, "REQ-PARTICIPANT"}, {1, "OPT-PARTICIPANT"}, {3, "CHAIR"}, {2, "NON-PARTICIPANT"}}};
constexpr std::array<Code, 6> kContactTypes{{{0, "COMPANY"},
                                             {1, "GROUP"},
                                             {2, "LOCATION"},
                                             {3, "DEVICE"},
                                             {4, "APPLICATION"},
                                             {5, "OTHER"}}};
constexpr std::array<Code, 2> kNameOrders{{{0, "FIRST-LAST"}, {1, "LAST-FIRST"}}};

}  // namespace

namespace ICalCodes {

const char *eventTypeName(qint64 type) {
    return type == ToDo ? nullptr : nameOf(kEventTypes, type);
}

std::optional<qint64> eventTypeOfName(const QString &name) {
    return codeOf(kEventTypes, name);
}

const char *itemStatusName(qint64 status) {
    return nameOf(kItemStatuses, status);
}

qint64 itemStatusOfName(const QString &name) {
    return codeOf(kItemStatuses, name).value_or(0);
}

const char *participationStatusName(qint64 status) {
    const char *name = nameOf(kParticipation, status);
    return name ? name : "";
}

qint64 participationStatusOfName(const QString &name) {
    return codeOf(kParticipation, name).value_or(1);
}

const char *attendeeTypeName(qint64 type) {
    return type == 0 || type == 4 ? nullptr : nameOf(kAttendeeTypes, type);
}

qint64 attendeeTypeOfName(const QString &name) {
    return codeOf(kAttendeeTypes, name).value_or(0);
}

const char *roleName(qint64 role) {
    return role == 2 ? nullptr : nameOf(kRoles, role);
}

qint64 roleOfName(const QString &name) {
    return codeOf(kRoles, name).value_or(0);
}

const char *contactTypeName(qint64 type) {
    return nameOf(kContactTypes, type);
}

std::optional<qint64> contactTypeOfName(const QString &name) {
    return codeOf(kContactTypes, name);
}

const char *nameOrderName(qint64 order) {
    return nameOf(kNameOrders, order);
}

std::optional<qint64> nameOrderOfName(const QString &name) {
    return codeOf(kNameOrders, name);
}

bool isKnownItemProperty(const QString &name) {
    static const QSet<QString> known{
        QStringLiteral("X-TOLVERN-EVENT-TYPE"),
        QStringLiteral("X-TOLVERN-LOCATION-URL"),
        QStringLiteral("X-TOLVERN-HOLIDAY-TYPE"),
        QStringLiteral("X-TOLVERN-LOCAL-URL"),
        QStringLiteral("X-TOLVERN-LOCAL-CATEGORIES"),
        QStringLiteral("X-TOLVERN-SUMMARY"),
        QStringLiteral("X-TOLVERN-DESCRIPTION"),
        QStringLiteral("X-TOLVERN-LOCAL-DESCRIPTION"),
        QStringLiteral("X-TOLVERN-SORT-ORDER"),
        QStringLiteral("X-TOLVERN-MINIMIZED"),
        QStringLiteral("X-TOLVERN-HIDDEN"),
        QStringLiteral("X-TOLVERN-LASTMODBY"),
        QStringLiteral("X-TOLVERN-OPACITY"),
        QStringLiteral("X-TOLVERN-RECT"),
        QStringLiteral("X-TOLVERN-CONTACT"),
        QStringLiteral("X-ALT-DESC"),
        QStringLiteral("X-APPLE-TRAVEL-DURATION"),
        QStringLiteral("X-APPLE-TRAVEL-RETURN-DURATION"),
    };
    return known.contains(name.toUpper());
}

}  // namespace ICalCodes
