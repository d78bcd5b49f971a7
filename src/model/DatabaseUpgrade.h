#pragma once

#include <QString>

class ManagedObjectContext;

// The one-time steps that bring the data of an older store up to date after
// it was opened with the current schema. Each step is guarded by the version
// the store had ("Database Version"); steps for data this system cannot hold
// (other programs' calendars and accounts) have nothing to do. Ends with a
// save ("upgrade: save failed: %@" on failure).
class DatabaseUpgrade {
public:
    explicit DatabaseUpgrade(ManagedObjectContext *context) : m_context(context) {}

    void finishUpgradeFromVersion(const QString &oldVersion);
    // After the store was migrated to a changed schema (whatever its
    // version): values that the new attributes must hold for the rows made
    // before them. Calendars get their transparency: they block time, as
    // their events did before. Ends with a save like the above.
    void finishStoreMigration();

private:
    void recomputeAttendeeSearchText();
    void moveProximityToXProps();
    void removeOldExchangeCaches();
    void moveExchangeTagsToLocalTags();
    void rewriteTagHistoryPreference();
    void giveCalendarsTransparency();
    void saveUpgrade();

    ManagedObjectContext *m_context;
};
