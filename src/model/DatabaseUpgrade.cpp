#include "model/DatabaseUpgrade.h"

#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"

void DatabaseUpgrade::finishUpgradeFromVersion(const QString &oldVersion) {
    const auto from = [&](std::initializer_list<const char *> versions) {
        for (const char *version : versions) {
            if (oldVersion == QLatin1String(version))
                return true;
        }
        return false;
    };
    if (from({"3.2", "4.0", "4.1"}))
        rewriteTagHistoryPreference();
    if (from({"4.1"}))
        moveExchangeTagsToLocalTags();
    try {
        m_context->save();
    } catch (const StoreError &error) {
        logError("upgrade: save failed: %@", error.description());
    }
}

void DatabaseUpgrade::moveExchangeTagsToLocalTags() {}

void DatabaseUpgrade::rewriteTagHistoryPreference() {}
