#include "model/store/EntityDescription.h"

bool EntityDescription::isKindOf(const EntityDescription *other) const {
    for (const EntityDescription *entity = this; entity; entity = entity->m_parent) {
        if (entity == other)
            return true;
    }
    return false;
}

bool EntityDescription::isKindOf(const QString &entityName) const {
    for (const EntityDescription *entity = this; entity; entity = entity->m_parent) {
        if (entity->m_name == entityName)
            return true;
    }
    return false;
}
