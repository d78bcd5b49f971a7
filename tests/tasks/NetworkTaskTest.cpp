#include "tasks/NetworkTask.h"
#include "tasks/TaskControl.h"
#include "tasks/TaskTestSupport.h"

namespace {

// A connection that writes what is done to it into the journal.
class RecordingConnection : public TaskConnection {
public:
    explicit RecordingConnection(QStringList *journal) : m_journal(journal) {}
    void detach() override { m_journal->append(QStringLiteral("detach")); }
    void disconnect() override { m_journal->append(QStringLiteral("disconnect")); }

private:
    QStringList *m_journal;
};

}  // namespace

TEST_F(TaskManagerTest, NetworkTasksCloseTheirConnectionAndLeaveWhenOffline) {
    auto owned = std::make_unique<NetworkTask>();
    owned->setName(QStringLiteral("net"));
    owned->setTimeout(30);
    owned->setConnection(std::make_unique<RecordingConnection>(&journal));
    NetworkTask *network = owned.get();
    manager().addTask(std::move(owned));
    add(QStringLiteral("local"), 100);
    journal.clear();

    // Replacing the connection lets go of the old one's callbacks.
    network->setConnection(std::make_unique<RecordingConnection>(&journal));
    EXPECT_EQ(journal, QStringList{QStringLiteral("detach")});
    EXPECT_EQ(network->timeout(), 30);
    journal.clear();

    TaskControl control;
    control.stopNetworkTasks();
    EXPECT_EQ(journal, (QStringList{"detach", "disconnect"}));
    ASSERT_EQ(manager().allTasks().size(), 1);
    EXPECT_EQ(manager().allTasks().first()->name(), QStringLiteral("local"));
}
