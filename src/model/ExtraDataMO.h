#pragma once

#include <QHash>
#include <QString>
#include <QVariant>
#include <QVariantMap>

#include "model/ModelObject.h"

class CommonDataMO;

// An auxiliary record of a data object (entity family ExtraData): attendee,
// organizer, contact link, reminder, recurrence rule or attachment, hanging
// off its data object through `parentObject`.
//
// Entities whose name begins with "Local" (LocalReminder, LocalContactLink)
// are never synced. For every other record, when no sync is in progress, a
// new record gets a uid, and joining a data object, leaving it, or a change
// of a synced attribute (one whose name does not begin with "local" or
// "trans") stamps the data object's syncable object. The store tells an
// object nothing when it is deleted, so deleting a record stamps its item
// only when its `parentObject` is cleared first (as deleting an extra record
// does). Decoded values are cached as in CommonDataMO.
class ExtraDataMO : public ModelObject {
public:
    ExtraDataMO(const EntityDescription *entity, ManagedObjectContext *context);

    CommonDataMO *parentObject() const;
    ModelObject *owningService() const override;
    // The entity name begins with "Local": kept on this machine only.
    bool isLocalOnly() const;
    // An Attachment or FileAttachment: a record that may have a file.
    bool hasAttachmentFile() const;

    // --- Creation and deletion.
    // A new record of the entity (an ExtraData entity) in the item.
    static ExtraDataMO *makeExtra(const QString &entityName, CommonDataMO *object);
    // A copy of every attribute of `record` in a new record of its entity
    // under `object`, with a new uid; an attachment's file is copied to the
    // copy's path. When that copy fails it is logged and the new record
    // deleted: nullptr.
    static ExtraDataMO *makeExtraWithExtra(ExtraDataMO *record, CommonDataMO *object);
    // Deletes the record and its file, leaving its item (a change of the
    // item unless the record is local-only or a sync is in progress), and
    // processes pending changes.
    void deleteExtra();

    // The item's record of the person or contact, made when it has none:
    // attendees and organizers are matched by e-mail (case-insensitively),
    // contact links (`LocalContactLink` when `local`) by contact id.
    static ExtraDataMO *attachAttendee(const QString &email, CommonDataMO *event);
    static ExtraDataMO *attachOrganizer(const QString &email, CommonDataMO *event);
    static ExtraDataMO *attachContact(const QString &contactID, CommonDataMO *event, bool local);

    // --- Identity across a re-import. Before a sync replaces an item's
    // records, their preservedAttributes() are kept under their
    // similarityHash(); a new record of the same content takes them back in
    // assignUIDIfNeeded(map) and so keeps its uid, local stamps and file.
    QString similarityHash() const;
    QVariantMap preservedAttributes() const;
    void applyPreservedAttributes(const QVariantMap &attributes);
    using ModelObject::assignUIDIfNeeded;
    void assignUIDIfNeeded(QHash<QString, QVariantMap> &preserved);

    // An attachment with a file name whose address is on another host than
    // the owning service's `url` (case-insensitive): not a copy the server
    // manages.
    bool isUniqueAttachment() const;

protected:
    ValueCache *valueCache() const override { return &m_valueCache; }
    void awakeFromInsert() override;
    void awakeFromFetch() override;
    void didChangeValueForKey(const PropertyDescription &property) override;
    void didTurnIntoFault() override;
    // A synced record deleted from a live item is a change of that item.
    void prepareForDeletion() override;

private:
    bool isReminder() const;
    void noteChangeOfParent(CommonDataMO *parent) const;
    void noteDaysOfParents(CommonDataMO *previous, CommonDataMO *current) const;

    mutable ValueCache m_valueCache;
    // The parent as last seen, so that a record leaving it stamps it.
    CommonDataMO *m_knownParent = nullptr;
};
