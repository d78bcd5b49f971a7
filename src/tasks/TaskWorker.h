#pragma once

#include <QFuture>
#include <QString>
#include <functional>

class Task;

// Work for a task on a worker thread. start() blocks the task and runs
// `work` on the global thread pool; `finished` then runs on the main thread,
// with the text of the exception `work` threw (empty when it returned), and
// the task is unblocked after it. Nothing runs on the main thread once the
// task is gone or the manager shuts down. `work` must not touch the main
// context; it hands its result to `finished` through its captures.
namespace TaskWorker {
QFuture<void> start(Task *task, std::function<void()> work,
                    std::function<void(const QString &error)> finished);
}
