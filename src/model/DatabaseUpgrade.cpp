#include "model/DatabaseUpgrade.h"

#include <QDir>
#include <QDirIterator>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/ItemReminders.h"
#include "model/ReminderRecord.h"
#include "model/foundation/Log.h"
#include "model/foundation/Paths.h"
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
    if (from({"3.2", "4.0"})) {
        recomputeAttendeeSearchText();
        moveProximityToXProps();
        removeOldExchangeCaches();
    }
    if (from({"4.1"}))
        moveExchangeTagsToLocalTags();
    saveUpgrade();
}

void DatabaseUpgrade::finishStoreMigration() {
    giveCalendarsTransparency();
    saveUpgrade();
}

void DatabaseUpgrade::saveUpgrade() {
    try {
        m_context->save();
    } catch (const StoreError &error) {
        logError("upgrade: save failed: %@", error.description());
    }
}

// Calendars had no transparency: every one blocked time.
void DatabaseUpgrade::giveCalendarsTransparency() {
    FetchRequest request(QStringLiteral("Calendar"));
    request.setPredicate(
        Predicate::fromFormat(QStringLiteral("%K == nil"), {QStringLiteral("blocksTime")}));
    const QList<ManagedObject *> calendars = m_context->executeFetchRequest(request);
    for (ManagedObject *calendar : calendars)
        ModelObject::as<ModelObject>(calendar)->setIntegerValue(1, QStringLiteral("blocksTime"));
    if (!calendars.isEmpty())
        logInfo("upgrade: %ld calendars block time", long(calendars.size()));
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

// Attendee names became searchable.
void DatabaseUpgrade::recomputeAttendeeSearchText() {
    FetchRequest request(QStringLiteral("Event"));
    request.setPredicate(
        Predicate::fromFormat(QStringLiteral("(%K == %d) AND (%K.@count > 0)"),
                              {QStringLiteral("eventType"), 0, QStringLiteral("attendees")}));
    for (ManagedObject *object : m_context->executeFetchRequest(request)) {
        if (auto *event = ModelObject::as<CommonDataMO>(object))
            event->calcSearchText();
    }
}

// Location reminders kept their settings as a dictionary in `recipients`;
// they are unknown iCalendar properties of the alarm now.
void DatabaseUpgrade::moveProximityToXProps() {
    FetchRequest request(QStringLiteral("Reminder"));
    request.setPredicate(Predicate::fromFormat(
        QStringLiteral("%K == %d"),
        {QStringLiteral("reminderType"), ItemReminders::kLocationReminderType}));
    for (ManagedObject *object : m_context->executeFetchRequest(request)) {
        auto *reminder = ModelObject::as<ExtraDataMO>(object);
        const QVariant recipients = reminder->unarchivedValueForKey(QStringLiteral("recipients"));
        if (recipients.typeId() != QMetaType::QVariantMap)
            continue;
        reminder->setArchivedValue(ReminderRecord::xPropsFromProximityDict(recipients.toMap()),
                                   QStringLiteral("xProps"));
        reminder->setArchivedValue(QVariant(), QStringLiteral("recipients"));
    }
}

// Folders named "exchange" below the application-support folder held an
// older Exchange cache.
void DatabaseUpgrade::removeOldExchangeCaches() {
    QDirIterator folders(Paths::applicationSupportFolder(), {QStringLiteral("exchange")},
                         QDir::Dirs | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
    QStringList found;
    while (folders.hasNext())
        found << folders.next();
    for (const QString &folder : found) {
        if (!QDir(folder).removeRecursively())
            logError("upgrade: cannot remove %@", folder);
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
