#include "model/Schema.h"

#include <QHash>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/ModelObject.h"
#include "model/SyncableObjectMO.h"

namespace {

using K = ValueKind;
using R = ManagedObjectModel::RelationshipSpec;
constexpr DeleteRule kCascade = DeleteRule::Cascade;

enum AttributeFlag { kTransient = 1, kIndexed = 2 };

struct AttributeRow {
    const char *name;
    ValueKind kind;
    int flags = 0;
};
using Attributes = std::vector<AttributeRow>;

enum class Behaviour { Inherited, Plain, Syncable, Data, Extra };

struct EntityRow {
    const char *name;
    const char *parent;
    bool isAbstract;
    Behaviour behaviour;
    Attributes attributes;
    std::vector<R> relationships;
    std::vector<ManagedObjectModel::RangeIndexSpec> rangeIndexes = {};
};

// Attributes that sibling entities share.
const Attributes kPersonAttributes{
    {"email", K::String}, {"name", K::String}, {"directoryURL", K::String}};
const Attributes kContactLinkAttributes{{"contactID", K::String},    {"contactType", K::Integer},
                                        {"nameOrder", K::Integer},   {"firstName", K::String},
                                        {"lastName", K::String},     {"company", K::String},
                                        {"primaryEmail", K::String}, {"primaryPhone", K::String}};
const Attributes kReminderAttributes{{"reminderType", K::Integer}, {"relativeSeconds", K::Double},
                                     {"absoluteTime", K::Date},    {"snooze", K::Boolean},
                                     {"acknowledged", K::Date},    {"defaultAlarm", K::Boolean},
                                     {"url", K::String},           {"recipients", K::Archived},
                                     {"title", K::String},         {"note", K::String}};
const Attributes kAttachmentAttributes{{"url", K::String},
                                       {"fileURL", K::String},
                                       {"fileName", K::String},
                                       {"fileModTime", K::Date},
                                       {"localFilePath", K::String},
                                       {"needsToBeStored", K::Boolean},
                                       {"needsToBeFetched", K::Boolean},
                                       {"opacity", K::Opacity},
                                       {"cellRelativeRect", K::String}};

Attributes joined(Attributes first, const Attributes &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// The whole model, parents before their sub-entities. Delete rules: a
// syncable object owns its data object, a data object owns its extra
// records, and a service owns what only makes sense with it (its inbox
// notices and its remote-object records). Everything else is nullified:
// containers of a deleted service and the children of a deleted container
// are dealt with by the operations that delete them, never silently.
const std::vector<EntityRow> &entityTable() {
    static const std::vector<EntityRow> table{
        // --- Syncable side: identity and sync bookkeeping ---------------
        {"SyncableObject",
         nullptr,
         true,
         Behaviour::Syncable,
         {{"uid", K::String, kIndexed},
          {"lastModTime", K::Date},
          {"lastModBy", K::String},
          {"ownerLastModTime", K::Date},
          {"localReceivedTime", K::Date, kIndexed},
          {"transMark", K::Boolean, kTransient},
          {"transIgnoreConflict", K::Boolean, kTransient},
          {"transOriginalRemoteID", K::String, kTransient}},
         {R{"objectData", "CommonData", "objectInfo", false, kCascade},
          R{"ownedBy", "RemoteService", "ownedContainers"},
          R{"syncsTo", "RemoteObject", "localObject", true},
          R{"parentContainer", "SyncableContainer", "syncableChildren"},
          R{"publishedTo", "RemoteService", "publishedContainers", true}}},
        {"SyncableContainer",
         "SyncableObject",
         true,
         Behaviour::Inherited,
         {},
         {R{"syncableChildren", "SyncableChild", "parentContainer", true}}},
        {"SyncableCalendar", "SyncableContainer", false, Behaviour::Inherited, {}, {}},
        {"SyncableChild", "SyncableObject", true, Behaviour::Inherited, {}, {}},
        {"SyncableEvent", "SyncableChild", false, Behaviour::Inherited, {}, {}},

        // --- Data side: what the user sees -------------------------------
        {"CommonData",
         nullptr,
         true,
         Behaviour::Data,
         {{"title", K::RichText},
          {"localTitle", K::RichText},
          {"content", K::RichText},
          {"localContent", K::RichText},
          {"url", K::String},
          {"localURL", K::String},
          {"tags", K::TagList},
          {"localTags", K::TagList},
          {"localColor", K::Color},
          {"localFont", K::Font},
          {"localHidden", K::Boolean},
          {"localSortOrder", K::Integer},
          {"localSearchText", K::String},
          {"access", K::Integer},
          {"createTime", K::Date},
          // Unknown iCalendar properties, written back on export.
          {"xProps", K::Archived}},
         {R{"objectInfo", "SyncableObject", "objectData"},
          R{Schema::kExtrasKey, "ExtraData", "parentObject", true, kCascade}}},
        {"CommonContainer", "CommonData", true, Behaviour::Inherited, {}, {}},
        {"Calendar",
         "CommonContainer",
         false,
         Behaviour::Inherited,
         {{"localSubscription", K::Integer},
          {"localReadPassword", K::MaskedString},
          {"localWritePassword", K::MaskedString},
          {"localSubscribePassword", K::MaskedString},
          {"localSubscribeAccess", K::Integer},
          {"localFetchAttachments", K::Boolean},
          {"localFilterReminders", K::Boolean},
          {"localFilterToDos", K::Boolean},
          {"supportedEventTypes", K::Integer},
          // Whether its events count as busy time (1) or free (0).
          {"blocksTime", K::Integer},
          {"holidayCalendar", K::Boolean},
          {"defaultIconName", K::String},
          // The zone name of the calendar being imported.
          {"transDefaultTimeZone", K::String, kTransient}},
         {R{"childrenDirect", "CommonChild", "parentContainerDirect", true},
          R{"parentGroup", "CalendarGroup", "calendars"}}},
        // Events and detached events share everything but the link between
        // a recurring event and its modified occurrences.
        {"CommonChild",
         "CommonData",
         true,
         Behaviour::Inherited,
         {{"eventType", K::Integer},
          {"startTimeAndZone", K::CalendarDate},
          {"endTimeAndZone", K::CalendarDate},
          {"dueTimeAndZone", K::CalendarDate},
          {"originalTimeAndZone", K::CalendarDate},
          {"allDay", K::Boolean},
          {"floatingEvent", K::Boolean},
          {"blocksTime", K::Integer},
          {"status", K::Integer},
          {"classification", K::Integer},
          {"priority", K::Integer},
          {"percentComplete", K::Integer},
          {"completionTime", K::Date},
          {"location", K::String},
          {"locationURL", K::String},
          {"travelTimeBefore", K::Integer},
          {"travelTimeAfter", K::Integer},
          {"localInvitedAttendees", K::Archived},
          {"observedHoliday", K::Boolean},
          {"opacity", K::Opacity},
          {"cellRelativeRect", K::String},
          {"localMinimized", K::Boolean},
          {"localFirstDay", K::Integer},
          {"localLastDay", K::Integer},
          {"localOrphaned", K::Boolean}},
         {R{"parentContainerDirect", "Calendar", "childrenDirect"}},
         // The calendar views ask for the items overlapping a range of days;
         // the range index answers that, and nothing asks for one of the two
         // days alone, so neither has an index of its own.
         {{"localFirstDay", "localLastDay"}}},
        {"Event",
         "CommonChild",
         false,
         Behaviour::Inherited,
         {},
         {R{"detachedEvents", "DetachedEvent", "originalEvent", true}}},
        {"DetachedEvent",
         "CommonChild",
         false,
         Behaviour::Inherited,
         {},
         {R{"originalEvent", "Event", "detachedEvents"}}},
        {"CommonGroup", "CommonData", true, Behaviour::Inherited, {}, {}},
        {"CalendarGroup",
         "CommonGroup",
         false,
         Behaviour::Inherited,
         {{"uid", K::String, kIndexed}, {"ownerID", K::String, kIndexed}},
         {R{"calendars", "Calendar", "parentGroup", true}}},

        // --- Extra records of a data object ------------------------------
        {"ExtraData",
         nullptr,
         true,
         Behaviour::Extra,
         {{"uid", K::String, kIndexed},
          {"local", K::Boolean},
          {"localOwnerModTime", K::Date},
          {"localFileModTime", K::Date},
          {"xProps", K::Archived}},
         {R{"parentObject", "CommonData", Schema::kExtrasKey}}},
        {"Organizer",
         "ExtraData",
         false,
         Behaviour::Inherited,
         joined(kPersonAttributes, {{"meetingUID", K::String, kIndexed},
                                    {"localSequence", K::Integer},
                                    {"localRequestSequence", K::Integer},
                                    {"localTimeStamp", K::Date},
                                    {"localFromITIP", K::Boolean}}),
         {}},
        {"Attendee",
         "ExtraData",
         false,
         Behaviour::Inherited,
         joined(kPersonAttributes, {{"status", K::Integer},
                                    {"attendeeType", K::Integer},
                                    {"role", K::Integer},
                                    {"rsvp", K::Boolean},
                                    {"localReplySequence", K::Integer},
                                    {"localReplyTimeStamp", K::Date}}),
         {}},
        {"ContactLink", "ExtraData", false, Behaviour::Inherited, kContactLinkAttributes, {}},
        {"LocalContactLink", "ExtraData", false, Behaviour::Inherited, kContactLinkAttributes, {}},
        {"Reminder", "ExtraData", false, Behaviour::Inherited, kReminderAttributes, {}},
        {"LocalReminder", "ExtraData", false, Behaviour::Inherited, kReminderAttributes, {}},
        {"RecurrenceRule",
         "ExtraData",
         false,
         Behaviour::Inherited,
         {{"frequency", K::Integer},
          {"interval", K::Integer},
          {"count", K::Integer},
          {"weekStartDay", K::Integer},
          {"until", K::Date},
          {"byDayDays", K::Archived},
          {"byDayFreq", K::Archived},
          {"byMonth", K::Archived},
          {"byMonthDay", K::Archived},
          {"bySetPos", K::Archived},
          {"byWeekNumber", K::Archived},
          {"byYearDay", K::Archived},
          {"regenerate", K::Integer},
          {"exceptionDates", K::CalendarDateList},
          {"customDates", K::CalendarDateList},
          {"localCompiledDays", K::Archived}},
         {}},
        {"Attachment", "ExtraData", false, Behaviour::Inherited, kAttachmentAttributes, {}},
        {"FileAttachment", "ExtraData", false, Behaviour::Inherited, kAttachmentAttributes, {}},

        // --- Accounts and publishing -------------------------------------
        {"RemoteService",
         nullptr,
         false,
         Behaviour::Plain,
         {{"uid", K::String, kIndexed},
          {"serviceName", K::String, kIndexed},
          {"type", K::Integer},
          {"title", K::String},
          {"login", K::MaskedString},
          {"transPassword", K::MaskedString, kTransient},
          {"url", K::String},
          {"urlAlternate", K::String},
          {"selfURL", K::StringTable},
          {"alternateURL", K::StringTable},
          {"remoteURL", K::String},
          {"port", K::Integer},
          {"useSSL", K::Boolean},
          {"bonjourName", K::String},
          {"syncInterval", K::Double},
          {"lastSyncTime", K::Date},
          {"lastUpdateTime", K::Date},
          {"lastUpdatedTime", K::Date},
          {"lastListUpdatedTime", K::Date},
          {"remoteLastUpdateTime", K::Date},
          {"syncOptions", K::Archived},
          {"syncData", K::Archived},
          {"preferences", K::Archived},
          {"autoPublishChanges", K::Boolean},
          {"autoPublishContainers", K::Boolean},
          {"autoSubscribeContainers", K::Boolean},
          {"crashTime", K::Date},
          {"lastCrashTime", K::Date},
          {"lastSeenTime", K::Date},
          {"lastResetTime", K::Date},
          {"lastResetUID", K::String},
          {"lastPurgeTime", K::Date}},
         {R{"ownedContainers", "SyncableContainer", "ownedBy", true},
          R{"publishedContainers", "SyncableContainer", "publishedTo", true},
          R{"unpublishedContainers", "UnpublishedContainer", "publisher", true},
          R{"notifications", "Notification", "ownedBy", true, kCascade},
          R{"remoteObjects", "RemoteObject", "theRemoteService", true, kCascade}}},
        // This machine's publishing record. It is kept in the service family
        // because it is a publication target like any service: containers
        // list it in `publishedTo`, withdrawn containers name it as their
        // `publisher`, and it carries the same bookkeeping attributes (uid,
        // names, stamps, crash and purge times).
        {"BonjourPublisher", "RemoteService", false, Behaviour::Inherited, {}, {}},
        {"RemoteObject",
         nullptr,
         false,
         Behaviour::Plain,
         {{"remoteID", K::String, kIndexed},
          {"remoteAccess", K::Integer},
          {"editURL", K::String},
          {"remoteETag", K::String},
          {"originalEventRemoteID", K::String},
          {"remoteLastUpdateTime", K::Date},
          {"localTimeStamp", K::Date},
          {"ignore", K::Boolean}},
         {R{"theRemoteService", "RemoteService", "remoteObjects"},
          R{"localObject", "SyncableObject", "syncsTo"}}},
        {"Notification",
         nullptr,
         false,
         Behaviour::Plain,
         {{"uid", K::String, kIndexed},
          {"type", K::Integer},
          {"createTime", K::Date},
          {"transNew", K::Boolean, kTransient},
          {"data", K::Archived},
          {"remoteURL", K::String},
          {"meetingUID", K::String, kIndexed}},
         {R{"ownedBy", "RemoteService", "notifications"}}},
        {"UnpublishedContainer",
         nullptr,
         false,
         Behaviour::Plain,
         {{"uid", K::String, kIndexed},
          {"containerEntityName", K::String},
          {"lastModTime", K::Date, kIndexed}},
         {R{"publisher", "RemoteService", "unpublishedContainers"}}},
    };
    return table;
}

template <typename T>
ManagedObjectModel::ObjectFactory factoryOf() {
    return [](const EntityDescription *entity, ManagedObjectContext *context) -> ManagedObject * {
        return new T(entity, context);
    };
}

ManagedObjectModel::ObjectFactory factoryFor(Behaviour behaviour) {
    switch (behaviour) {
        case Behaviour::Inherited:
            return {};
        case Behaviour::Plain:
            return factoryOf<ModelObject>();
        case Behaviour::Syncable:
            return factoryOf<SyncableObjectMO>();
        case Behaviour::Data:
            return factoryOf<CommonDataMO>();
        case Behaviour::Extra:
            return factoryOf<ExtraDataMO>();
    }
    return {};
}

struct BuiltModel {
    std::unique_ptr<ManagedObjectModel> model;
    QHash<const PropertyDescription *, ValueKind> kinds;
};

const BuiltModel &builtModel() {
    static const BuiltModel built = [] {
        std::vector<ManagedObjectModel::EntitySpec> specs;
        for (const EntityRow &row : entityTable()) {
            std::vector<ManagedObjectModel::AttributeSpec> attributes;
            for (const AttributeRow &attribute : row.attributes)
                attributes.push_back({attribute.name, Schema::storedType(attribute.kind),
                                      (attribute.flags & kTransient) != 0,
                                      (attribute.flags & kIndexed) != 0});
            specs.push_back({row.name, row.parent, row.isAbstract, std::move(attributes),
                             row.relationships, factoryFor(row.behaviour), row.rangeIndexes});
        }
        BuiltModel result;
        result.model =
            std::make_unique<ManagedObjectModel>(QString::fromLatin1(Schema::kVersion), specs);
        for (const EntityRow &row : entityTable()) {
            const EntityDescription *entity = result.model->entity(QLatin1String(row.name));
            for (const AttributeRow &attribute : row.attributes)
                result.kinds.insert(entity->property(QLatin1String(attribute.name)),
                                    attribute.kind);
        }
        return result;
    }();
    return built;
}

}  // namespace

const ManagedObjectModel &Schema::model() {
    return *builtModel().model;
}

ValueKind Schema::valueKind(const PropertyDescription &attribute) {
    const auto &kinds = builtModel().kinds;
    auto it = kinds.constFind(&attribute);
    if (it == kinds.constEnd())
        throw std::invalid_argument(QStringLiteral("%1 is not an attribute of the model")
                                        .arg(attribute.name)
                                        .toStdString());
    return it.value();
}

AttributeType Schema::storedType(ValueKind kind) {
    switch (kind) {
        case ValueKind::Boolean:
            return AttributeType::Boolean;
        case ValueKind::Integer:
        case ValueKind::Color:
            return AttributeType::Integer;
        case ValueKind::Double:
        case ValueKind::Opacity:
            return AttributeType::Double;
        case ValueKind::Date:
            return AttributeType::Date;
        case ValueKind::String:
        case ValueKind::StringTable:
        case ValueKind::CalendarDate:
        case ValueKind::CalendarDateList:
            return AttributeType::String;
        case ValueKind::Archived:
        case ValueKind::MaskedString:
        case ValueKind::Font:
        case ValueKind::RichText:
        case ValueKind::TagList:
            return AttributeType::Binary;
    }
    return AttributeType::String;
}

const QList<Schema::ExtraRelationship> &Schema::extraRelationships() {
    static const QList<ExtraRelationship> relationships{
        {QStringLiteral("attachments"),
         {QStringLiteral("Attachment"), QStringLiteral("FileAttachment")}},
        {QStringLiteral("reminders"),
         {QStringLiteral("Reminder"), QStringLiteral("LocalReminder")}},
        {QStringLiteral("attendees"), {QStringLiteral("Attendee")}},
        {QStringLiteral("organizers"), {QStringLiteral("Organizer")}},
        {QStringLiteral("contacts"),
         {QStringLiteral("ContactLink"), QStringLiteral("LocalContactLink")}},
        {QStringLiteral("recurrences"), {QStringLiteral("RecurrenceRule")}},
    };
    return relationships;
}

const Schema::ExtraRelationship *Schema::extraRelationship(const QString &name) {
    for (const ExtraRelationship &relationship : extraRelationships()) {
        if (relationship.name == name)
            return &relationship;
    }
    return nullptr;
}

QString Schema::extraRelationshipForEntity(const QString &entityName) {
    for (const ExtraRelationship &relationship : extraRelationships()) {
        if (relationship.entityNames.contains(entityName))
            return relationship.name;
    }
    return QString();
}
