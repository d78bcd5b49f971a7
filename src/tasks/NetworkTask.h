#pragma once

#include <memory>

#include "tasks/Task.h"

// The connection a network task talks through (the peer socket). The task
// owns it; terminate() detaches the task from it and closes it.
class TaskConnection {
public:
    virtual ~TaskConnection();
    // Stop calling back into the task.
    virtual void detach() = 0;
    virtual void disconnect() = 0;
};

// A task that talks to the network. Network tasks do not start when the
// application is offline, and all of them stop when it goes offline.
class NetworkTask : public Task {
public:
    // The read/write timeout of the task's connection in seconds (0: none set).
    double timeout() const { return m_timeout; }
    void setTimeout(double seconds) { m_timeout = seconds; }
    TaskConnection *connection() const { return m_connection.get(); }
    void setConnection(std::unique_ptr<TaskConnection> connection);

    // Detaches from the connection, closes it, then ends as every task does.
    void terminate() override;

private:
    double m_timeout = 0;
    std::unique_ptr<TaskConnection> m_connection;
};
