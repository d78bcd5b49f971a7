#include "model/store/StoreFixture.h"

using Spec = ManagedObjectModel::EntitySpec;
using A = ManagedObjectModel::AttributeSpec;
using R = ManagedObjectModel::RelationshipSpec;

std::vector<Spec> testSchema(bool withPriority) {
    std::vector<A> taskAttributes{{"due", AttributeType::Date},
                                  {"done", AttributeType::Boolean},
                                  {"first", AttributeType::Integer},
                                  {"last", AttributeType::Integer}};
    if (withPriority)
        taskAttributes.push_back({"priority", AttributeType::Integer, false, true});
    std::vector<Spec> specs{
        {"Item",
         nullptr,
         true,
         {{"uid", AttributeType::String, false, true},
          {"count", AttributeType::Integer},
          {"flag", AttributeType::Boolean},
          {"ratio", AttributeType::Double},
          {"when", AttributeType::Date},
          {"blob", AttributeType::Binary},
          {"scratch", AttributeType::Boolean, true}},
         {{"folder", "Folder", "items"}, {"tags", "Tag", "items", true}},
         {}},
        {"Note", "Item", false, {{"text", AttributeType::String}}, {}, {}},
        {"Task", "Item", false, taskAttributes, {}, {}, {{"first", "last"}}},
        {"Folder",
         nullptr,
         false,
         {{"title", AttributeType::String}},
         {{"items", "Item", "folder", true, DeleteRule::Cascade},
          {"parent", "Folder", "children"},
          {"children", "Folder", "parent", true, DeleteRule::Cascade}},
         {}},
        {"Tag",
         nullptr,
         false,
         {{"name", AttributeType::String}},
         {{"items", "Item", "tags", true}},
         {}},
    };
    if (withPriority)
        specs.push_back({"Label", nullptr, false, {{"text", AttributeType::String}}, {}, {}});
    return specs;
}

StoreTest::StoreTest()
    : m_model(std::make_unique<ManagedObjectModel>(QStringLiteral("1"), testSchema())) {
    reopen();
}

StoreTest::~StoreTest() {
    m_context.reset();
    m_store.reset();
}

void StoreTest::reopen() {
    m_context.reset();
    m_store.reset();
    m_store = std::make_unique<PersistentStore>(m_model.get(), path());
    m_context = std::make_unique<ManagedObjectContext>(m_store.get());
}

ManagedObject *StoreTest::insert(const QString &entity, const QString &uid) {
    ManagedObject *object = m_context->insertNewObject(entity);
    // Each entity's identifying text attribute.
    const QString key = entity == QLatin1String("Folder") ? QStringLiteral("title")
                        : entity == QLatin1String("Tag")  ? QStringLiteral("name")
                                                          : QStringLiteral("uid");
    object->setValue(key, uid);
    return object;
}

QList<ManagedObject *> StoreTest::fetch(const QString &entity, const QString &predicate,
                                        const QVariantList &arguments) {
    FetchRequest request(entity);
    if (!predicate.isEmpty())
        request.setPredicate(Predicate::fromFormat(predicate, arguments));
    request.setSortDescriptors({{QStringLiteral("uid"), true}});
    if (entity == QLatin1String("Folder") || entity == QLatin1String("Tag"))
        request.setSortDescriptors({});
    return m_context->executeFetchRequest(request);
}
