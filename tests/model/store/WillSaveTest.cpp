#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <map>

#include "model/store/ManagedObjectContext.h"
#include "model/store/ManagedObjectModel.h"
#include "model/store/PersistentStore.h"
#include "model/store/SqliteConnection.h"
#include "model/store/StoreFixture.h"

namespace {

// A note that counts how often it is told of a save, and whose uid says
// what it does then: "spawn" inserts another note (which spawns again while
// its number is below 3), "drop" deletes the note named by its count, and
// "touch" changes the saved note "old".
class SavingNote : public ManagedObject {
public:
    SavingNote(const EntityDescription *entity, ManagedObjectContext *context)
        : ManagedObject(entity, context) {}
    static std::map<QString, int> s_told;
    static std::map<QString, ManagedObject *> s_byUid;

protected:
    void willSave() override {
        const QString uid = valueForKey(QStringLiteral("uid")).toString();
        ++s_told[uid];
        ManagedObjectContext *context = managedObjectContext();
        if (uid.startsWith(QLatin1String("spawn"))) {
            const int number = uid.mid(5).toInt();
            if (number < 3) {
                ManagedObject *next = context->insertNewObject(QStringLiteral("Note"));
                next->setValue(QStringLiteral("uid"), QStringLiteral("spawn%1").arg(number + 1));
            }
        } else if (uid == QLatin1String("drop")) {
            context->deleteObject(s_byUid.at(QStringLiteral("victim")));
        } else if (uid == QLatin1String("touch")) {
            s_byUid.at(QStringLiteral("old"))->setValue(QStringLiteral("count"), 5);
        }
    }
};
std::map<QString, int> SavingNote::s_told;
std::map<QString, ManagedObject *> SavingNote::s_byUid;

}  // namespace

// Objects that willSave() inserts, changes or deletes are taken into the same
// save: every object written is told once, those it made and changed
// included, and an object it deleted is not written.
TEST(WillSaveTest, EveryObjectWrittenIsToldOnceIncludingThoseChangedWhileTelling) {
    std::vector<ManagedObjectModel::EntitySpec> specs = testSchema();
    for (ManagedObjectModel::EntitySpec &spec : specs) {
        if (QLatin1String(spec.name) == QLatin1String("Note"))
            spec.factory = [](const EntityDescription *entity, ManagedObjectContext *context) {
                return new SavingNote(entity, context);
            };
    }
    const ManagedObjectModel model(QStringLiteral("1"), specs);
    QTemporaryDir folder;
    PersistentStore store(&model, folder.filePath(QStringLiteral("Saving.bsql")));
    ManagedObjectContext context(&store);
    const auto note = [&](const QString &uid) {
        ManagedObject *object = context.insertNewObject(QStringLiteral("Note"));
        object->setValue(QStringLiteral("uid"), uid);
        SavingNote::s_byUid[uid] = object;
        return object;
    };
    SavingNote::s_told.clear();
    note(QStringLiteral("old"));
    context.save();
    EXPECT_EQ(SavingNote::s_told, (std::map<QString, int>{{QStringLiteral("old"), 1}}));

    SavingNote::s_told.clear();
    for (int i = 0; i < 40; ++i)
        note(QStringLiteral("plain%1").arg(i));
    note(QStringLiteral("victim"));
    note(QStringLiteral("spawn0"));
    note(QStringLiteral("touch"));
    note(QStringLiteral("drop"));
    context.save();

    std::map<QString, int> expected{{QStringLiteral("old"), 1},    {QStringLiteral("spawn0"), 1},
                                    {QStringLiteral("spawn1"), 1}, {QStringLiteral("spawn2"), 1},
                                    {QStringLiteral("spawn3"), 1}, {QStringLiteral("touch"), 1},
                                    {QStringLiteral("drop"), 1}};
    for (int i = 0; i < 40; ++i)
        expected[QStringLiteral("plain%1").arg(i)] = 1;
    // The victim may have been told before it was deleted; it is not written.
    SavingNote::s_told.erase(QStringLiteral("victim"));
    EXPECT_EQ(SavingNote::s_told, expected);
    EXPECT_FALSE(context.hasChanges());
    EXPECT_EQ(store.connection()
                  .queryValue(QStringLiteral("SELECT group_concat(uid, ',') FROM (SELECT uid FROM "
                                             "Item WHERE uid LIKE 'spawn%' OR uid = 'victim' "
                                             "ORDER BY uid)"))
                  .toString(),
              QStringLiteral("spawn0,spawn1,spawn2,spawn3"));
    EXPECT_EQ(store.connection()
                  .queryValue(QStringLiteral("SELECT count FROM Item WHERE uid = 'old'"))
                  .toInt(),
              5);
}
