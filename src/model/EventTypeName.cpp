#include "model/EventTypeName.h"

#include <array>

namespace {
struct TypeName {
    const char *singular;
    const char *plural;
};

constexpr std::array<TypeName, 5> kNames{{{"event", "events"},
                                          {"to-do", "to-dos"},
                                          {"graphic", "graphics"},
                                          {"sticky", "stickies"},
                                          {"journal entry", "journal entries"}}};
constexpr TypeName kAllDayEvent{"all-day event", "all-day events"};
constexpr TypeName kUnknown{"item", "items"};
}  // namespace

QString eventTypeToString(qint64 eventType, bool allDay, bool pluralize) {
    const bool known = eventType >= 0 && eventType < qint64(kNames.size());
    const TypeName &name = !known                       ? kUnknown
                           : (eventType == 0 && allDay) ? kAllDayEvent
                                                        : kNames[size_t(eventType)];
    return QString::fromLatin1(pluralize ? name.plural : name.singular);
}
