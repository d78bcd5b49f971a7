#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <optional>

#include "model/ModelObject.h"
#include "model/Schema.h"

class ExtraDataMO;
class ManagedObjectContext;
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

    // --- Creation and deletion. New objects go into the context of the
    // container, else of the service, else the queries' context.
    //
    // A calendar ("Calendar") or item ("Event", "DetachedEvent"): the
    // syncable object and the data object, linked; an item joins the
    // container on both sides, a calendar is owned by `service`, gets a
    // palette colour and blocks time (`blocksTime` 1). Without a sync in
    // progress the new object gets a uid and is stamped. Any other entity
    // throws std::invalid_argument "CommonDataMO makeObject: invalid entity
    // %@".
    // A new calendar is published to the services that republish new
    // calendars (CalendarSubscription::autoRepublishJustSubscribed); one
    // made by the sync of a service that subscribes to new calendars is
    // subscribed right after the current event (scheduleAutoSubscribe).
    static CommonDataMO *makeObject(const QString &entityName, CommonDataMO *container,
                                    ModelObject *service);
    // The same owned by the service syncing now (if any).
    static CommonDataMO *makeObject(const QString &entityName, CommonDataMO *container);
    static CommonDataMO *makeContainer(const QString &entityName, ModelObject *service);
    // Deletes the data object, leaving its syncable object as a stamped
    // tombstone: a calendar is first withdrawn from every service it is
    // published to and loses its items (deleted outright, since the
    // calendar's tombstone stands for them); an item's detached instances
    // become tombstones too. Extras and attachment files go with their
    // object. With `propagateChanges`, pending changes are processed.
    static void deleteObject(CommonDataMO *object, bool propagateChanges = true);
    // A tombstone given a new data object of the entity (an item rejoins its
    // container's data object, a calendar gets a palette colour), stamped.
    static CommonDataMO *undeleteObject(SyncableObjectMO *syncable, const QString &entityName);
    // A tombstone made directly: a syncable object for the entity ("Event",
    // "DetachedEvent", "Calendar") in the container, with a "*" uid and a
    // fresh lastModTime.
    static SyncableObjectMO *makeFakeDeletedObject(const QString &entityName,
                                                   CommonDataMO *container);
    // Deletes the calendar's items (`children`) and, with `attachments`, the
    // object's attachment records and their files.
    void purgeChildren(bool children, bool attachments);

    // --- Queries.
    // The live item of this calendar with that uid, or nullptr.
    CommonDataMO *childWithUID(const QString &uid) const;
    // The records of the listed views ("attachments", "reminders", …).
    QList<ExtraDataMO *> allExtrasForRelationships(const QStringList &relationships) const;
    // The record of the entity with that uid, or nullptr.
    ExtraDataMO *extraDataOfType(const QString &entityName, const QString &uid) const;
    // The attachment carrying the item's graphic: one with a file name.
    ExtraDataMO *graphicAttachment() const;
    bool isVisible() const;

    // --- Values.
    // `localTitle` when set, else `title`.
    std::optional<QString> effectiveTitle() const;
    std::optional<RichText> effectiveAttributedTitle() const;
    // Renaming writes the local override `localTitle` when the object has
    // one, or is a calendar whose server keeps its title (effective access
    // below 3: read-only, subscribed or a peer's); otherwise, and always
    // while its owner syncs, `title`.
    void setEffectiveTitle(const QString &title);
    void setEffectiveAttributedTitle(const std::optional<RichText> &title);
    void setRandomColor();
    void setSortPositionFromHint(qint64 hint);
    // " %@ ": tags, title, location, local tags, notes and local notes (each
    // when shorter than 32769 characters), each contact link's names (or
    // company) and e-mail, each attendee's name and e-mail (or directory
    // address when the e-mail is not an address), joined by " ", control
    // characters as spaces; stored in `localSearchText`.
    void calcSearchText();
    // Every attribute of `source` but `access`, the stamps, `uid`,
    // `originalTimeAndZone` and the "local…"/"trans…" ones; then new copies
    // of its recurrence rules, attachments (with their files) and, unless
    // excluded, reminders.
    void deepCopyFromObject(const CommonDataMO &source, bool excludeReminders);

    // --- The days an item shows on follow its dates: after a change of an
    // item's "startTimeAndZone", "endTimeAndZone", "dueTimeAndZone",
    // "completionTime", "allDay", "floatingEvent" or "eventType" the observer
    // is told (the time library installs it at start-up; none by default).
    using DatesObserver = void (*)(CommonDataMO *item);
    static void setDatesObserver(DatesObserver observer);
    // Tells the observer about an item whose days may have changed for
    // another reason (a reminder or rule record came or went).
    void noteDatesChanged();

protected:
    ValueCache *valueCache() const override { return &m_valueCache; }
    void didChangeValueForKey(const PropertyDescription &property) override;
    void didTurnIntoFault() override;

private:
    QString titleKeyForWriting() const;
    QList<ManagedObject *> extrasInView(const Schema::ExtraRelationship &view) const;

    mutable ValueCache m_valueCache;
};
