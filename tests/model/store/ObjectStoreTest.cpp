#include <gtest/gtest.h>

#include <QSet>
#include <QSignalSpy>
#include <QtConcurrent>
#include <algorithm>

#include "model/foundation/Date.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/SqliteConnection.h"
#include "model/store/StoreFixture.h"

namespace {
QList<QString> uids(const QList<ManagedObject *> &objects) {
    QList<QString> list;
    for (ManagedObject *object : objects)
        list << object->valueForKey(QStringLiteral("uid")).toString();
    return list;
}
}  // namespace

TEST_F(StoreTest, EveryAttributeKindSurvivesSaveAndReopen) {
    ManagedObject *task = insert(QStringLiteral("Task"), QStringLiteral("T1"));
    task->setValue(QStringLiteral("count"), -(qint64(1) << 40));
    task->setValue(QStringLiteral("flag"), true);
    task->setValue(QStringLiteral("ratio"), 0.1);
    task->setValue(QStringLiteral("when"), QVariant::fromValue(Date(-1234.5)));
    task->setValue(QStringLiteral("blob"), QByteArray("\0\1\2", 3));
    task->setValue(QStringLiteral("due"), QVariant::fromValue(Date(86400.25)));
    task->setValue(QStringLiteral("scratch"), true);
    ManagedObject *note = insert(QStringLiteral("Note"), QStringLiteral("N1"));
    note->setValue(QStringLiteral("text"), QStringLiteral("Grüße \u2603"));
    const ObjectID taskID = task->objectID();
    context().save();
    reopen();

    ManagedObject *loaded = context().existingObjectWithID(taskID);
    ASSERT_NE(loaded, nullptr);
    EXPECT_EQ(loaded->entityName(), QStringLiteral("Task"));
    EXPECT_EQ(loaded->valueForKey(QStringLiteral("count")).toLongLong(), -(qint64(1) << 40));
    EXPECT_EQ(loaded->valueForKey(QStringLiteral("flag")), QVariant(true));
    EXPECT_EQ(loaded->valueForKey(QStringLiteral("ratio")).toDouble(), 0.1);
    EXPECT_EQ(loaded->valueForKey(QStringLiteral("when")).value<Date>(), Date(-1234.5));
    EXPECT_EQ(loaded->valueForKey(QStringLiteral("blob")).toByteArray(), QByteArray("\0\1\2", 3));
    EXPECT_EQ(loaded->valueForKey(QStringLiteral("due")).value<Date>(), Date(86400.25));
    EXPECT_FALSE(loaded->valueForKey(QStringLiteral("scratch")).isValid())
        << "transient values are not stored";
    EXPECT_FALSE(loaded->valueForKey(QStringLiteral("text")).isValid()) << "a Task has no text";
    const QList<ManagedObject *> notes =
        context().executeFetchRequest(FetchRequest(QStringLiteral("Note")));
    ASSERT_EQ(notes.size(), 1);
    EXPECT_EQ(notes[0]->valueForKey(QStringLiteral("text")).toString(),
              QStringLiteral("Grüße \u2603"));
}

TEST_F(StoreTest, ManyNewRowsOfMixedEntitiesAreWrittenEachWithItsOwnValues) {
    // More rows of one table than one statement writes, of two entities
    // mixed, some values unset: each row keeps its own values and entity.
    constexpr int kRows = 75;
    ManagedObject *folder = insert(QStringLiteral("Folder"), QStringLiteral("F"));
    for (int i = 0; i < kRows; ++i) {
        const bool task = i % 3 == 0;
        ManagedObject *item = insert(task ? QStringLiteral("Task") : QStringLiteral("Note"),
                                     QStringLiteral("I%1").arg(i));
        if (i % 2 == 0)
            item->setValue(QStringLiteral("count"), i);
        if (task)
            item->setValue(QStringLiteral("due"), QVariant::fromValue(Date(i * 10.5)));
        else
            item->setValue(QStringLiteral("text"), QStringLiteral("text %1").arg(i));
        if (i % 5 == 0)
            item->setObject(QStringLiteral("folder"), folder);
    }
    const ObjectID folderID = folder->objectID();
    context().save();
    reopen();

    const QList<ManagedObject *> items = fetch(QStringLiteral("Item"));
    ASSERT_EQ(items.size(), kRows);
    QSet<int> seen;
    for (ManagedObject *item : items) {
        const int i = item->valueForKey(QStringLiteral("uid")).toString().mid(1).toInt();
        seen.insert(i);
        const bool task = i % 3 == 0;
        SCOPED_TRACE(i);
        EXPECT_EQ(item->entityName(), task ? QStringLiteral("Task") : QStringLiteral("Note"));
        EXPECT_EQ(item->valueForKey(QStringLiteral("count")),
                  i % 2 == 0 ? QVariant(qint64(i)) : QVariant());
        EXPECT_EQ(item->valueForKey(QStringLiteral("due")).isValid(), task);
        if (task) {
            EXPECT_EQ(item->valueForKey(QStringLiteral("due")).value<Date>(), Date(i * 10.5));
        }
        EXPECT_EQ(item->valueForKey(QStringLiteral("text")),
                  task ? QVariant() : QVariant(QStringLiteral("text %1").arg(i)));
        const ManagedObject *itsFolder = item->objectForKey(QStringLiteral("folder"));
        EXPECT_EQ(itsFolder ? itsFolder->objectID() : ObjectID(),
                  i % 5 == 0 ? folderID : ObjectID());
    }
    EXPECT_EQ(seen.size(), kRows);
}

TEST_F(StoreTest, ValuesAreConvertedToTheAttributeTypeAndEmptyClears) {
    ManagedObject *task = insert(QStringLiteral("Task"), QStringLiteral("T1"));
    task->setValue(QStringLiteral("count"), QStringLiteral("42"));
    task->setValue(QStringLiteral("flag"), 1);
    task->setValue(QStringLiteral("ratio"), 3);
    EXPECT_EQ(task->valueForKey(QStringLiteral("count")).typeId(), QMetaType::LongLong);
    EXPECT_EQ(task->valueForKey(QStringLiteral("count")).toLongLong(), 42);
    EXPECT_EQ(task->valueForKey(QStringLiteral("flag")).typeId(), QMetaType::Bool);
    EXPECT_EQ(task->valueForKey(QStringLiteral("ratio")).typeId(), QMetaType::Double);
    task->setValue(QStringLiteral("count"), QVariant());
    EXPECT_FALSE(task->valueForKey(QStringLiteral("count")).isValid());
    EXPECT_THROW(task->setValue(QStringLiteral("nonsense"), 1), std::invalid_argument);
    EXPECT_THROW(context().insertNewObject(QStringLiteral("Item")), std::invalid_argument);
}

TEST_F(StoreTest, OneObjectPerRowAndFaultsLoadWhenRead) {
    ManagedObject *folder = insert(QStringLiteral("Folder"), QStringLiteral("Inbox"));
    ManagedObject *note = insert(QStringLiteral("Note"), QStringLiteral("N1"));
    note->setObject(QStringLiteral("folder"), folder);
    context().save();
    const ObjectID noteID = note->objectID(), folderID = folder->objectID();
    reopen();

    ManagedObject *fault = context().objectWithID(noteID);
    EXPECT_TRUE(fault->isFault());
    EXPECT_EQ(context().objectWithID(noteID), fault);
    EXPECT_EQ(fault->valueForKey(QStringLiteral("uid")).toString(), QStringLiteral("N1"));
    EXPECT_FALSE(fault->isFault());
    // The to-one destination is a fault of its own, the same object as by id.
    ManagedObject *parent = fault->objectForKey(QStringLiteral("folder"));
    EXPECT_EQ(parent, context().objectWithID(folderID));
    EXPECT_TRUE(parent->isFault());
    EXPECT_EQ(fetch(QStringLiteral("Note")).first(), fault);
    // An id whose row is gone.
    EXPECT_EQ(context().existingObjectWithID({model().entity(QStringLiteral("Note")), 999}),
              nullptr);
}

TEST_F(StoreTest, InversesFollowInMemoryAndAfterReopen) {
    ManagedObject *inbox = insert(QStringLiteral("Folder"), QStringLiteral("Inbox"));
    ManagedObject *archive = insert(QStringLiteral("Folder"), QStringLiteral("Archive"));
    ManagedObject *a = insert(QStringLiteral("Note"), QStringLiteral("A"));
    ManagedObject *b = insert(QStringLiteral("Task"), QStringLiteral("B"));
    a->setObject(QStringLiteral("folder"), inbox);
    inbox->addObject(QStringLiteral("items"), b);
    EXPECT_EQ(b->objectForKey(QStringLiteral("folder")), inbox);
    EXPECT_EQ(inbox->objectsForKey(QStringLiteral("items")).size(), 2);
    context().save();

    b->setObject(QStringLiteral("folder"), archive);
    EXPECT_EQ(inbox->objectsForKey(QStringLiteral("items")), QList<ManagedObject *>{a});
    EXPECT_EQ(archive->objectsForKey(QStringLiteral("items")), QList<ManagedObject *>{b});
    context().save();
    const ObjectID inboxID = inbox->objectID(), archiveID = archive->objectID();
    reopen();

    // Unsaved moves are seen by sets loaded later.
    ManagedObject *storedInbox = context().existingObjectWithID(inboxID);
    ManagedObject *storedA = storedInbox->objectsForKey(QStringLiteral("items")).first();
    ManagedObject *storedArchive = context().existingObjectWithID(archiveID);
    storedA->setObject(QStringLiteral("folder"), storedArchive);
    EXPECT_TRUE(storedInbox->objectsForKey(QStringLiteral("items")).isEmpty());
    EXPECT_EQ(storedArchive->objectsForKey(QStringLiteral("items")).size(), 2);

    // One-to-one style inverse: a folder's parent and children.
    ManagedObject *child = insert(QStringLiteral("Folder"), QStringLiteral("Child"));
    child->setObject(QStringLiteral("parent"), storedInbox);
    EXPECT_EQ(storedInbox->objectsForKey(QStringLiteral("children")),
              QList<ManagedObject *>{child});
    EXPECT_THROW(child->setObject(QStringLiteral("parent"), storedA), std::invalid_argument);
}

TEST_F(StoreTest, ASavedNewObjectKeepsItsSetsRightWithoutReadingThem) {
    ManagedObject *inbox = insert(QStringLiteral("Folder"), QStringLiteral("Inbox"));
    ManagedObject *archive = insert(QStringLiteral("Folder"), QStringLiteral("Archive"));
    ManagedObject *work = insert(QStringLiteral("Tag"), QStringLiteral("work"));
    ManagedObject *a = insert(QStringLiteral("Note"), QStringLiteral("A"));
    a->setObject(QStringLiteral("folder"), inbox);
    context().save();

    // Members that come and go after the save, through either side.
    ManagedObject *b = insert(QStringLiteral("Task"), QStringLiteral("B"));
    b->setObject(QStringLiteral("folder"), inbox);
    archive->addObject(QStringLiteral("items"), a);
    a->addObject(QStringLiteral("tags"), work);
    work->addObject(QStringLiteral("items"), b);
    work->removeObject(QStringLiteral("items"), a);
    EXPECT_EQ(inbox->objectsForKey(QStringLiteral("items")), QList<ManagedObject *>{b});
    EXPECT_EQ(archive->objectsForKey(QStringLiteral("items")), QList<ManagedObject *>{a});
    EXPECT_EQ(work->objectsForKey(QStringLiteral("items")), QList<ManagedObject *>{b});
    EXPECT_TRUE(a->objectsForKey(QStringLiteral("tags")).isEmpty());
    context().save();

    // What the store holds is what the sets said, read again after a refresh
    // and after reopening.
    for (ManagedObject *object : {inbox, archive, work, a})
        context().refreshObject(object, false);
    EXPECT_EQ(uids(inbox->objectsForKey(QStringLiteral("items"))),
              QList<QString>{QStringLiteral("B")});
    EXPECT_EQ(uids(archive->objectsForKey(QStringLiteral("items"))),
              QList<QString>{QStringLiteral("A")});
    EXPECT_EQ(uids(work->objectsForKey(QStringLiteral("items"))),
              QList<QString>{QStringLiteral("B")});
    const ObjectID inboxID = inbox->objectID(), archiveID = archive->objectID();
    reopen();
    EXPECT_EQ(uids(context().existingObjectWithID(inboxID)->objectsForKey(QStringLiteral("items"))),
              QList<QString>{QStringLiteral("B")});
    EXPECT_EQ(
        uids(context().existingObjectWithID(archiveID)->objectsForKey(QStringLiteral("items"))),
        QList<QString>{QStringLiteral("A")});
}

// A loaded set is held by reference while the object's other sets are read
// for the first time: it stays where it is, with its members.
TEST_F(StoreTest, ASetHeldByACallerStaysWhileTheObjectsOtherSetsAreRead) {
    ManagedObject *inbox = insert(QStringLiteral("Folder"), QStringLiteral("Inbox"));
    ManagedObject *child = insert(QStringLiteral("Folder"), QStringLiteral("Child"));
    child->setObject(QStringLiteral("parent"), inbox);
    for (const QString &uid : {QStringLiteral("A"), QStringLiteral("B")})
        insert(QStringLiteral("Note"), uid)->setObject(QStringLiteral("folder"), inbox);
    context().save();
    const ObjectID inboxID = inbox->objectID();
    reopen();

    ManagedObject *reread = context().existingObjectWithID(inboxID);
    const QList<ManagedObject *> &items =
        reread->toMany(reread->propertyNamed(QStringLiteral("items")));
    const QList<ManagedObject *> &children =
        reread->toMany(reread->propertyNamed(QStringLiteral("children")));
    ASSERT_EQ(children.size(), 1);
    EXPECT_EQ(children.first()->valueForKey(QStringLiteral("title")).toString(),
              QStringLiteral("Child"));
    QList<QString> itemUIDs = uids(items);
    std::sort(itemUIDs.begin(), itemUIDs.end());
    EXPECT_EQ(itemUIDs, (QList<QString>{QStringLiteral("A"), QStringLiteral("B")}));
    EXPECT_EQ(&items, &reread->toMany(reread->propertyNamed(QStringLiteral("items"))));
}

TEST_F(StoreTest, ManyToManyKeepsBothSidesAndItsRows) {
    ManagedObject *work = insert(QStringLiteral("Tag"), QStringLiteral("work"));
    ManagedObject *a = insert(QStringLiteral("Note"), QStringLiteral("A"));
    ManagedObject *b = insert(QStringLiteral("Note"), QStringLiteral("B"));
    a->addObject(QStringLiteral("tags"), work);
    work->addObject(QStringLiteral("items"), b);
    EXPECT_EQ(work->objectsForKey(QStringLiteral("items")).size(), 2);
    EXPECT_EQ(b->objectsForKey(QStringLiteral("tags")), QList<ManagedObject *>{work});
    context().save();
    const ObjectID tagID = work->objectID(), aID = a->objectID();
    reopen();

    ManagedObject *tag = context().existingObjectWithID(tagID);
    ASSERT_EQ(tag->objectsForKey(QStringLiteral("items")).size(), 2);
    context().existingObjectWithID(aID)->removeObject(QStringLiteral("tags"), tag);
    context().save();
    reopen();
    EXPECT_EQ(uids(context().existingObjectWithID(tagID)->objectsForKey(QStringLiteral("items"))),
              QList<QString>{QStringLiteral("B")});
}

TEST_F(StoreTest, DeleteCascadesAndNullifies) {
    ManagedObject *inbox = insert(QStringLiteral("Folder"), QStringLiteral("Inbox"));
    ManagedObject *child = insert(QStringLiteral("Folder"), QStringLiteral("Child"));
    child->setObject(QStringLiteral("parent"), inbox);
    ManagedObject *a = insert(QStringLiteral("Note"), QStringLiteral("A"));
    ManagedObject *b = insert(QStringLiteral("Note"), QStringLiteral("B"));
    ManagedObject *c = insert(QStringLiteral("Note"), QStringLiteral("C"));
    ManagedObject *tag = insert(QStringLiteral("Tag"), QString());
    a->setObject(QStringLiteral("folder"), inbox);
    b->setObject(QStringLiteral("folder"), child);
    c->setObject(QStringLiteral("folder"), inbox);
    c->addObject(QStringLiteral("tags"), tag);
    context().save();

    // Nullify: the folder forgets the item; cascade: the folder's items and
    // sub-folders go with it.
    context().deleteObject(c);
    EXPECT_EQ(inbox->objectsForKey(QStringLiteral("items")), QList<ManagedObject *>{a});
    EXPECT_TRUE(tag->objectsForKey(QStringLiteral("items")).isEmpty());
    context().deleteObject(inbox);
    EXPECT_TRUE(a->isDeleted());
    EXPECT_TRUE(child->isDeleted());
    EXPECT_TRUE(b->isDeleted());
    context().save();
    EXPECT_EQ(c->managedObjectContext(), nullptr);
    reopen();
    EXPECT_TRUE(fetch(QStringLiteral("Item")).isEmpty());
    EXPECT_TRUE(fetch(QStringLiteral("Folder")).isEmpty());
    EXPECT_EQ(fetch(QStringLiteral("Tag")).size(), 1);
    EXPECT_EQ(
        store().connection().queryValue(QStringLiteral("SELECT COUNT(*) FROM Z_Item_tags")).toInt(),
        0);
}

TEST_F(StoreTest, NotificationsCarryTheChangedObjects) {
    ManagedObject *a = insert(QStringLiteral("Note"), QStringLiteral("A"));
    context().save();
    QList<ChangeSet> changes, saves;
    QObject::connect(&context(), &ManagedObjectContext::objectsDidChange,
                     [&](const ChangeSet &set) { changes << set; });
    QObject::connect(&context(), &ManagedObjectContext::didSave,
                     [&](const ChangeSet &set) { saves << set; });
    a->setValue(QStringLiteral("count"), 3);
    ManagedObject *b = insert(QStringLiteral("Note"), QStringLiteral("B"));
    ManagedObject *c = insert(QStringLiteral("Note"), QStringLiteral("C"));
    context().deleteObject(c);
    QCoreApplication::processEvents();  // the batch ends with the event loop's turn
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes[0].updated, QList<ManagedObject *>{a});
    EXPECT_EQ(changes[0].inserted, QList<ManagedObject *>{b});
    EXPECT_EQ(changes[0].deleted, QList<ManagedObject *>{c});
    context().save();
    ASSERT_EQ(saves.size(), 1);
    EXPECT_EQ(saves[0].updated, QList<ManagedObject *>{a});
    EXPECT_EQ(saves[0].inserted, QList<ManagedObject *>{b});
    EXPECT_TRUE(saves[0].deleted.isEmpty())
        << "an object inserted and deleted unsaved was never stored";
    EXPECT_FALSE(context().hasChanges());
    // Changing a transient value is not a change to save.
    a->setValue(QStringLiteral("scratch"), true);
    EXPECT_FALSE(context().hasChanges());
}

TEST_F(StoreTest, AFailedSaveWritesNothingAndKeepsTheChanges) {
    insert(QStringLiteral("Note"), QStringLiteral("A"));
    context().save();
    store().connection().execute(
        QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON Item WHEN NEW.uid = 'bad' BEGIN "
                       "SELECT RAISE(ABORT, 'refused'); END"));
    ManagedObject *good = insert(QStringLiteral("Note"), QStringLiteral("good"));
    ManagedObject *bad = insert(QStringLiteral("Note"), QStringLiteral("bad"));
    fetch(QStringLiteral("Note")).first()->setValue(QStringLiteral("count"), 7);
    EXPECT_THROW(context().save(), StoreError);
    EXPECT_TRUE(good->isInserted());
    EXPECT_TRUE(context().hasChanges());
    EXPECT_EQ(store().connection().queryValue(QStringLiteral("SELECT COUNT(*) FROM Item")).toInt(),
              1);
    EXPECT_FALSE(
        store().connection().queryValue(QStringLiteral("SELECT count FROM Item")).isValid());
    // Mend the cause and save again: everything pending is written.
    bad->setValue(QStringLiteral("uid"), QStringLiteral("fine"));
    context().save();
    EXPECT_EQ(store().connection().queryValue(QStringLiteral("SELECT COUNT(*) FROM Item")).toInt(),
              3);
}

// New rows are written many to a statement; a row refused in the middle of
// them (its key taken by another writer) leaves none of the save's rows
// behind, those before it in the same statement included.
TEST_F(StoreTest, ARowRefusedAmongManyNewRowsLeavesNoneOfThemStored) {
    insert(QStringLiteral("Note"), QStringLiteral("kept"));
    context().save();
    QList<ManagedObject *> notes;
    for (int i = 0; i < 100; ++i)
        notes << insert(QStringLiteral("Note"), QString::number(i));
    const qint64 takenKey = notes[50]->objectID().primaryKey;
    const QString blocker =
        QStringLiteral("INSERT INTO Item (Z_PK, Z_ENT, uid) VALUES (%1, %2, 'other')")
            .arg(takenKey)
            .arg(store().entityCode(model().entity(QStringLiteral("Note"))));
    store().connection().execute(blocker);
    EXPECT_THROW(context().save(), StoreError);
    EXPECT_EQ(store().connection().queryValue(QStringLiteral("SELECT COUNT(*) FROM Item")).toInt(),
              2);
    EXPECT_TRUE(notes[0]->isInserted());

    store().connection().execute(QStringLiteral("DELETE FROM Item WHERE uid = 'other'"));
    context().save();
    EXPECT_EQ(store().connection().queryValue(QStringLiteral("SELECT COUNT(*) FROM Item")).toInt(),
              101);
}

TEST_F(StoreTest, RefreshDropsOrMergesUnsavedChanges) {
    ManagedObject *inbox = insert(QStringLiteral("Folder"), QStringLiteral("Inbox"));
    ManagedObject *other = insert(QStringLiteral("Folder"), QStringLiteral("Other"));
    ManagedObject *a = insert(QStringLiteral("Note"), QStringLiteral("A"));
    a->setObject(QStringLiteral("folder"), inbox);
    context().save();

    a->setValue(QStringLiteral("uid"), QStringLiteral("changed"));
    a->setObject(QStringLiteral("folder"), other);
    context().refreshObject(a, false);
    EXPECT_FALSE(a->hasChanges());
    EXPECT_FALSE(context().hasChanges());
    EXPECT_EQ(a->valueForKey(QStringLiteral("uid")).toString(), QStringLiteral("A"));
    EXPECT_EQ(inbox->objectsForKey(QStringLiteral("items")), QList<ManagedObject *>{a});
    EXPECT_TRUE(other->objectsForKey(QStringLiteral("items")).isEmpty());

    // Merging keeps the unsaved value over what another writer stored.
    a->setValue(QStringLiteral("count"), 5);
    store().connection().execute(QStringLiteral("UPDATE Item SET ratio = 2.5"));
    context().refreshObject(a, true);
    EXPECT_EQ(a->valueForKey(QStringLiteral("ratio")).toDouble(), 2.5);
    EXPECT_EQ(a->valueForKey(QStringLiteral("count")).toInt(), 5);
    EXPECT_TRUE(a->isUpdated());
}

TEST_F(StoreTest, ReloadedRowsTakeWhatAnotherWriterStoredIncludingClearedValues) {
    ManagedObject *a = insert(QStringLiteral("Task"), QStringLiteral("A"));
    a->setValue(QStringLiteral("count"), 7);
    a->setValue(QStringLiteral("blob"), QByteArray("old"));
    for (int i = 0; i < 2000; ++i)  // rows over many pages of the file
        insert(QStringLiteral("Note"), QStringLiteral("N%1").arg(i))
            ->setValue(QStringLiteral("text"), QString(200, QLatin1Char('x')));
    context().save();
    EXPECT_EQ(a->valueForKey(QStringLiteral("count")).toInt(), 7);

    // Another connection on the same file, as a second process would write.
    {
        SqliteConnection other(path());
        other.execute(
            QStringLiteral("UPDATE Item SET count = NULL, blob = x'6E6577', ratio = 1.5 WHERE "
                           "uid = 'A'; UPDATE Item SET text = 'changed' WHERE uid = 'N1999'"));
    }
    context().refreshObject(a, false);
    EXPECT_FALSE(a->valueForKey(QStringLiteral("count")).isValid());
    EXPECT_EQ(a->valueForKey(QStringLiteral("blob")).toByteArray(), QByteArray("new"));
    EXPECT_EQ(a->valueForKey(QStringLiteral("ratio")).toDouble(), 1.5);
    EXPECT_FALSE(a->valueForKey(QStringLiteral("text")).isValid()) << "a Task has no text";
    const QList<ManagedObject *> last =
        fetch(QStringLiteral("Note"), QStringLiteral("uid == %@"), {QStringLiteral("N1999")});
    ASSERT_EQ(last.size(), 1);
    context().refreshObject(last[0], false);
    EXPECT_EQ(last[0]->valueForKey(QStringLiteral("text")).toString(), QStringLiteral("changed"));
}

TEST_F(StoreTest, NewRowsGoPastThoseAnotherStoreAddedOnceKeysAreReadAgain) {
    insert(QStringLiteral("Note"), QStringLiteral("here-1"));
    context().save();

    // A second store on the same file, as a command run meanwhile.
    {
        PersistentStore otherStore(&model(), path());
        ManagedObjectContext other(&otherStore);
        for (const char *uid : {"there-1", "there-2", "there-3"})
            other.insertNewObject(QStringLiteral("Note"))
                ->setValue(QStringLiteral("uid"), QString::fromLatin1(uid));
        other.save();
    }
    store().readPrimaryKeys();
    insert(QStringLiteral("Note"), QStringLiteral("here-2"));
    ASSERT_NO_THROW(context().save());
    QStringList uids;
    for (ManagedObject *note : fetch(QStringLiteral("Note")))
        uids.append(note->valueForKey(QStringLiteral("uid")).toString());
    uids.sort();
    EXPECT_EQ(uids, QStringList({"here-1", "here-2", "there-1", "there-2", "there-3"}));
}

TEST_F(StoreTest, WorkerContextsReadOnTheirOwnConnectionAndHandBackIDs) {
    for (int i = 0; i < 50; ++i)
        insert(QStringLiteral("Note"), QStringLiteral("N%1").arg(i, 2, 10, QLatin1Char('0')));
    context().save();
    // An unsaved change is not visible to a worker.
    insert(QStringLiteral("Note"), QStringLiteral("unsaved"));
    PersistentStore *shared = &store();
    const QList<ObjectID> ids =
        QtConcurrent::run([shared] {
            ManagedObjectContext worker(shared, ManagedObjectContext::Kind::Worker);
            return worker.fetchObjectIDs(FetchRequest(QStringLiteral("Note")));
        }).result();
    EXPECT_EQ(ids.size(), 50);
    for (const ObjectID &id : ids)
        EXPECT_NE(context().existingObjectWithID(id), nullptr);
}

TEST_F(StoreTest, AChangedSchemaMigratesAndKeepsData) {
    ManagedObject *task = insert(QStringLiteral("Task"), QStringLiteral("T1"));
    task->setValue(QStringLiteral("count"), 9);
    context().save();
    EXPECT_FALSE(store().wasMigrated());
    m_context.reset();
    m_store.reset();

    ManagedObjectModel newer(QStringLiteral("2"), testSchema(true));
    PersistentStore migrated(&newer, path());
    EXPECT_TRUE(migrated.wasMigrated());
    EXPECT_TRUE(QFileInfo::exists(PersistentStore::migrationBackupPath(path())));
    ManagedObjectContext context(&migrated);
    const QList<ManagedObject *> tasks =
        context.executeFetchRequest(FetchRequest(QStringLiteral("Task")));
    ASSERT_EQ(tasks.size(), 1);
    EXPECT_EQ(tasks[0]->valueForKey(QStringLiteral("count")).toInt(), 9);
    tasks[0]->setValue(QStringLiteral("priority"), 3);
    context.insertNewObject(QStringLiteral("Label"))
        ->setValue(QStringLiteral("text"), QStringLiteral("new"));
    context.save();
    EXPECT_EQ(migrated.connection().queryValue(QStringLiteral("SELECT priority FROM Item")).toInt(),
              3);
}

TEST_F(StoreTest, MetadataIsReadableWithoutOpening) {
    store().setMetadataValue(QStringLiteral("Database Version"), QStringLiteral("4.5"));
    EXPECT_EQ(PersistentStore::metadataForStore(path())
                  .value(QStringLiteral("Database Version"))
                  .toString(),
              QStringLiteral("4.5"));
    EXPECT_TRUE(
        PersistentStore::metadataForStore(m_dir.filePath(QStringLiteral("none.bsql"))).isEmpty());
    QFile garbage(m_dir.filePath(QStringLiteral("garbage.bsql")));
    ASSERT_TRUE(garbage.open(QIODevice::WriteOnly));
    garbage.write(QByteArray(4096, 'x'));
    garbage.close();
    EXPECT_TRUE(PersistentStore::metadataForStore(garbage.fileName()).isEmpty());
    EXPECT_THROW(PersistentStore(&model(), garbage.fileName()), StoreError);
}
