#include <gtest/gtest.h>

#include "model/CalendarChanges.h"
#include "model/operations/ServiceFixture.h"

namespace {

class CalendarChangesTest : public ServiceTest {
protected:
    static QStringList uids(const QList<SyncableObjectMO *> &objects) {
        QStringList result;
        for (const SyncableObjectMO *object : objects)
            result << object->uid();
        return result;
    }
    CommonDataMO *detach(CommonDataMO *original, const QString &uid) {
        CommonDataMO *instance =
            makeItem(original->parentContainer(), uid, QStringLiteral("DetachedEvent"));
        instance->setObject(QStringLiteral("originalEvent"), original);
        return instance;
    }
    void agree(CommonDataMO *item) {
        SyncableObjectMO *info = item->objectInfo();
        info->setValue(QStringLiteral("ownerLastModTime"),
                       info->valueForKey(QStringLiteral("lastModTime")));
    }

    LogCapture m_log;
};

TEST_F(CalendarChangesTest, ReceivedChildrenIncludeTombstonesAndCanPutDependantsLast) {
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    CommonDataMO *other = makeCalendar(QStringLiteral("OTHER"));
    CommonDataMO *old = makeItem(calendar, QStringLiteral("OLD"));
    CommonDataMO *orphan = detach(old, QStringLiteral("ORPHAN"));
    makeItem(other, QStringLiteral("ELSEWHERE"));
    context().save();

    // Received after the cut-off, in this order: a detached instance before
    // its original, the original, an instance whose original stays behind, a
    // deletion.
    m_clock.advance(100);
    CommonDataMO *instance =
        makeItem(calendar, QStringLiteral("INST"), QStringLiteral("DetachedEvent"));
    instance->objectInfo()->touchLastModTime();
    m_clock.advance(1);
    CommonDataMO *original = makeItem(calendar, QStringLiteral("ORIG"));
    instance->setObject(QStringLiteral("originalEvent"), original);
    original->objectInfo()->touchLastModTime();
    orphan->objectInfo()->touchLastModTime();
    CommonDataMO::deleteObject(makeItem(calendar, QStringLiteral("GONE")));
    context().save();

    const Date cutOff(kStart + 50);
    const QStringList plain =
        uids(CalendarChanges::childrenReceivedSince(*calendar, cutOff, false));
    EXPECT_LT(plain.indexOf(QStringLiteral("INST")), plain.indexOf(QStringLiteral("ORIG")));
    QStringList sorted = uids(CalendarChanges::childrenReceivedSince(*calendar, cutOff, true));
    // Only the instance whose original travels too waits for it.
    ASSERT_EQ(sorted.size(), 4);
    EXPECT_EQ(sorted.takeLast(), QStringLiteral("INST"));
    sorted.sort();
    EXPECT_EQ(sorted, (QStringList{QStringLiteral("GONE"), QStringLiteral("ORIG"),
                                   QStringLiteral("ORPHAN")}));
    EXPECT_TRUE(m_log.contains(QStringLiteral("childrenReceivedSince = 4 objects")));

    // Without a date: every live item.
    QStringList live = uids(CalendarChanges::childrenReceivedSince(*calendar, std::nullopt, true));
    live.sort();
    EXPECT_EQ(live, (QStringList{QStringLiteral("INST"), QStringLiteral("OLD"),
                                 QStringLiteral("ORIG"), QStringLiteral("ORPHAN")}));
    EXPECT_TRUE(m_log.contains(QStringLiteral("childrenReceivedSince = (null)")));
}

TEST_F(CalendarChangesTest, ModifiedChildrenBringTheInstancesOfModifiedOriginals) {
    CommonDataMO *calendar = makeCalendar(QStringLiteral("CAL"));
    CommonDataMO *original = makeItem(calendar, QStringLiteral("ORIG"));
    CommonDataMO *instance = detach(original, QStringLiteral("INST"));
    CommonDataMO *quiet = makeItem(calendar, QStringLiteral("QUIET"));
    for (CommonDataMO *item : {original, instance, quiet})
        agree(item);
    context().save();
    EXPECT_TRUE(CalendarChanges::modifiedRemoteChildren(*calendar).isEmpty());

    m_clock.advance(10);
    original->setStringValue(QStringLiteral("Moved"), QStringLiteral("title"));
    context().save();
    EXPECT_EQ(uids(CalendarChanges::modifiedRemoteChildren(*calendar)),
              (QStringList{QStringLiteral("ORIG"), QStringLiteral("INST")}));
    EXPECT_TRUE(m_log.contains(QStringLiteral("modifiedRemoteChildren: adding = INST (ORIG)")));

    // An instance modified itself is listed once.
    m_log.clear();
    instance->setStringValue(QStringLiteral("Later"), QStringLiteral("title"));
    context().save();
    const QStringList both = uids(CalendarChanges::modifiedRemoteChildren(*calendar));
    EXPECT_EQ(both.size(), 2);
    EXPECT_EQ(both.count(QStringLiteral("INST")), 1);
    EXPECT_FALSE(m_log.contains(QStringLiteral("modifiedRemoteChildren: adding")));
}

}  // namespace
