#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QVariant>

#include "model/ModelObject.h"
#include "model/Schema.h"

class ExtraDataMO;
class SyncableObjectMO;

// The data side of a calendar, item or calendar group (entity family
// CommonData): what the user sees, and the extra records (attendees,
// reminders, …) through the views `attachments`, `reminders`, `attendees`,
// `organizers`, `contacts` and `recurrences` of its `extras`.
//
// Decoded values are cached per attribute until the attribute changes or the
// object turns into a fault. A change of an attribute that is synced (any
// attribute whose name does not begin with "local" or "trans") is a local
// change of the object when no sync is in progress: its syncable object is
// stamped and the owner's sync postponed (SyncableObjectMO::noteLocalChange).
class CommonDataMO : public ModelObject {
public:
    CommonDataMO(const EntityDescription *entity, ManagedObjectContext *context);

    // --- Relationships.
    SyncableObjectMO *objectInfo() const;
    // Items: the calendar's data object (kept beside objectInfo.parentContainer).
    CommonDataMO *parentContainerDirect() const;
    // The calendar: the object itself for a calendar, else parentContainerDirect.
    CommonDataMO *parentContainer() const;
    ModelObject *owningService() const override;

    // The extra records of one view ("reminders", …), in the order they were
    // added; throws std::invalid_argument for another name.
    QList<ExtraDataMO *> extrasForRelationship(const QString &relationship) const;
    // Key-value access adds the views (as `QList<ManagedObject *>`), so that
    // key paths such as "attendees.email" work.
    QVariant valueForKey(const QString &key) const override;

    // --- Identifiers: an item's or calendar's uid is its syncable object's;
    // a calendar group has its own.
    QString uid() const override;
    // "%@/%@/%@": the owning service's uid, the container's uid, the uid.
    QString pathUID() const;

protected:
    QHash<QString, QVariant> *valueCache() const override { return &m_valueCache; }
    void didChangeValueForKey(const PropertyDescription &property) override;
    void didTurnIntoFault() override;

private:
    QList<ManagedObject *> extrasInView(const Schema::ExtraRelationship &view) const;

    mutable QHash<QString, QVariant> m_valueCache;
};
