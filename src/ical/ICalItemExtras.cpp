#include "ical/ICalItemExtras.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/Schema.h"
#include "model/store/PropertyDescription.h"

namespace {

const QString kItemExtrasKey = QString::fromLatin1(Schema::kExtrasKey);

using ItemExtrasList = ICalItemExtras::Records ICalItemExtras::*;

// Each view's entity names with the list its records go to.
const QList<std::pair<QStringList, ItemExtrasList>> &itemExtrasViews() {
    static const QList<std::pair<QStringList, ItemExtrasList>> views = [] {
        const std::pair<const char *, ItemExtrasList> lists[] = {
            {"organizers", &ICalItemExtras::organizers},
            {"attendees", &ICalItemExtras::attendees},
            {"contacts", &ICalItemExtras::contacts},
            {"recurrences", &ICalItemExtras::recurrences},
            {"attachments", &ICalItemExtras::attachments},
            {"reminders", &ICalItemExtras::globalReminders}};
        QList<std::pair<QStringList, ItemExtrasList>> result;
        for (const auto &[name, list] : lists)
            result.append({Schema::extraRelationship(QLatin1String(name))->entityNames, list});
        return result;
    }();
    return views;
}

}  // namespace

ICalItemExtras::ICalItemExtras(const CommonDataMO *item) {
    const auto &views = itemExtrasViews();
    // The item's own list, not a copy of it: nothing changes while it is read.
    const PropertyDescription *extras = item->propertyNamed(kItemExtrasKey);
    if (!extras || !extras->isToMany)
        throw std::invalid_argument("an item's extra records are a to-many relationship");
    for (ManagedObject *object : item->toMany(extras)) {
        const QString &entityName = object->entityName();
        for (const auto &[entityNames, list] : views) {
            if (std::none_of(entityNames.cbegin(), entityNames.cend(),
                             [&](const QString &name) { return name == entityName; }))
                continue;
            auto *record = ModelObject::as<ExtraDataMO>(object);
            if (list == &ICalItemExtras::globalReminders &&
                entityName == QLatin1String("LocalReminder"))
                localReminders.append(record);
            else
                (this->*list).append(record);
            break;
        }
    }
}
