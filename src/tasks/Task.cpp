#include "tasks/Task.h"

#include "model/foundation/Clock.h"
#include "tasks/TaskManager.h"

Task::Task() : m_nextWakeup(Clock::shared().now()) {}

Task::~Task() = default;

void Task::tickle() {
    TaskManager::sharedManager().tickleTask(this, 0);
}

void Task::delayedTickle(double seconds) {
    TaskManager::sharedManager().tickleTask(this, seconds);
}

void Task::block() {
    TaskManager::sharedManager().blockTask(this);
}

void Task::unblock() {
    TaskManager::sharedManager().unblockTask(this);
}

bool Task::isBlocked() const {
    return TaskManager::sharedManager().taskIsBlocked(this);
}

void Task::exit() {
    TaskManager::sharedManager().removeTask(this);
}

bool Task::timeToYield() const {
    return TaskManager::sharedManager().sliceSeconds() > kYieldSeconds;
}

void Task::terminate() {
    m_delegate = nullptr;
}
