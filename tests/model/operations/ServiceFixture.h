#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStringList>

#include "model/AttachmentFiles.h"

#include "model/DatabaseController.h"
#include "model/DatabaseControllerDelegate.h"
#include "model/Queries.h"
#include "model/objects/ModelFixture.h"

// The recording hooks, also recording the requests to services' tasks:
// "sync <uid>", "willDelete <uid>", "refresh <uid>".
class ServiceHooks : public RecordingSyncHooks {
public:
    void tickle(ModelObject *service) override {
        calls << QStringLiteral("sync ") + service->uid();
    }
    void serviceWillBeDeleted(ModelObject *service) override {
        calls << QStringLiteral("willDelete ") + service->uid();
    }
    void refreshServerListIfNeeded(ModelObject *service) override {
        calls << QStringLiteral("refresh ") + service->uid();
    }
};

// Records what the database controller's delegate hears of services:
// "added" (the service has no uid yet) and "deleted <uid>".
class ServiceDelegate : public DatabaseControllerDelegate {
public:
    void databaseControllerRemoteServiceWillBeAdded(ManagedObject *) override {
        calls << QStringLiteral("added");
    }
    void databaseControllerRemoteServiceWillBeDeleted(ManagedObject *service) override {
        calls << QStringLiteral("deleted ") +
                     service->valueForKey(QStringLiteral("uid")).toString();
    }
    QStringList calls;
};

// A model store whose queries run on the test's context, with the hooks
// above and a database controller (never started) whose delegate records.
class ServiceTest : public ModelTest {
protected:
    ServiceTest() {
        SyncHooks::setShared(&m_serviceHooks);
        Queries::setContext(&context());
        m_controller.setDelegate(&m_delegate);
    }
    ~ServiceTest() override {
        Queries::setContext(nullptr);
        SyncHooks::setShared(&m_hooks);
    }

    // The calls of one kind ("sync", "willDelete", …), in order.
    QStringList callsOf(const QString &kind) const {
        return m_serviceHooks.calls.filter(QRegularExpression(QStringLiteral("^") + kind + ' '));
    }

    // An attachment of the item whose copy is on disk; returns its path.
    QString attachFileOnDisk(CommonDataMO *item, const QString &fileName) {
        ExtraDataMO *record = makeExtra(QStringLiteral("Attachment"), item);
        record->setValue(QStringLiteral("fileName"), fileName);
        record->setDateValue(Date(kStart), QStringLiteral("fileModTime"));
        record->setDateValue(Date(kStart), QStringLiteral("localFileModTime"));
        const QString path =
            AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*record).value_or(QString());
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << path.toStdString();
        file.write("attached");
        return path;
    }

    ServiceHooks m_serviceHooks;
    ServiceDelegate m_delegate;
    DatabaseController m_controller;
};
