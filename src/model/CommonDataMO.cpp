#include "model/CommonDataMO.h"

#include <stdexcept>

#include "model/AttachmentFiles.h"
#include "model/CalendarAccess.h"
#include "model/CalendarPublishing.h"
#include "model/CalendarSubscription.h"
#include "model/ExtraDataMO.h"
#include "model/Queries.h"
#include "model/Schema.h"
#include "model/SyncHooks.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Clock.h"
#include "model/foundation/Format.h"
#include "model/store/ManagedObjectContext.h"
#include "model/util/Colors.h"

namespace {

CommonDataMO::DatesObserver datesObserver = nullptr;
const QStringList kDateAttributes{
    QStringLiteral("startTimeAndZone"), QStringLiteral("endTimeAndZone"),
    QStringLiteral("dueTimeAndZone"),   QStringLiteral("completionTime"),
    QStringLiteral("allDay"),           QStringLiteral("floatingEvent"),
    QStringLiteral("eventType")};
const QString kObjectData = QStringLiteral("objectData");
const QString kParentContainer = QStringLiteral("parentContainer");
const QString kParentContainerDirect = QStringLiteral("parentContainerDirect");
const QString kExtras = QString::fromLatin1(Schema::kExtrasKey);
constexpr int kLongestSearchedText = 32768;

// The syncable entity of a data entity; empty for any other name.
QString syncableEntityFor(const QString &entityName) {
    if (entityName == QLatin1String("Event") || entityName == QLatin1String("DetachedEvent"))
        return QStringLiteral("SyncableEvent");
    if (entityName == QLatin1String("Calendar"))
        return QStringLiteral("SyncableCalendar");
    return QString();
}

QString requireSyncableEntityFor(const QString &entityName) {
    const QString syncable = syncableEntityFor(entityName);
    if (syncable.isEmpty())
        throw std::invalid_argument(
            format("CommonDataMO makeObject: invalid entity %@", entityName).toStdString());
    return syncable;
}

ManagedObjectContext *contextFor(const ModelObject *container, const ModelObject *service) {
    if (container)
        return container->managedObjectContext();
    if (service)
        return service->managedObjectContext();
    return Queries::context();
}

// Links a new data object of the entity to the syncable object; an item
// joins the container's data object, a calendar gets a palette colour.
CommonDataMO *giveDataObject(SyncableObjectMO *syncable, const QString &entityName) {
    auto *data = ModelObject::as<CommonDataMO>(
        syncable->managedObjectContext()->insertNewObject(entityName));
    syncable->setObject(kObjectData, data);
    if (data->isContainer()) {
        data->setRandomColor();
    } else if (SyncableObjectMO *container = syncable->parentContainer()) {
        data->setObject(kParentContainerDirect, container->objectData());
    }
    return data;
}

// A calendar a sync creates is subscribed once the sync's current step is
// over, when its service subscribes to new calendars; one the user creates
// goes to the services that republish new calendars.
void settleNewCalendar(CommonDataMO *calendar) {
    // Its events count as busy time until the user or its server says not.
    calendar->setIntegerValue(1, QStringLiteral("blocksTime"));
    if (!SyncableObjectMO::isSyncInProgress()) {
        CalendarSubscription::autoRepublishJustSubscribed(*calendar, false);
        return;
    }
    const ModelObject *syncing = SyncableObjectMO::syncingService();
    if (syncing && syncing->boolValueForKey(QStringLiteral("autoSubscribeContainers")))
        CalendarSubscription::scheduleAutoSubscribe(calendar);
}

}  // namespace

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
    for (ManagedObject *extra : objectsForKey(kExtras)) {
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

void CommonDataMO::setDatesObserver(DatesObserver observer) {
    datesObserver = observer;
}

void CommonDataMO::noteDatesChanged() {
    if (datesObserver && isChild() && !isDeleted())
        datesObserver(this);
}

void CommonDataMO::didChangeValueForKey(const PropertyDescription &property) {
    m_valueCache.remove(property.slot);
    if (kDateAttributes.contains(property.name))
        noteDatesChanged();
    if (!isSyncedAttribute(property))
        return;
    if (SyncableObjectMO *info = objectInfo())
        info->noteLocalChange();
}

void CommonDataMO::didTurnIntoFault() {
    m_valueCache.clear();
}

// --- Creation and deletion ----------------------------------------------------------

CommonDataMO *CommonDataMO::makeObject(const QString &entityName, CommonDataMO *container,
                                       ModelObject *service) {
    const QString syncableEntity = requireSyncableEntityFor(entityName);
    ManagedObjectContext *context = contextFor(container, service);
    auto *syncable = as<SyncableObjectMO>(context->insertNewObject(syncableEntity));
    if (syncable->isSyncableContainer())
        syncable->setObject(QStringLiteral("ownedBy"), service);
    else if (container)
        syncable->setObject(kParentContainer, container->objectInfo());
    CommonDataMO *data = giveDataObject(syncable, entityName);
    if (!SyncableObjectMO::isSyncInProgress()) {
        data->setDateValue(Clock::shared().now(), QStringLiteral("createTime"));
        syncable->touchLastModTime();
        syncable->delaySyncWithOwner();
    }
    if (data->isContainer())
        settleNewCalendar(data);
    return data;
}

CommonDataMO *CommonDataMO::makeObject(const QString &entityName, CommonDataMO *container) {
    return makeObject(entityName, container, SyncableObjectMO::syncingService());
}

CommonDataMO *CommonDataMO::makeContainer(const QString &entityName, ModelObject *service) {
    return makeObject(entityName, nullptr, service);
}

void CommonDataMO::deleteObject(CommonDataMO *object, bool propagateChanges) {
    SyncableObjectMO *syncable = object->objectInfo();
    ManagedObjectContext *context = object->managedObjectContext();
    if (object->isContainer())
        CalendarPublishing::unpublishEverywhere(*object);
    if (object->propertyNamed(QStringLiteral("detachedEvents"))) {
        for (ManagedObject *instance : object->objectsForKey(QStringLiteral("detachedEvents"))) {
            auto *detached = as<CommonDataMO>(instance);
            SyncableObjectMO *detachedInfo = detached->objectInfo();
            detached->purgeChildren(false, true);
            context->deleteObject(detached);
            if (detachedInfo)
                detachedInfo->touchLastModTime();
        }
    }
    if (SyncableObjectMO::isSyncInProgress() &&
        object->entityName() == QLatin1String("DetachedEvent"))
        if (CommonDataMO *original =
                as<CommonDataMO>(object->objectForKey(QStringLiteral("originalEvent"))))
            if (SyncableObjectMO *originalInfo = original->objectInfo())
                SyncHooks::shared().objectReceived(originalInfo);
    object->purgeChildren(true, true);
    if (syncable)
        syncable->setObject(kObjectData, nullptr);
    context->deleteObject(object);
    if (syncable)
        syncable->touchLastModTime();
    if (propagateChanges)
        context->processPendingChanges();
}

CommonDataMO *CommonDataMO::undeleteObject(SyncableObjectMO *syncable, const QString &entityName) {
    requireSyncableEntityFor(entityName);
    CommonDataMO *data = giveDataObject(syncable, entityName);
    syncable->touchLastModTime();
    return data;
}

SyncableObjectMO *CommonDataMO::makeFakeDeletedObject(const QString &entityName,
                                                      CommonDataMO *container) {
    const QString syncableEntity = requireSyncableEntityFor(entityName);
    auto *syncable =
        as<SyncableObjectMO>(contextFor(container, nullptr)->insertNewObject(syncableEntity));
    if (container && !syncable->isSyncableContainer())
        syncable->setObject(kParentContainer, container->objectInfo());
    syncable->assignFakeUID();
    syncable->touchLastModTime();
    return syncable;
}

void CommonDataMO::purgeChildren(bool children, bool attachments) {
    ManagedObjectContext *context = managedObjectContext();
    if (children && isContainer()) {
        FetchRequest request(QStringLiteral("SyncableChild"));
        request.setPredicate(Predicate::fromFormat(
            QStringLiteral("%K == %@"),
            {kParentContainer, QVariant::fromValue<ManagedObject *>(objectInfo())}));
        request.setRelationshipKeyPathsForPrefetching(
            {QStringLiteral("objectData.") + QLatin1String(Schema::kExtrasKey)});
        for (ManagedObject *child : context->executeFetchRequest(request)) {
            if (auto *data = as<SyncableObjectMO>(child)->objectData())
                data->purgeChildren(false, true);
            context->deleteObject(child);
        }
    }
    if (!attachments)
        return;
    for (ExtraDataMO *record : allExtrasForRelationships({QStringLiteral("attachments")})) {
        AttachmentFiles::deleteAttachmentOnDisk(*record);
        context->deleteObject(record);
    }
}

// --- Queries ---------------------------------------------------------------------------

CommonDataMO *CommonDataMO::childWithUID(const QString &uid) const {
    const SyncableObjectMO *info = objectInfo();
    for (ManagedObject *child : Queries::syncableChildrenForUID(uid)) {
        auto *syncable = as<SyncableObjectMO>(child);
        if (syncable->parentContainer() == info && syncable->objectData())
            return syncable->objectData();
    }
    return nullptr;
}

QList<ExtraDataMO *> CommonDataMO::allExtrasForRelationships(
    const QStringList &relationships) const {
    QList<ExtraDataMO *> extras;
    for (const QString &relationship : relationships)
        extras += extrasForRelationship(relationship);
    return extras;
}

ExtraDataMO *CommonDataMO::extraDataOfType(const QString &entityName, const QString &uid) const {
    const QString relationship = Schema::extraRelationshipForEntity(entityName);
    if (relationship.isEmpty())
        return nullptr;
    for (ExtraDataMO *record : extrasForRelationship(relationship)) {
        if (record->entityName() == entityName && record->uid() == uid)
            return record;
    }
    return nullptr;
}

ExtraDataMO *CommonDataMO::graphicAttachment() const {
    for (ExtraDataMO *record : extrasForRelationship(QStringLiteral("attachments"))) {
        if (!record->valueForKey(QStringLiteral("fileName")).toString().isEmpty())
            return record;
    }
    return nullptr;
}

bool CommonDataMO::isVisible() const {
    return !boolValueForKey(QStringLiteral("localHidden"));
}

// --- Values ------------------------------------------------------------------------------

std::optional<QString> CommonDataMO::effectiveTitle() const {
    if (std::optional<QString> local = stringValueForKey(QStringLiteral("localTitle")))
        return local;
    return stringValueForKey(QStringLiteral("title"));
}

std::optional<RichText> CommonDataMO::effectiveAttributedTitle() const {
    if (std::optional<RichText> local = attributedStringValueForKey(QStringLiteral("localTitle")))
        return local;
    return attributedStringValueForKey(QStringLiteral("title"));
}

QString CommonDataMO::titleKeyForWriting() const {
    constexpr int kReadWrite = 3;
    const QString local = QStringLiteral("localTitle");
    const SyncableObjectMO *info = objectInfo();
    if (info && info->syncInProgressWithOwner())
        return QStringLiteral("title");
    return stringValueForKey(local) ||
                   (isContainer() && CalendarAccess::effectiveAccess(*this) < kReadWrite)
               ? local
               : QStringLiteral("title");
}

void CommonDataMO::setEffectiveTitle(const QString &title) {
    setStringValue(title, titleKeyForWriting());
}

void CommonDataMO::setEffectiveAttributedTitle(const std::optional<RichText> &title) {
    setAttributedStringValue(title, titleKeyForWriting());
}

void CommonDataMO::setRandomColor() {
    setColorValue(nextPaletteColor(), QStringLiteral("localColor"));
}

void CommonDataMO::setSortPositionFromHint(qint64 hint) {
    setIntegerValue(hint, QStringLiteral("localSortOrder"));
}

void CommonDataMO::calcSearchText() {
    QStringList words;
    const auto add = [&words](const QString &text) {
        if (!text.isEmpty())
            words << text;
    };
    const auto addShort = [&add](const std::optional<QString> &text) {
        if (text && text->size() <= kLongestSearchedText)
            add(*text);
    };
    add(tagListValueForKey(QStringLiteral("tags")).join(QLatin1Char(' ')));
    add(stringValueForKey(QStringLiteral("title")).value_or(QString()));
    if (propertyNamed(QStringLiteral("location")))
        add(valueForKey(QStringLiteral("location")).toString());
    add(tagListValueForKey(QStringLiteral("localTags")).join(QLatin1Char(' ')));
    addShort(stringValueForKey(QStringLiteral("content")));
    addShort(stringValueForKey(QStringLiteral("localContent")));
    const auto text = [](const ExtraDataMO *record, const char *key) {
        return record->valueForKey(QLatin1String(key)).toString();
    };
    for (const ExtraDataMO *link : extrasForRelationship(QStringLiteral("contacts"))) {
        const QString name = QStringList{text(link, "firstName"), text(link, "lastName")}
                                 .join(QLatin1Char(' '))
                                 .trimmed();
        add(name.isEmpty() ? text(link, "company") : name);
        add(text(link, "primaryEmail"));
    }
    for (const ExtraDataMO *attendee : extrasForRelationship(QStringLiteral("attendees"))) {
        add(text(attendee, "name"));
        const QString email = text(attendee, "email");
        add(email.contains(QLatin1Char('@')) ? email : text(attendee, "directoryURL"));
    }
    QString joined = words.join(QLatin1Char(' '));
    for (QChar &character : joined) {
        if (character.category() == QChar::Other_Control || character == QChar::LineSeparator ||
            character == QChar::ParagraphSeparator)
            character = QLatin1Char(' ');
    }
    setValue(QStringLiteral("localSearchText"), format(" %@ ", joined));
}

void CommonDataMO::deepCopyFromObject(const CommonDataMO &source, bool excludeReminders) {
    static const QStringList excluded{QStringLiteral("access"), QStringLiteral("lastModTime"),
                                      QStringLiteral("ownerLastModTime"), QStringLiteral("uid"),
                                      QStringLiteral("originalTimeAndZone")};
    for (const PropertyDescription *property : source.entity()->properties()) {
        const QString &name = property->name;
        if (property->isRelationship || excluded.contains(name) ||
            name.startsWith(QLatin1String("local")) || name.startsWith(QLatin1String("trans")))
            continue;
        if (const PropertyDescription *mine = propertyNamed(name))
            setPrimitiveValue(mine, source.primitiveValue(property));
    }
    QStringList relationships{QStringLiteral("recurrences"), QStringLiteral("attachments")};
    if (!excludeReminders)
        relationships << QStringLiteral("reminders");
    for (ExtraDataMO *record : source.allExtrasForRelationships(relationships))
        ExtraDataMO::makeExtraWithExtra(record, this);
}
