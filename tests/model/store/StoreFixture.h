#pragma once

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <memory>

#include "model/store/ManagedObjectContext.h"
#include "model/store/ManagedObjectModel.h"
#include "model/store/PersistentStore.h"

// A small schema that has every kind of attribute and relationship:
//   Item (abstract root): uid (indexed), count, flag, ratio, when, blob,
//       scratch (transient), folder (to-one Folder), tags (many-to-many Tag)
//   Note : Item (text)         Task : Item (due, done, first/last: a range)
//   Folder: title, items (to-many Item, cascade), parent/children (folders)
//   Tag: name, items (many-to-many Item)
std::vector<ManagedObjectModel::EntitySpec> testSchema(bool withPriority = false);

// A store file in a temporary folder, opened with the test schema, and its
// main context; reopen() closes and opens it again as a new launch would.
class StoreTest : public ::testing::Test {
protected:
    StoreTest();
    ~StoreTest() override;

    void reopen();
    QString path() const { return m_dir.filePath(QStringLiteral("Test.bsql")); }
    ManagedObjectContext &context() { return *m_context; }
    PersistentStore &store() { return *m_store; }
    const ManagedObjectModel &model() const { return *m_model; }

    ManagedObject *insert(const QString &entity, const QString &uid);
    QList<ManagedObject *> fetch(const QString &entity, const QString &predicate = QString(),
                                 const QVariantList &arguments = {});

    QTemporaryDir m_dir;
    std::unique_ptr<ManagedObjectModel> m_model;
    std::unique_ptr<PersistentStore> m_store;
    std::unique_ptr<ManagedObjectContext> m_context;
};
