#include "model/CommonDataMO.h"

#include <stdexcept>

#include "model/ExtraDataMO.h"
#include "model/Schema.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Format.h"

CommonDataMO::CommonDataMO(const EntityDescription *entity, ManagedObjectContext *context)
    : ModelObject(entity, context) {}

SyncableObjectMO *CommonDataMO::objectInfo() const {
    return as<SyncableObjectMO>(objectForKey(QStringLiteral("objectInfo")));
}

CommonDataMO *CommonDataMO::parentContainerDirect() const {
    return as<CommonDataMO>(objectForKey(QStringLiteral("parentContainerDirect")));
}

CommonDataMO *CommonDataMO::parentContainer() const {
    if (isContainer())
        return const_cast<CommonDataMO *>(this);
    return propertyNamed(QStringLiteral("parentContainerDirect")) ? parentContainerDirect()
                                                                  : nullptr;
}

ModelObject *CommonDataMO::owningService() const {
    const SyncableObjectMO *info = objectInfo();
    return info ? info->owningService() : nullptr;
}

QList<ManagedObject *> CommonDataMO::extrasInView(const Schema::ExtraRelationship &view) const {
    QList<ManagedObject *> extras;
    for (ManagedObject *extra : objectsForKey(QString::fromLatin1(Schema::kExtrasKey))) {
        if (view.entityNames.contains(extra->entityName()))
            extras.append(extra);
    }
    return extras;
}

QList<ExtraDataMO *> CommonDataMO::extrasForRelationship(const QString &relationship) const {
    const Schema::ExtraRelationship *view = Schema::extraRelationship(relationship);
    if (!view)
        throw std::invalid_argument(QStringLiteral("%1 is not a relationship of extra records")
                                        .arg(relationship)
                                        .toStdString());
    QList<ExtraDataMO *> extras;
    for (ManagedObject *extra : extrasInView(*view))
        extras.append(as<ExtraDataMO>(extra));
    return extras;
}

QVariant CommonDataMO::valueForKey(const QString &key) const {
    const Schema::ExtraRelationship *view =
        propertyNamed(key) ? nullptr : Schema::extraRelationship(key);
    return view ? QVariant::fromValue(extrasInView(*view)) : ModelObject::valueForKey(key);
}

QString CommonDataMO::uid() const {
    if (propertyNamed(QStringLiteral("uid")))
        return ModelObject::uid();
    const SyncableObjectMO *info = objectInfo();
    return info ? info->uid() : QString();
}

QString CommonDataMO::pathUID() const {
    const ModelObject *service = owningService();
    const CommonDataMO *container = parentContainer();
    return format("%@/%@/%@", service ? QVariant(service->uid()) : QVariant(),
                  container ? QVariant(container->uid()) : QVariant(), uid());
}

void CommonDataMO::didChangeValueForKey(const PropertyDescription &property) {
    m_valueCache.remove(property.name);
    if (!isSyncedAttribute(property))
        return;
    if (SyncableObjectMO *info = objectInfo())
        info->noteLocalChange();
}

void CommonDataMO::didTurnIntoFault() {
    m_valueCache.clear();
}
