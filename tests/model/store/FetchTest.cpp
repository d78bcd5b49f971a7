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

TEST_F(FetchTest, ValuesComeFromRowsOrFromUnsavedObjectsWithoutMakingObjects) {
    reopen();
    ManagedObject *inbox = context().executeFetchRequest(FetchRequest(QStringLiteral("Folder")))[0];
    const ObjectID inboxID = inbox->objectID();
    const qsizetype registered = context().registeredObjects().size();
    FetchRequest request(QStringLiteral("Item"));
    request.setPredicate(Predicate::fromFormat(QStringLiteral("count >= 2 AND count < 6")));
    const QStringList keys = {QStringLiteral("count"), QStringLiteral("folder")};
    const auto summary = [&] {
        QStringList rows;
        for (const FetchedValues &row : context().fetchValues(request, keys))
            rows << QStringLiteral("%1:%2:%3")
                        .arg(row.id.entity->name())
                        .arg(row.values[0].toLongLong())
                        .arg(row.values[1].value<ObjectID>() == inboxID ? "inbox" : "-");
        return rows;
    };
    EXPECT_EQ(summary(), (QStringList{"Note:2:inbox", "Task:3:inbox", "Note:4:-", "Task:5:-"}));
    EXPECT_EQ(context().registeredObjects().size(), registered);

    // Unsaved: one moved out of the range, one into it (and into the
    // folder), one deleted, one inserted.
    fetch(QStringLiteral("Item"), QStringLiteral("uid == 'U2'"))[0]->setValue(
        QStringLiteral("count"), 50);
    ManagedObject *joined = fetch(QStringLiteral("Item"), QStringLiteral("uid == 'U8'"))[0];
    joined->setValue(QStringLiteral("count"), 5);
    joined->setObject(QStringLiteral("folder"), inbox);
    context().deleteObject(fetch(QStringLiteral("Item"), QStringLiteral("uid == 'U3'"))[0]);
    insert(QStringLiteral("Task"), QStringLiteral("U10"))->setValue(QStringLiteral("count"), 2);
    EXPECT_EQ(summary(), (QStringList{"Note:4:-", "Task:5:-", "Note:5:inbox", "Task:2:-"}));

    // Objects match their ids in memory too.
    FetchRequest inFolder(QStringLiteral("Item"));
    inFolder.setPredicate(Predicate::fromFormat(
        QStringLiteral("folder IN %@"), {QVariant(QVariantList{QVariant::fromValue(inboxID)})}));
    QList<qint64> counts;
    for (const FetchedValues &row : context().fetchValues(inFolder, {QStringLiteral("count")}))
        counts << row.values[0].toLongLong();
    EXPECT_EQ(counts, (QList<qint64>{0, 1, 50, 5}));

    EXPECT_THROW(context().fetchValues(request, {QStringLiteral("tags")}), std::invalid_argument);
    EXPECT_THROW(context().fetchValues(request, {QStringLiteral("scratch")}),
                 std::invalid_argument);
    request.setFetchLimit(1);
    EXPECT_THROW(context().fetchValues(request, keys), std::invalid_argument);
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

// Tasks keep a range (first, last) in a range index. Fetches for the ranges
// overlapping a window must find exactly what evaluating the predicate on
// every task finds, whatever the rows hold and however they changed.
class RangeFetchTest : public StoreTest {
protected:
    void SetUp() override {
        for (int i = 0; i < 120; ++i) {
            ManagedObject *task = insert(QStringLiteral("Task"), QStringLiteral("T%1").arg(i));
            setRange(task, (i * 37) % 100, (i * 37) % 100 + i % 9);
        }
        ManagedObject *note = insert(QStringLiteral("Note"), QStringLiteral("N"));
        note->setValue(QStringLiteral("count"), 50);
        // Rows the tree has to be careful with.
        setRange(insert(QStringLiteral("Task"), QStringLiteral("open-end")), 40, QVariant());
        setRange(insert(QStringLiteral("Task"), QStringLiteral("backwards")), 60, 45);
        setRange(insert(QStringLiteral("Task"), QStringLiteral("huge")), -5000000000LL,
                 5000000000LL);
        setRange(insert(QStringLiteral("Task"), QStringLiteral("far")), 4000000000LL, 4000000001LL);
        context().save();
    }
    static void setRange(ManagedObject *task, const QVariant &first, const QVariant &last) {
        task->setValue(QStringLiteral("first"), first);
        task->setValue(QStringLiteral("last"), last);
    }
    qint64 treeRows() {
        return store()
            .connection()
            .queryValue(QStringLiteral("SELECT count(*) FROM Item_first_last"))
            .toLongLong();
    }
    // Every window, through the store and in memory.
    void expectFetchesMatchMemory() {
        const QList<ManagedObject *> all = fetch(QStringLiteral("Item"));
        const QList<QVariantList> windows{
            {0, 0},
            {10, 20},
            {45, 45},
            {99, 120},
            {-3, -1},
            {55, 50},
            {20.5, 30.5},
            {4000000000LL, 4000000000LL},
            {-7000000000LL, 0},
        };
        for (const char *format : {"first <= %@ AND last >= %@", "first < %@ AND last > %@",
                                   "last >= %@ AND flag == NO AND first <= %@"}) {
            for (const QVariantList &window : windows) {
                const bool reversed = QByteArray(format).startsWith("last");
                const Predicate predicate = Predicate::fromFormat(
                    QString::fromLatin1(format), reversed ? QVariantList{window[0], window[1]}
                                                          : QVariantList{window[1], window[0]});
                QStringList expected;
                for (ManagedObject *object : all) {
                    if (predicate.evaluate(object))
                        expected << object->valueForKey(QStringLiteral("uid")).toString();
                }
                FetchRequest request(QStringLiteral("Item"));
                request.setPredicate(predicate);
                request.setSortDescriptors({{QStringLiteral("uid"), true}});
                EXPECT_EQ(uidsOf(context().executeFetchRequest(request)), expected)
                    << format << " window " << window[0].toString().toStdString() << ".."
                    << window[1].toString().toStdString();
            }
        }
    }
};

TEST_F(RangeFetchTest, FindsTheSameRowsAsEvaluatingEveryRow) {
    EXPECT_EQ(treeRows(), 123);  // every task with both ends set
    expectFetchesMatchMemory();
    reopen();
    expectFetchesMatchMemory();
}

TEST_F(RangeFetchTest, FollowsChangesAndDeletionsAcrossLaunches) {
    const QList<ManagedObject *> tasks = fetch(QStringLiteral("Task"));
    ASSERT_EQ(tasks.last()->valueForKey(QStringLiteral("uid")), QStringLiteral("open-end"));
    for (int i = 0; i < tasks.size(); i += 3)
        setRange(tasks[i], 200 + i, 210 + i);  // out of every window; "open-end" joins the tree
    tasks[1]->setValue(QStringLiteral("last"), QVariant());  // leaves the tree
    context().deleteObject(tasks[2]);
    tasks[4]->setValue(QStringLiteral("count"), 7);  // not a range change
    context().save();
    EXPECT_EQ(treeRows(), 122);
    expectFetchesMatchMemory();

    // Unsaved changes are found too.
    setRange(tasks[5], 10, 12);
    expectFetchesMatchMemory();
    context().save();

    // A store made before the index had its tree: opening fills it.
    store().connection().execute(QStringLiteral("DROP TABLE Item_first_last"));
    reopen();
    EXPECT_EQ(treeRows(), 122);
    expectFetchesMatchMemory();
}
