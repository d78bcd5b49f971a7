#include "model/DatabaseUpgrade.h"

#include "model/ModelObject.h"
#include "model/foundation/Log.h"
#include "model/foundation/Preferences.h"
#include "model/store/ManagedObjectContext.h"

namespace {
QString withSpaces(QString tag) {
    return tag.replace(QLatin1Char('_'), QLatin1Char(' '));
}
}  // namespace

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

// Exchange calendars keep categories of their own: tags synced from before
// become local tags.
void DatabaseUpgrade::moveExchangeTagsToLocalTags() {
    FetchRequest request(QStringLiteral("Event"));
    request.setPredicate(
        Predicate::fromFormat(QStringLiteral("%K == %@"),
                              {QStringLiteral("objectInfo.parentContainer.ownedBy.serviceName"),
                               QStringLiteral("Exchange Synchronization")}));
    for (ManagedObject *object : m_context->executeFetchRequest(request)) {
        auto *event = ModelObject::as<ModelObject>(object);
        const QStringList tags = event->tagListValueForKey(QStringLiteral("tags"));
        if (tags.isEmpty())
            continue;
        QStringList local = event->tagListValueForKey(QStringLiteral("localTags"));
        for (const QString &tag : tags)
            local << withSpaces(tag);
        event->setTagListValue(local, QStringLiteral("localTags"));
        event->setTagListValue({}, QStringLiteral("tags"));
    }
}

// The tag history was a list; it is a dictionary keyed by tag, with the time
// each tag was last used (for the old entries: the upgrade).
void DatabaseUpgrade::rewriteTagHistoryPreference() {
    Preferences &preferences = Preferences::shared();
    const QString key = QStringLiteral("localTagHistory");
    const QVariant history = preferences.objectForKey(key);
    if (history.typeId() != QMetaType::QVariantList && history.typeId() != QMetaType::QStringList)
        return;
    QVariantMap byTag;
    const double now = Date::now().secondsSinceReference();
    for (const QVariant &tag : history.toList())
        byTag.insert(withSpaces(tag.toString()), now);
    preferences.setObject(key, byTag);
}
