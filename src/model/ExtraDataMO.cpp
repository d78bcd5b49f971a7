#include "model/ExtraDataMO.h"

#include "model/CommonDataMO.h"
#include "model/SyncableObjectMO.h"

namespace {
const QString kParentObject = QStringLiteral("parentObject");
}

ExtraDataMO::ExtraDataMO(const EntityDescription *entity, ManagedObjectContext *context)
    : ModelObject(entity, context) {}

CommonDataMO *ExtraDataMO::parentObject() const {
    return as<CommonDataMO>(objectForKey(kParentObject));
}

ModelObject *ExtraDataMO::owningService() const {
    const CommonDataMO *parent = parentObject();
    return parent ? parent->owningService() : nullptr;
}

bool ExtraDataMO::isLocalOnly() const {
    return entityName().startsWith(QLatin1String("Local"));
}

void ExtraDataMO::awakeFromInsert() {
    if (!SyncableObjectMO::isSyncInProgress())
        assignUID();
}

void ExtraDataMO::awakeFromFetch() {
    m_knownParent = parentObject();
}

void ExtraDataMO::didChangeValueForKey(const PropertyDescription &property) {
    m_valueCache.remove(property.name);
    if (property.name == kParentObject) {
        CommonDataMO *previous = m_knownParent;
        m_knownParent = parentObject();
        noteChangeOfParent(previous);
        noteChangeOfParent(m_knownParent);
    } else if (isSyncedAttribute(property)) {
        noteChangeOfParent(parentObject());
    }
}

void ExtraDataMO::noteChangeOfParent(CommonDataMO *parent) const {
    if (!parent || parent->isDeleted() || isLocalOnly())
        return;
    if (SyncableObjectMO *info = parent->objectInfo())
        info->noteLocalChange();
}

void ExtraDataMO::prepareForDeletion() {
    noteChangeOfParent(parentObject());
}

void ExtraDataMO::didTurnIntoFault() {
    m_valueCache.clear();
    m_knownParent = nullptr;
}
