#pragma once

#include <memory>

class QLocalSocket;

// A command's hold on the running application (see RunningInstance): while
// it lives, the application has saved the store and leaves it alone; when it
// ends, the application reads the store again and syncs what the command
// changed. Without a running application it holds nothing.
class InstanceHold {
public:
    InstanceHold();
    ~InstanceHold();
    InstanceHold(const InstanceHold &) = delete;
    InstanceHold &operator=(const InstanceHold &) = delete;

    // Holds the running application, if one answers. Throws
    // std::runtime_error when it answers the connection but not the request.
    void acquire();
    // Lets it go (also done by the destructor).
    void release();
    bool isHeld() const { return m_socket != nullptr; }

private:
    std::unique_ptr<QLocalSocket> m_socket;
};
