#include <gtest/gtest.h>

#include <QSet>
#include <limits>

#include "model/store/IdentityMap.h"
#include "model/store/SqliteConnection.h"
#include "model/store/StoreFixture.h"

// Keys around the edges of the pages and far outside them, in two families
// at once, with IDs naming a row by its concrete entity or by its family's
// root: each ID finds its own object until it is removed.
TEST_F(StoreTest, TheIdentityMapKeepsOneObjectPerFamilyAndKeyWhateverTheKey) {
    const EntityDescription *note = model().entity(QStringLiteral("Note"));
    const EntityDescription *item = model().entity(QStringLiteral("Item"));
    const EntityDescription *folder = model().entity(QStringLiteral("Folder"));
    // The map does not own its objects: any distinct objects serve as values.
    std::vector<ManagedObject *> objects;
    for (int i = 0; i < 24; ++i)
        objects.push_back(context().insertNewObject(QStringLiteral("Tag")));
    const qint64 keys[] = {1,
                           1023,
                           1024,
                           1025,
                           (qint64(1) << 24) - 1,
                           qint64(1) << 24,
                           0,
                           -7,
                           qint64(1) << 40,
                           std::numeric_limits<qint64>::max(),
                           std::numeric_limits<qint64>::min(),
                           500000};
    IdentityMap map;
    for (std::size_t i = 0; i < std::size(keys); ++i) {
        map.insert({note, keys[i]}, objects[i]);
        map.insert({folder, keys[i]}, objects[i + 12]);
    }
    EXPECT_EQ(map.size(), 24);
    for (std::size_t i = 0; i < std::size(keys); ++i) {
        SCOPED_TRACE(keys[i]);
        EXPECT_EQ(map.value({note, keys[i]}), objects[i]);
        EXPECT_EQ(map.value({item, keys[i]}), objects[i]) << "the same row by its family's root";
        EXPECT_EQ(map.value({folder, keys[i]}), objects[i + 12]);
        EXPECT_EQ(map.value({note, keys[i] ^ (qint64(1) << 20)}), nullptr);
    }
    EXPECT_EQ(map.value({model().entity(QStringLiteral("Tag")), 1}), nullptr);
    const QList<ManagedObject *> values = map.values();
    EXPECT_EQ(values.size(), 24);
    EXPECT_EQ(QSet<ManagedObject *>(values.cbegin(), values.cend()),
              QSet<ManagedObject *>(objects.cbegin(), objects.cend()));

    // Replacing keeps the count; removing takes only the one ID.
    map.insert({item, 1024}, objects[0]);
    EXPECT_EQ(map.size(), 24);
    EXPECT_EQ(map.value({note, 1024}), objects[0]);
    for (const qint64 key : {qint64(1023), qint64(1) << 40, qint64(0)}) {
        EXPECT_TRUE(map.remove({item, key})) << key;
        EXPECT_FALSE(map.remove({note, key})) << key;
        EXPECT_EQ(map.value({note, key}), nullptr) << key;
        EXPECT_NE(map.value({folder, key}), nullptr) << key;
    }
    EXPECT_EQ(map.size(), 21);
    EXPECT_EQ(map.values().size(), 21);
    EXPECT_EQ(map.value({note, 1025}), objects[3]);
    map.clear();
    EXPECT_EQ(map.size(), 0);
    EXPECT_EQ(map.value({note, 1025}), nullptr);
}

// A row naming a destination by a key no store hands out (left by a damaged
// or foreign writer) still gives one object per key, a fault that is found
// missing when read, and saving goes on past it.
TEST_F(StoreTest, AnObjectNamedByAKeyBeyondThoseHandedOutIsOneFaultPerKey) {
    ManagedObject *note = insert(QStringLiteral("Note"), QStringLiteral("N1"));
    ManagedObject *other = insert(QStringLiteral("Note"), QStringLiteral("N2"));
    const ObjectID noteID = note->objectID();
    const ObjectID otherID = other->objectID();
    context().save();
    const qint64 farKey = qint64(1) << 40;
    store().connection().execute(QStringLiteral("UPDATE Item SET folder = %1 WHERE Z_PK = %2")
                                     .arg(farKey)
                                     .arg(noteID.primaryKey));
    store().connection().execute(
        QStringLiteral("UPDATE Item SET folder = -3 WHERE Z_PK = %1").arg(otherID.primaryKey));
    reopen();

    ManagedObject *far =
        context().existingObjectWithID(noteID)->objectForKey(QStringLiteral("folder"));
    ManagedObject *negative =
        context().existingObjectWithID(otherID)->objectForKey(QStringLiteral("folder"));
    ASSERT_NE(far, nullptr);
    ASSERT_NE(negative, nullptr);
    EXPECT_EQ(far->objectID().primaryKey, farKey);
    EXPECT_EQ(negative->objectID().primaryKey, -3);
    EXPECT_TRUE(far->isFault());
    EXPECT_EQ(context().registeredObject(far->objectID()), far);
    EXPECT_EQ(context().registeredObject(negative->objectID()), negative);
    EXPECT_EQ(context().existingObjectWithID(far->objectID()), nullptr);

    ManagedObject *folder = insert(QStringLiteral("Folder"), QStringLiteral("F"));
    const ObjectID folderID = folder->objectID();
    context().existingObjectWithID(noteID)->setObject(QStringLiteral("folder"), folder);
    context().save();
    reopen();
    const ManagedObject *mended =
        context().existingObjectWithID(noteID)->objectForKey(QStringLiteral("folder"));
    ASSERT_NE(mended, nullptr);
    EXPECT_EQ(mended->objectID(), folderID);
}
