#include "tasks/TaskWorker.h"

#include <QCoreApplication>
#include <QThreadPool>
#include <QtConcurrent>

#include "model/foundation/Log.h"
#include "tasks/Task.h"
#include "tasks/TaskManager.h"

namespace TaskWorker {

QFuture<void> start(Task *task, std::function<void()> work,
                    std::function<void(const QString &error)> finished) {
    task->block();
    const std::weak_ptr<const bool> alive = task->lifetime();
    QFuture<QString> result = QtConcurrent::run(QThreadPool::globalInstance(), [work] {
        try {
            work();
            return QString();
        } catch (const std::exception &error) {
            return QString::fromUtf8(error.what());
        } catch (...) {
            return QStringLiteral("unknown exception");
        }
    });
    return result.then(QCoreApplication::instance(), [task, alive, finished](const QString &error) {
        if (alive.expired() || !TaskManager::hasSharedManager() ||
            TaskManager::sharedManager().isShuttingDown() ||
            !TaskManager::sharedManager().allTasks().contains(task))
            return;
        if (!error.isEmpty())
            logError("%@: worker failed: %@", task->name(), error);
        finished(error);
        task->unblock();
    });
}

}  // namespace TaskWorker
