#include "tasks/TaskControl.h"

#include "model/DatabaseController.h"
#include "model/ModelObject.h"
#include "model/store/FetchRequest.h"
#include "model/store/ManagedObjectContext.h"
#include "tasks/NetworkTask.h"
#include "tasks/RemoteServiceTask.h"
#include "tasks/SleepMonitor.h"
#include "tasks/TaskManager.h"

TaskControl::TaskControl(TaskManagerDelegate *managerDelegate, TaskDelegate *taskDelegate)
    : m_managerDelegate(managerDelegate), m_taskDelegate(taskDelegate) {}

void TaskControl::watchSleep(SleepMonitor *monitor) {
    QObject::connect(monitor, &SleepMonitor::awoke, monitor, [] {
        if (TaskManager::hasSharedManager())
            TaskManager::sharedManager().awakeFromSleep();
    });
}

void TaskControl::startAllTasks() {
    TaskManager &manager = TaskManager::sharedManager();
    manager.setDelegate(m_managerDelegate);
    if (DatabaseController *controller = DatabaseController::sharedController())
        manager.observeContext(controller->managedObjectContext());
}

void TaskControl::stopAllTasks() {
    TaskManager::stopSharedManager();
}

void TaskControl::startNetworkTasks() {
    startRemoteServices();
}

void TaskControl::stopNetworkTasks() {
    if (!TaskManager::hasSharedManager())
        return;
    TaskManager &manager = TaskManager::sharedManager();
    for (RemoteServiceTask *task : manager.allTasksOfClass<RemoteServiceTask>())
        if (const std::optional<RemoteServiceTask::Backoff> backoff = task->backoff();
            backoff && task->remoteService())
            m_backoffs.insert(task->remoteService()->valueForKey(QStringLiteral("uid")).toString(),
                              *backoff);
    const QList<NetworkTask *> network = manager.allTasksOfClass<NetworkTask>();
    manager.removeTasks(QList<Task *>(network.begin(), network.end()));
}

void TaskControl::startRemoteServices() {
    DatabaseController *controller = DatabaseController::sharedController();
    if (!controller || !controller->managedObjectContext())
        return;
    const QString entity = QStringLiteral("RemoteService");
    const QList<ManagedObject *> services =
        controller->managedObjectContext()->executeFetchRequest(FetchRequest(entity));
    for (ManagedObject *object : services) {
        auto *service = ModelObject::as<ModelObject>(object);
        // This machine's publishing record is of the family, not a service to sync.
        if (object->entityName() != entity || object->isDeleted() ||
            RemoteServiceTask::taskForRemoteService(service))
            continue;
        std::unique_ptr<RemoteServiceTask> task =
            RemoteServiceTask::newTaskForRemoteService(service, true);
        if (!task)
            continue;
        const auto kept =
            m_backoffs.constFind(service->valueForKey(QStringLiteral("uid")).toString());
        if (kept != m_backoffs.cend() &&
            kept->lastSyncTime == service->dateValueForKey(QStringLiteral("lastSyncTime")))
            task->resumeBackoff(*kept);
        TaskManager::sharedManager().addTask(std::move(task), m_taskDelegate);
    }
    m_backoffs.clear();
}

void TaskControl::syncNow() {
    if (!TaskManager::hasSharedManager())
        return;
    for (RemoteServiceTask *task :
         TaskManager::sharedManager().allTasksOfClass<RemoteServiceTask>())
        task->tickle();
}

void TaskControl::cleanUpTasksForTermination() {
    if (!TaskManager::hasSharedManager())
        return;
    for (Task *task : TaskManager::sharedManager().allTasks())
        task->cleanUpOnTermination();
}

bool TaskControl::forceResetSync(ManagedObject *service) {
    RemoteServiceTask *task =
        RemoteServiceTask::taskForRemoteService(ModelObject::as<ModelObject>(service));
    if (!task)
        return false;
    task->forceResetSync(this);
    return true;
}

void TaskControl::resetSyncHasFinished(bool, RemoteServiceTask *task) {
    if (DatabaseController *controller = DatabaseController::sharedController())
        controller->resetSyncHasFinished(task->remoteService());
}
