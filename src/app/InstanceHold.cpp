#include "app/InstanceHold.h"

#include <QDeadlineTimer>
#include <QLocalSocket>
#include <stdexcept>

#include "app/RunningInstance.h"
#include "model/foundation/Log.h"

namespace {

constexpr int kConnectMilliseconds = 1000;
// The application saves its store before it answers.
constexpr int kHoldMilliseconds = 60000;

}  // namespace

InstanceHold::InstanceHold() = default;

InstanceHold::~InstanceHold() {
    release();
}

void InstanceHold::acquire() {
    if (m_socket)
        return;
    auto socket = std::make_unique<QLocalSocket>();
    socket->connectToServer(RunningInstance::socketPath());
    if (!socket->waitForConnected(kConnectMilliseconds))
        return;  // no application runs
    socket->write("hold\n");
    socket->flush();
    const QDeadlineTimer deadline(kHoldMilliseconds);
    while (!socket->canReadLine()) {
        if (deadline.hasExpired() || socket->state() != QLocalSocket::ConnectedState ||
            !socket->waitForReadyRead(int(deadline.remainingTime())))
            break;
    }
    if (!socket->canReadLine() || socket->readLine().trimmed() != "held")
        throw std::runtime_error(
            "the running application does not answer; try again once it has been stopped");
    logInfo("InstanceHold: the running application is held");
    m_socket = std::move(socket);
}

void InstanceHold::release() {
    if (!m_socket)
        return;
    m_socket->write("release\n");
    m_socket->flush();
    m_socket->waitForBytesWritten(kConnectMilliseconds);
    m_socket->disconnectFromServer();
    m_socket.reset();
    logInfo("InstanceHold: the running application is released");
}
