#include <gtest/gtest.h>

#include "model/ConflictBin.h"
#include "model/DatabaseController.h"
#include "model/DatabaseControllerDelegate.h"
#include "model/Queries.h"
#include "model/objects/ModelFixture.h"

namespace {

// Records the conflict reports: "conflict <uid> <reason>", "bin <uid>".
class ConflictRecordingDelegate : public DatabaseControllerDelegate {
public:
    void databaseControllerConflictForObject(ManagedObject *object,
                                             const QString &reason) override {
        calls.append(QStringLiteral("conflict %1 %2")
                         .arg(ModelObject::as<ModelObject>(object)->uid(), reason));
    }
    void databaseControllerConflictContainerCreated(ManagedObject *container) override {
        calls.append(QStringLiteral("bin %1").arg(ModelObject::as<ModelObject>(container)->uid()));
    }
    QStringList calls;
};

class ConflictBinTest : public ModelTest {
protected:
    ConflictBinTest() {
        Queries::setContext(&context());
        m_controller.setDelegate(&m_delegate);
    }
    ~ConflictBinTest() override { Queries::setContext(nullptr); }

    // A repeating item of the calendar with one detached instance.
    CommonDataMO *makeRepeatingItem(CommonDataMO *calendar, const QString &uid,
                                    CommonDataMO **instance) {
        CommonDataMO *item = makeItem(calendar, uid);
        *instance = makeItem(calendar, uid, QStringLiteral("DetachedEvent"));
        (*instance)->setObject(QStringLiteral("originalEvent"), item);
        return item;
    }

    DatabaseController m_controller;
    ConflictRecordingDelegate m_delegate;
    LogCapture m_log;
};

TEST_F(ConflictBinTest, MovingAnItemGivesItAndItsInstancesANewUIDInTheOtherCalendar) {
    CommonDataMO *from = makeCalendar(QStringLiteral("FROM"));
    CommonDataMO *to = makeCalendar(QStringLiteral("TO"));
    CommonDataMO *instance = nullptr;
    CommonDataMO *item = makeRepeatingItem(from, QStringLiteral("R"), &instance);
    context().save();

    QHash<QString, QString> uids;
    ConflictBin::moveChildToContainer(item->objectInfo(), to, &uids, true);
    context().save();
    ASSERT_EQ(uids.size(), 1);
    const QString newUID = uids.value(QStringLiteral("R"));
    EXPECT_EQ(newUID.size(), 36);
    EXPECT_EQ(item->uid(), newUID);
    EXPECT_EQ(instance->uid(), newUID);
    for (CommonDataMO *moved : {item, instance}) {
        EXPECT_EQ(moved->parentContainerDirect(), to);
        EXPECT_EQ(moved->objectInfo()->parentContainer(), to->objectInfo());
    }
    EXPECT_EQ(instance->objectForKey(QStringLiteral("originalEvent")), item);
    EXPECT_EQ(from->objectsForKey(QStringLiteral("childrenDirect")).size(), 0);
    EXPECT_EQ(to->objectsForKey(QStringLiteral("childrenDirect")).size(), 2);
    EXPECT_EQ(from->childWithUID(QStringLiteral("R")), nullptr);
    // Nothing stays behind to be sent as a deletion.
    EXPECT_TRUE(Queries::syncableChildrenForUID(QStringLiteral("R")).isEmpty());
}

TEST_F(ConflictBinTest, InstancesLeftBehindLoseTheirOriginal) {
    CommonDataMO *from = makeCalendar(QStringLiteral("FROM"));
    CommonDataMO *to = makeCalendar(QStringLiteral("TO"));
    CommonDataMO *instance = nullptr;
    CommonDataMO *item = makeRepeatingItem(from, QStringLiteral("R"), &instance);

    ConflictBin::moveChildToContainer(item->objectInfo(), to, nullptr, false);
    context().save();
    EXPECT_EQ(item->parentContainerDirect(), to);
    EXPECT_EQ(instance->parentContainerDirect(), from);
    EXPECT_EQ(instance->uid(), QStringLiteral("R"));
    EXPECT_EQ(instance->objectForKey(QStringLiteral("originalEvent")), nullptr);
    EXPECT_TRUE(instance->boolValueForKey(QStringLiteral("localOrphaned")));
}

TEST_F(ConflictBinTest, TheConflictCalendarIsMadeOnceAndFoundAgainAfterAReopen) {
    ModelObject *service =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("S"));
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"), service);
    CommonDataMO *instance = nullptr;
    CommonDataMO *first = makeRepeatingItem(calendar, QStringLiteral("A"), &instance);
    makeItem(calendar, QStringLiteral("B"));
    context().save();

    // Refused while the service syncs: the calendar is ours all the same.
    QString firstUID;
    whileSyncing(service, [&] {
        firstUID = ConflictBin::copyChildToConflictBinAndDeleteOriginal(first->objectInfo(),
                                                                        QStringLiteral("Why"));
    });
    context().save();
    CommonDataMO *bin = first->parentContainerDirect();
    ASSERT_NE(bin, calendar);
    EXPECT_EQ(bin->effectiveTitle(), QStringLiteral("Conflicts"));
    EXPECT_EQ(bin->owningService(), nullptr);
    EXPECT_EQ(bin->uid().size(), 36);
    EXPECT_EQ(first->uid(), firstUID);
    EXPECT_EQ(instance->parentContainerDirect(), bin);
    EXPECT_EQ(instance->uid(), firstUID);
    EXPECT_TRUE(m_log.contains(QStringLiteral("copyChildToConflictBinAndDeleteOriginal(A) : Why")));
    EXPECT_EQ(m_delegate.calls, QStringList({QStringLiteral("bin ") + bin->uid(),
                                             QStringLiteral("conflict %1 Why").arg(firstUID)}));

    const QString binUID = bin->uid();
    reopen();
    Queries::setContext(&context());
    auto *again =
        fetchByUID<SyncableObjectMO>(QStringLiteral("SyncableObject"), QStringLiteral("B"));
    ASSERT_NE(again, nullptr);
    m_delegate.calls.clear();
    const QString secondUID =
        ConflictBin::copyChildToConflictBinAndDeleteOriginal(again, QStringLiteral("Again"));
    context().save();
    EXPECT_EQ(again->objectData()->parentContainerDirect()->uid(), binUID);
    EXPECT_EQ(ConflictBin::conflictCalendar(&context())->uid(), binUID);
    EXPECT_EQ(m_delegate.calls, QStringList{QStringLiteral("conflict %1 Again").arg(secondUID)});

    // Deleted by the user: the next conflict makes a new one.
    CommonDataMO::deleteObject(again->objectData()->parentContainerDirect());
    context().save();
    CommonDataMO *fresh = ConflictBin::conflictCalendar(&context());
    EXPECT_NE(fresh->uid(), binUID);
    EXPECT_EQ(m_delegate.calls.last(), QStringLiteral("bin ") + fresh->uid());
}

}  // namespace
