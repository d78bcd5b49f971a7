#include <gtest/gtest.h>

#include "model/foundation/Date.h"
#include "model/store/StoreFixture.h"

namespace {
QStringList uidsOf(const QList<ManagedObject *> &objects) {
    QStringList list;
    for (ManagedObject *object : objects)
        list << object->valueForKey(QStringLiteral("uid")).toString();
    return list;
}
}  // namespace

class FetchTest : public StoreTest {
protected:
    void SetUp() override {
        m_inbox = insert(QStringLiteral("Folder"), QStringLiteral("Inbox"));
        for (int i = 0; i < 10; ++i) {
            ManagedObject *object = insert(i % 2 ? QStringLiteral("Task") : QStringLiteral("Note"),
                                           QStringLiteral("U%1").arg(i));
            object->setValue(QStringLiteral("count"), i);
            object->setValue(QStringLiteral("when"), QVariant::fromValue(Date(1000.0 * i)));
            if (i < 4)
                object->setObject(QStringLiteral("folder"), m_inbox);
        }
        context().save();
    }
    ManagedObject *m_inbox = nullptr;
};

TEST_F(FetchTest, PredicatesSortsAndLimits) {
    EXPECT_EQ(
        uidsOf(fetch(QStringLiteral("Item"), QStringLiteral("count >= %d AND count < %d"), {3, 6})),
        (QStringList{"U3", "U4", "U5"}));
    EXPECT_EQ(uidsOf(fetch(QStringLiteral("Task"))), (QStringList{"U1", "U3", "U5", "U7", "U9"}));
    EXPECT_EQ(uidsOf(fetch(QStringLiteral("Item"), QStringLiteral("when > %@"),
                           {QVariant::fromValue(Date(7500))})),
              (QStringList{"U8", "U9"}));
    EXPECT_EQ(uidsOf(fetch(QStringLiteral("Item"), QStringLiteral("uid IN %@"),
                           {QStringList{"U2", "U7", "X"}})),
              (QStringList{"U2", "U7"}));
    EXPECT_EQ(fetch(QStringLiteral("Item"), QStringLiteral("folder == %@"),
                    {QVariant::fromValue(m_inbox)})
                  .size(),
              4);
    EXPECT_EQ(fetch(QStringLiteral("Item"), QStringLiteral("folder == nil")).size(), 6);
    EXPECT_EQ(uidsOf(fetch(QStringLiteral("Item"),
                           QStringLiteral("folder.title == 'Inbox' AND count > 1"))),
              (QStringList{"U2", "U3"}));
    EXPECT_EQ(fetch(QStringLiteral("Folder"), QStringLiteral("items.@count > 3")).size(), 1);
    EXPECT_EQ(fetch(QStringLiteral("Folder"), QStringLiteral("ANY items.count == 9")).size(), 0);
    // Only evaluable in memory: folded comparison.
    EXPECT_EQ(uidsOf(fetch(QStringLiteral("Item"), QStringLiteral("uid ==[c] 'u5'"))),
              QStringList{"U5"});

    FetchRequest request(QStringLiteral("Item"));
    request.setSortDescriptors({{QStringLiteral("count"), false}});
    request.setFetchLimit(3);
    EXPECT_EQ(uidsOf(context().executeFetchRequest(request)), (QStringList{"U9", "U8", "U7"}));
    EXPECT_EQ(context().countForFetchRequest(FetchRequest(QStringLiteral("Note"))), 5);
}

TEST_F(FetchTest, UnsavedChangesAreFound) {
    ManagedObject *fresh = insert(QStringLiteral("Note"), QStringLiteral("U42"));
    fresh->setValue(QStringLiteral("count"), 4);
    fetch(QStringLiteral("Item"), QStringLiteral("uid == 'U4'"))
        .first()
        ->setValue(QStringLiteral("count"), 100);
    context().deleteObject(fetch(QStringLiteral("Item"), QStringLiteral("uid == 'U5'")).first());

    EXPECT_EQ(uidsOf(fetch(QStringLiteral("Item"), QStringLiteral("count >= 4 AND count < 7"))),
              (QStringList{"U42", "U6"}));
    EXPECT_EQ(uidsOf(fetch(QStringLiteral("Item"), QStringLiteral("count == 100"))),
              QStringList{"U4"});
    FetchRequest request(QStringLiteral("Item"));
    request.setSortDescriptors({{QStringLiteral("count"), false}});
    request.setFetchLimit(2);
    EXPECT_EQ(uidsOf(context().executeFetchRequest(request)), (QStringList{"U4", "U9"}));
    EXPECT_EQ(context().countForFetchRequest(FetchRequest(QStringLiteral("Item"))), 10);

    FetchRequest storedOnly(QStringLiteral("Item"));
    storedOnly.setIncludesPendingChanges(false);
    storedOnly.setPredicate(Predicate::fromFormat(QStringLiteral("count == 4")));
    EXPECT_EQ(uidsOf(context().executeFetchRequest(storedOnly)), QStringList{"U4"});
}

TEST_F(FetchTest, PrefetchLoadsRelationshipsOfAllResults) {
    reopen();
    FetchRequest request(QStringLiteral("Folder"));
    request.setRelationshipKeyPathsForPrefetching({QStringLiteral("items.folder")});
    const QList<ManagedObject *> folders = context().executeFetchRequest(request);
    ASSERT_EQ(folders.size(), 1);
    // The members came with the fetch: none of them is a fault.
    const QList<ManagedObject *> items = folders[0]->objectsForKey(QStringLiteral("items"));
    ASSERT_EQ(items.size(), 4);
    for (ManagedObject *item : items)
        EXPECT_FALSE(item->isFault());
}
