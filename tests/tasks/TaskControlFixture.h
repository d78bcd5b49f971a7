#pragma once

#include "model/DatabaseController.h"
#include "model/ModelObject.h"
#include "tasks/TaskControl.h"
#include "tasks/TaskTestSupport.h"
#include "tasks/TestServiceTask.h"

// The store of a temporary home, opened with the task framework installed.
class TaskControlFixture : public ::testing::Test {
protected:
    TaskControlFixture() { TestServiceTask::registerKind(&journal); }
    ~TaskControlFixture() override {
        if (m_controller)
            m_controller->shutdown();
        m_controller.reset();
        TestServiceTask::unregisterKind();
    }

    void open() {
        m_controller = std::make_unique<DatabaseController>();
        m_controller->setTaskControl(&m_control);
        m_controller->startup();
    }
    void close() {
        m_controller->shutdown();
        m_controller.reset();
    }
    ManagedObjectContext &context() { return *m_controller->managedObjectContext(); }
    void addService(const QString &uid, const QString &serviceName) {
        auto *service = ModelObject::as<ModelObject>(
            context().insertNewObject(QStringLiteral("RemoteService")));
        service->setValue(QStringLiteral("serviceName"), serviceName);
        if (!uid.isEmpty())
            service->setValue(QStringLiteral("uid"), uid);
        service->setDoubleValue(600, QStringLiteral("syncInterval"));
    }
    QList<RemoteServiceTask *> serviceTasks() {
        return TaskManager::sharedManager().allTasksOfClass<RemoteServiceTask>();
    }

    QStringList journal;
    TemporaryHome m_home;
    ScopedManualClock m_clock;
    LogCapture m_log;
    TaskControl m_control;
    std::unique_ptr<DatabaseController> m_controller;
};
