#include "model/ExtraDataMO.h"

#include <QFileInfo>
#include <QUrl>

#include "model/AttachmentFiles.h"
#include "model/CommonDataMO.h"
#include "model/Schema.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Log.h"
#include "model/store/ManagedObjectContext.h"

namespace {
const QString kParentObject = QStringLiteral("parentObject");
const QString kUid = QStringLiteral("uid");
const QString kRelativeSeconds = QStringLiteral("relativeSeconds");
const QString kAbsoluteTime = QStringLiteral("absoluteTime");

// The item's record of the entity whose `key` matches `value`
// (case-insensitively), else a new one holding it.
ExtraDataMO *findOrMake(CommonDataMO *event, const QString &entityName, const QString &key,
                        const QString &value) {
    for (ExtraDataMO *record :
         event->extrasForRelationship(Schema::extraRelationshipForEntity(entityName))) {
        if (record->entityName() == entityName &&
            record->valueForKey(key).toString().compare(value, Qt::CaseInsensitive) == 0)
            return record;
    }
    ExtraDataMO *record = ExtraDataMO::makeExtra(entityName, event);
    record->setValue(key, value);
    return record;
}

QString secondsText(const std::optional<Date> &date) {
    return QString::number(qint64(date ? date->secondsSinceReference() : 0));
}
}  // namespace

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
    m_valueCache.remove(property.slot);
    if (property.name == kParentObject) {
        CommonDataMO *previous = m_knownParent;
        m_knownParent = parentObject();
        noteChangeOfParent(previous);
        noteChangeOfParent(m_knownParent);
        noteDaysOfParents(previous, m_knownParent);
    } else {
        if (isSyncedAttribute(property))
            noteChangeOfParent(parentObject());
        if (isReminder() && (property.name == kRelativeSeconds || property.name == kAbsoluteTime))
            noteDaysOfParents(parentObject(), nullptr);
    }
}

bool ExtraDataMO::isReminder() const {
    return entityName() == QLatin1String("Reminder") ||
           entityName() == QLatin1String("LocalReminder");
}

// A reminder shows its item earlier or later, and an item that lost a rule
// repeats differently; a new rule is counted once its fields are set.
void ExtraDataMO::noteDaysOfParents(CommonDataMO *previous, CommonDataMO *current) const {
    const bool rule = entityName() == QLatin1String("RecurrenceRule");
    if (!isReminder() && !rule)
        return;
    if (previous && previous != current)
        previous->noteDatesChanged();
    if (current && !rule)
        current->noteDatesChanged();
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

bool ExtraDataMO::hasAttachmentFile() const {
    return isKindOfEntity(QStringLiteral("Attachment")) ||
           isKindOfEntity(QStringLiteral("FileAttachment"));
}

// --- Creation and deletion ------------------------------------------------------

ExtraDataMO *ExtraDataMO::makeExtra(const QString &entityName, CommonDataMO *object) {
    auto *record = as<ExtraDataMO>(object->managedObjectContext()->insertNewObject(entityName));
    record->setObject(kParentObject, object);
    return record;
}

ExtraDataMO *ExtraDataMO::makeExtraWithExtra(ExtraDataMO *record, CommonDataMO *object) {
    ExtraDataMO *copy = makeExtra(record->entityName(), object);
    for (const PropertyDescription *property : record->entity()->properties()) {
        if (property->isRelationship || property->name == kUid)
            continue;
        copy->setPrimitiveValue(copy->propertyNamed(property->name),
                                record->primitiveValue(property));
    }
    copy->assignUID();
    if (!record->hasAttachmentFile())
        return copy;
    const std::optional<QString> from =
        AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*record);
    const std::optional<QString> to =
        AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*copy);
    // Nothing to copy: no file, one shared by address, or one not stored yet.
    const bool stored = record->dateValueForKey(QStringLiteral("localFileModTime")).has_value();
    if (!from || !to || *from == *to || (!stored && !QFileInfo::exists(*from)))
        return copy;
    QString error;
    if (AttachmentFiles::copyFile(*from, *to, &error))
        return copy;
    logError("makeExtraWithExtra: error copying file %@ -> %@ (%@)", *from, *to, error);
    copy->deleteExtra();
    return nullptr;
}

void ExtraDataMO::deleteExtra() {
    if (hasAttachmentFile())
        AttachmentFiles::deleteAttachmentOnDisk(*this);
    ManagedObjectContext *context = managedObjectContext();
    setObject(kParentObject, nullptr);
    context->deleteObject(this);
    context->processPendingChanges();
}

ExtraDataMO *ExtraDataMO::attachAttendee(const QString &email, CommonDataMO *event) {
    return findOrMake(event, QStringLiteral("Attendee"), QStringLiteral("email"), email);
}

ExtraDataMO *ExtraDataMO::attachOrganizer(const QString &email, CommonDataMO *event) {
    return findOrMake(event, QStringLiteral("Organizer"), QStringLiteral("email"), email);
}

ExtraDataMO *ExtraDataMO::attachContact(const QString &contactID, CommonDataMO *event, bool local) {
    return findOrMake(event,
                      local ? QStringLiteral("LocalContactLink") : QStringLiteral("ContactLink"),
                      QStringLiteral("contactID"), contactID);
}

// --- Identity across a re-import -------------------------------------------------

QString ExtraDataMO::similarityHash() const {
    const QString entity = entityName();
    const auto text = [this](const char *key) {
        return valueForKey(QLatin1String(key)).toString();
    };
    if (isKindOfEntity(QStringLiteral("Reminder")) ||
        isKindOfEntity(QStringLiteral("LocalReminder")))
        return entity + QStringLiteral(".%1.%2.%3.%4.%5")
                            .arg(integerValueForKey(QStringLiteral("reminderType")))
                            .arg(int(boolValueForKey(QStringLiteral("defaultAlarm"))))
                            .arg(int(boolValueForKey(QStringLiteral("snooze"))))
                            .arg(qint64(doubleValueForKey(QStringLiteral("relativeSeconds"))))
                            .arg(secondsText(dateValueForKey(QStringLiteral("absoluteTime"))));
    if (propertyNamed(QStringLiteral("contactID")))
        return entity + QLatin1Char('.') + text("contactID");
    if (propertyNamed(QStringLiteral("email")))
        return entity + QLatin1Char('.') + text("email");
    if (hasAttachmentFile())
        return entity + QStringLiteral(".%1.%2").arg(text("fileName"), text("fileURL"));
    return entity;
}

QVariantMap ExtraDataMO::preservedAttributes() const {
    QVariantMap attributes;
    for (const PropertyDescription *property : entity()->properties()) {
        if (property->isRelationship)
            continue;
        if (property->name == kUid || property->name.startsWith(QLatin1String("local")))
            attributes.insert(property->name, primitiveValue(property));
    }
    return attributes;
}

void ExtraDataMO::applyPreservedAttributes(const QVariantMap &attributes) {
    for (auto it = attributes.begin(); it != attributes.end(); ++it) {
        if (const PropertyDescription *property = propertyNamed(it.key()))
            setPrimitiveValue(property, it.value());
    }
}

void ExtraDataMO::assignUIDIfNeeded(QHash<QString, QVariantMap> &preserved) {
    if (uid().isEmpty()) {
        const auto it = preserved.constFind(similarityHash());
        if (it != preserved.constEnd()) {
            applyPreservedAttributes(*it);
            preserved.erase(it);
        }
    }
    assignUIDIfNeeded();
}

bool ExtraDataMO::isUniqueAttachment() const {
    if (!hasAttachmentFile() || valueForKey(QStringLiteral("fileName")).toString().isEmpty())
        return false;
    const QString host = QUrl(valueForKey(QStringLiteral("fileURL")).toString()).host();
    const ModelObject *service = owningService();
    const QString serviceHost =
        service ? QUrl(service->valueForKey(QStringLiteral("url")).toString()).host() : QString();
    return host.compare(serviceHost, Qt::CaseInsensitive) != 0;
}
