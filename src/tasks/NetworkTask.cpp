#include "tasks/NetworkTask.h"

TaskConnection::~TaskConnection() = default;

void NetworkTask::setConnection(std::unique_ptr<TaskConnection> connection) {
    if (m_connection)
        m_connection->detach();
    m_connection = std::move(connection);
}

void NetworkTask::terminate() {
    if (m_connection) {
        m_connection->detach();
        m_connection->disconnect();
    }
    Task::terminate();
}
