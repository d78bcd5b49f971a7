#pragma once

#include <QtGlobal>

class RemoteServiceTask;

// What a task tells the application (the delegate given when it was added).
// Every operation has a default that does nothing.
class TaskDelegate {
public:
    virtual ~TaskDelegate();
    virtual void remoteServiceTaskAdded(RemoteServiceTask * /*task*/) {}
    virtual void remoteServiceTaskRemoved(RemoteServiceTask * /*task*/) {}
    // The task's sync state changed to `state`.
    virtual void stateChange(qint64 /*state*/, RemoteServiceTask * /*task*/) {}
};
