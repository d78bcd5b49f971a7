#include "ical/ItemComparison.h"

#include <QStringList>
#include <algorithm>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/SyncableObjectMO.h"
#include "model/store/EntityDescription.h"
#include "model/store/PropertyDescription.h"
#include "time/recurrence/ItemRecurrence.h"

namespace {

// Ids that each store makes for itself.
bool isOwnId(const ModelObject &object, const QString &name) {
    return name == QLatin1String("uid") && object.entityName() != QLatin1String("Reminder") &&
           object.entityName() != QLatin1String("LocalReminder");
}

bool isCompared(const ModelObject &object, const PropertyDescription &property) {
    const QString &name = property.name;
    return property.isAttribute() && !property.isTransient &&
           !name.startsWith(QLatin1String("local")) && !name.startsWith(QLatin1String("trans")) &&
           name != QLatin1String("access") && name != QLatin1String("fileModTime") &&
           !isOwnId(object, name);
}

QString attributeText(const QVariant &value) {
    if (value.typeId() == QMetaType::QByteArray)
        return QString::fromLatin1(value.toByteArray().toBase64());
    return value.toString();
}

// "name=value" of every compared attribute, in the entity's order.
QStringList describe(const ModelObject &object) {
    QStringList lines;
    for (const PropertyDescription *property : object.entity()->properties()) {
        if (isCompared(object, *property))
            lines << property->name + QLatin1Char('=') +
                         attributeText(object.valueForKey(property->name));
    }
    return lines;
}

QString compareLines(const QString &what, const QStringList &first, const QStringList &second) {
    for (qsizetype i = 0; i < std::max(first.size(), second.size()); ++i) {
        const QString a = first.value(i, QStringLiteral("(nothing)"));
        const QString b = second.value(i, QStringLiteral("(nothing)"));
        if (a != b)
            return QStringLiteral("%1: %2 ≠ %3").arg(what, a, b);
    }
    return {};
}

QStringList describeExtras(const CommonDataMO &item) {
    QStringList records;
    for (ExtraDataMO *record : item.allExtrasForRelationships(
             {QStringLiteral("attendees"), QStringLiteral("organizers"), QStringLiteral("contacts"),
              QStringLiteral("reminders"), QStringLiteral("recurrences"),
              QStringLiteral("attachments")}))
        records << record->entityName() + QLatin1Char('{') +
                       describe(*record).join(QLatin1String(", ")) + QLatin1Char('}');
    records.sort();
    return records;
}

std::optional<Date> originalTime(const CommonDataMO &item) {
    const std::optional<CalendarDate> original =
        item.calendarDateValueForKey(QStringLiteral("originalTimeAndZone"));
    return original ? std::optional(original->date()) : std::nullopt;
}

QList<CommonDataMO *> itemsOf(const CommonDataMO &calendar) {
    QList<CommonDataMO *> items;
    for (ManagedObject *object : calendar.objectsForKey(QStringLiteral("childrenDirect"))) {
        if (auto *item = ModelObject::as<CommonDataMO>(object))
            items << item;
    }
    return items;
}

CommonDataMO *counterpart(const CommonDataMO &item, const QList<CommonDataMO *> &candidates) {
    for (CommonDataMO *candidate : candidates) {
        if (candidate->uid() == item.uid() && candidate->entityName() == item.entityName() &&
            originalTime(*candidate) == originalTime(item))
            return candidate;
    }
    return nullptr;
}

}  // namespace

namespace ItemComparison {

QString firstDifference(const CommonDataMO &first, const CommonDataMO &second) {
    const QString name = first.uid();
    QString difference = compareLines(name, describe(first), describe(second));
    if (difference.isEmpty())
        difference = compareLines(name + QStringLiteral(" stamps"), describe(*first.objectInfo()),
                                  describe(*second.objectInfo()));
    if (difference.isEmpty())
        difference = compareLines(name + QStringLiteral(" records"), describeExtras(first),
                                  describeExtras(second));
    if (!difference.isEmpty() || first.entityName() != QLatin1String("Event"))
        return difference;
    const QList<CommonDataMO *> others =
        ItemRecurrence(const_cast<CommonDataMO *>(&second)).detachedInstances();
    const QList<CommonDataMO *> mine =
        ItemRecurrence(const_cast<CommonDataMO *>(&first)).detachedInstances();
    if (mine.size() != others.size())
        return QStringLiteral("%1: %2 ≠ %3 detached instances")
            .arg(name)
            .arg(mine.size())
            .arg(others.size());
    for (const CommonDataMO *detached : mine) {
        const CommonDataMO *other = counterpart(*detached, others);
        if (!other)
            return name + QStringLiteral(": a detached instance is missing");
        if (QString inner = firstDifference(*detached, *other); !inner.isEmpty())
            return inner;
    }
    return {};
}

QString firstDifferenceOfCalendars(const CommonDataMO &first, const CommonDataMO &second) {
    const QList<CommonDataMO *> mine = itemsOf(first);
    const QList<CommonDataMO *> others = itemsOf(second);
    if (mine.size() != others.size())
        return QStringLiteral("%1 ≠ %2 items").arg(mine.size()).arg(others.size());
    for (const CommonDataMO *item : mine) {
        const CommonDataMO *other = counterpart(*item, others);
        if (!other)
            return item->uid() + QStringLiteral(": missing");
        if (QString difference = firstDifference(*item, *other); !difference.isEmpty())
            return difference;
    }
    return {};
}

}  // namespace ItemComparison
