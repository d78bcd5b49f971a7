#include <gtest/gtest.h>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/Schema.h"
#include "model/SyncableObjectMO.h"
#include "model/objects/ModelFixture.h"
#include "model/store/SqliteConnection.h"

namespace {

struct ExpectedEntity {
    const char *name;
    const char *parent;
    bool isAbstract;
};

// The entity hierarchy as the rest of the program names it.
const ExpectedEntity kEntities[] = {
    {"SyncableObject", nullptr, true},
    {"SyncableContainer", "SyncableObject", true},
    {"SyncableCalendar", "SyncableContainer", false},
    {"SyncableChild", "SyncableObject", true},
    {"SyncableEvent", "SyncableChild", false},
    {"CommonData", nullptr, true},
    {"CommonContainer", "CommonData", true},
    {"Calendar", "CommonContainer", false},
    {"CommonChild", "CommonData", true},
    {"Event", "CommonChild", false},
    {"DetachedEvent", "CommonChild", false},
    {"CommonGroup", "CommonData", true},
    {"CalendarGroup", "CommonGroup", false},
    {"ExtraData", nullptr, true},
    {"Organizer", "ExtraData", false},
    {"Attendee", "ExtraData", false},
    {"ContactLink", "ExtraData", false},
    {"LocalContactLink", "ExtraData", false},
    {"Reminder", "ExtraData", false},
    {"LocalReminder", "ExtraData", false},
    {"RecurrenceRule", "ExtraData", false},
    {"Attachment", "ExtraData", false},
    {"FileAttachment", "ExtraData", false},
    {"RemoteService", nullptr, false},
    {"RemoteObject", nullptr, false},
    {"Notification", nullptr, false},
    {"UnpublishedContainer", nullptr, false},
    // A publication target like the services (see the schema).
    {"BonjourPublisher", "RemoteService", false},
};

const PropertyDescription *relationship(const char *entity, const char *name) {
    const EntityDescription *description = Schema::model().entity(QLatin1String(entity));
    return description ? description->property(QLatin1String(name)) : nullptr;
}

}  // namespace

TEST(SchemaTest, HasEveryEntityWithItsParentAndNothingElse) {
    const ManagedObjectModel &model = Schema::model();
    EXPECT_EQ(model.versionIdentifier(), QStringLiteral("4.5"));
    EXPECT_EQ(model.entities().size(), qsizetype(std::size(kEntities)));
    for (const ExpectedEntity &expected : kEntities) {
        SCOPED_TRACE(expected.name);
        const EntityDescription *entity = model.entity(QLatin1String(expected.name));
        ASSERT_NE(entity, nullptr);
        EXPECT_EQ(entity->isAbstract(), expected.isAbstract);
        EXPECT_EQ(entity->parent() ? entity->parent()->name() : QString(),
                  expected.parent ? QLatin1String(expected.parent) : QString());
    }
}

TEST(SchemaTest, RelationshipsPairWithTheirInversesAndDeleteRules) {
    struct Expected {
        const char *entity, *name, *destination, *inverse;
        bool toMany;
        DeleteRule rule;
    };
    const DeleteRule cascade = DeleteRule::Cascade, nullify = DeleteRule::Nullify;
    const Expected expected[] = {
        {"SyncableObject", "objectData", "CommonData", "objectInfo", false, cascade},
        {"CommonData", "objectInfo", "SyncableObject", "objectData", false, nullify},
        {"CommonData", "extras", "ExtraData", "parentObject", true, cascade},
        {"ExtraData", "parentObject", "CommonData", "extras", false, nullify},
        {"SyncableObject", "ownedBy", "RemoteService", "ownedContainers", false, nullify},
        {"RemoteService", "ownedContainers", "SyncableContainer", "ownedBy", true, nullify},
        {"SyncableObject", "publishedTo", "RemoteService", "publishedContainers", true, nullify},
        {"SyncableObject", "syncsTo", "RemoteObject", "localObject", true, nullify},
        {"SyncableObject", "parentContainer", "SyncableContainer", "syncableChildren", false,
         nullify},
        {"CommonChild", "parentContainerDirect", "Calendar", "childrenDirect", false, nullify},
        {"Calendar", "parentGroup", "CalendarGroup", "calendars", false, nullify},
        {"DetachedEvent", "originalEvent", "Event", "detachedEvents", false, nullify},
        {"RemoteService", "unpublishedContainers", "UnpublishedContainer", "publisher", true,
         nullify},
        {"RemoteService", "notifications", "Notification", "ownedBy", true, cascade},
        {"RemoteService", "remoteObjects", "RemoteObject", "theRemoteService", true, cascade},
    };
    for (const Expected &e : expected) {
        SCOPED_TRACE(QStringLiteral("%1.%2")
                         .arg(QLatin1String(e.entity), QLatin1String(e.name))
                         .toStdString());
        const PropertyDescription *property = relationship(e.entity, e.name);
        ASSERT_NE(property, nullptr);
        ASSERT_TRUE(property->isRelationship);
        EXPECT_EQ(property->destination->name(), QLatin1String(e.destination));
        ASSERT_NE(property->inverse, nullptr);
        EXPECT_EQ(property->inverse->name, QLatin1String(e.inverse));
        EXPECT_EQ(property->isToMany, e.toMany);
        EXPECT_EQ(property->deleteRule, e.rule);
    }
    // The BonjourPublisher is a publication target and a publisher of
    // withdrawn containers like any service.
    EXPECT_NE(relationship("BonjourPublisher", "publishedContainers"), nullptr);
    EXPECT_NE(relationship("BonjourPublisher", "unpublishedContainers"), nullptr);
}

TEST(SchemaTest, EncodedKindsMapToStoreTypesAndTransientsAreMarked) {
    const EntityDescription *event = Schema::model().entity(QStringLiteral("Event"));
    const auto kindOf = [&](const EntityDescription *entity, const char *name) {
        return Schema::valueKind(*entity->property(QLatin1String(name)));
    };
    const auto typeOf = [&](const EntityDescription *entity, const char *name) {
        return entity->property(QLatin1String(name))->type;
    };
    EXPECT_EQ(kindOf(event, "startTimeAndZone"), ValueKind::CalendarDate);
    EXPECT_EQ(typeOf(event, "startTimeAndZone"), AttributeType::String);
    EXPECT_EQ(kindOf(event, "localColor"), ValueKind::Color);
    EXPECT_EQ(typeOf(event, "localColor"), AttributeType::Integer);
    for (const char *binary : {"title", "localFont", "tags", "localInvitedAttendees"})
        EXPECT_EQ(typeOf(event, binary), AttributeType::Binary) << binary;
    const EntityDescription *rule = Schema::model().entity(QStringLiteral("RecurrenceRule"));
    EXPECT_EQ(kindOf(rule, "exceptionDates"), ValueKind::CalendarDateList);
    EXPECT_EQ(typeOf(rule, "exceptionDates"), AttributeType::String);
    const EntityDescription *service = Schema::model().entity(QStringLiteral("RemoteService"));
    EXPECT_EQ(kindOf(service, "selfURL"), ValueKind::StringTable);
    EXPECT_EQ(kindOf(service, "login"), ValueKind::MaskedString);

    // Every attribute named "trans…" is transient, and only those.
    for (const EntityDescription *entity : Schema::model().entities()) {
        for (const PropertyDescription *property : entity->properties()) {
            if (property->isAttribute()) {
                EXPECT_EQ(property->isTransient, property->name.startsWith(QLatin1String("trans")))
                    << entity->name().toStdString() << "." << property->name.toStdString();
            }
        }
    }
}

TEST(SchemaTest, ExtraRelationshipViewsCoverEveryConcreteExtraEntity) {
    for (const EntityDescription *entity :
         Schema::model().entity(QStringLiteral("ExtraData"))->selfAndDescendants()) {
        if (!entity->isAbstract()) {
            EXPECT_FALSE(Schema::extraRelationshipForEntity(entity->name()).isEmpty())
                << entity->name().toStdString();
        }
    }
    EXPECT_EQ(Schema::extraRelationshipForEntity(QStringLiteral("LocalReminder")),
              QStringLiteral("reminders"));
    EXPECT_EQ(Schema::extraRelationshipForEntity(QStringLiteral("FileAttachment")),
              QStringLiteral("attachments"));
    EXPECT_EQ(Schema::extraRelationship(QStringLiteral("nonsense")), nullptr);
}

class SchemaStoreTest : public ModelTest {
protected:
    bool isIndexed(const QString &table, const QString &column) {
        SqliteStatement &query = m_store->connection().statement(QStringLiteral(
            "SELECT COUNT(*) FROM pragma_index_list(?) AS l, pragma_index_info(l.name) AS i "
            "WHERE i.name = ?"));
        query.bind(1, table).bind(2, column);
        const bool found = query.step() && query.columnInt(0) > 0;
        query.reset();
        return found;
    }
};

TEST_F(SchemaStoreTest, SearchedAttributesAreIndexed) {
    const std::pair<const char *, const char *> searched[] = {
        {"SyncableObject", "uid"},
        {"SyncableObject", "localReceivedTime"},
        {"SyncableObject", "parentContainer"},
        {"SyncableObject", "ownedBy"},
        {"CommonData", "parentContainerDirect"},
        {"CommonData", "ownerID"},
        {"ExtraData", "uid"},
        {"ExtraData", "meetingUID"},
        {"ExtraData", "parentObject"},
        {"RemoteService", "uid"},
        {"RemoteService", "serviceName"},
        {"RemoteObject", "remoteID"},
        {"RemoteObject", "theRemoteService"},
        {"Notification", "meetingUID"},
        {"UnpublishedContainer", "uid"},
        {"UnpublishedContainer", "lastModTime"},
    };
    for (const auto &[table, column] : searched)
        EXPECT_TRUE(isIndexed(QLatin1String(table), QLatin1String(column)))
            << table << "." << column;
    EXPECT_FALSE(isIndexed(QStringLiteral("CommonData"), QStringLiteral("location")));
    // The range of days is searched through its range tree, and each side
    // of a one-to-one relationship is read from its own row.
    for (const char *column : {"localFirstDay", "localLastDay", "objectInfo"})
        EXPECT_FALSE(isIndexed(QStringLiteral("CommonData"), QLatin1String(column))) << column;
}

TEST_F(SchemaStoreTest, ObjectsAreMadeOfTheirBehaviourClass) {
    for (const EntityDescription *entity : Schema::model().entities()) {
        if (entity->isAbstract())
            continue;
        SCOPED_TRACE(entity->name().toStdString());
        ManagedObject *object = context().insertNewObject(entity);
        const QString family = entity->root()->name();
        bool ofItsClass = ModelObject::as<ModelObject>(object) != nullptr;
        if (family == QLatin1String("SyncableObject"))
            ofItsClass = ModelObject::as<SyncableObjectMO>(object) != nullptr;
        else if (family == QLatin1String("CommonData"))
            ofItsClass = ModelObject::as<CommonDataMO>(object) != nullptr;
        else if (family == QLatin1String("ExtraData"))
            ofItsClass = ModelObject::as<ExtraDataMO>(object) != nullptr;
        EXPECT_TRUE(ofItsClass);
    }
}
