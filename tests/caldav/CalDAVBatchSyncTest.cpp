#include <gtest/gtest.h>

#include "caldav/support/SyncTestSuite.h"
#include "time/recurrence/ItemRecurrence.h"

// A calendar of more resources than a first download batch holds, as a first
// sync of a real account meets it: downloaded in batches that grow while the
// server answers quickly, each asked for while the one before is merged,
// each resource merged once by UID (the calendar's items are read once
// rather than looked up one by one), and later changes of many resources
// merged into the items already there.
namespace {

constexpr int kResources = 130;

QByteArray batchItemUID(int index) {
    return "batch-" + QByteArray::number(index);
}

template <typename Server>
class CalDAVBatchSyncTest : public SyncTestSuite<Server> {
protected:
    // Every tenth resource repeats weekly with its second week moved.
    static QByteArray resourceText(int index, const QByteArray &summary) {
        const QDate day = QDate(2026, 12, 1).addDays(index % 14);
        const auto at = [](const QDate &date, const char *time) {
            return date.toString(QStringLiteral("yyyyMMdd")).toLatin1() + 'T' + time + 'Z';
        };
        const QByteArray dates =
            "DTSTART:" + at(day, "090000") + "\r\nDTEND:" + at(day, "100000") + "\r\n";
        if (index % 10 != 0)
            return vcalendar(vevent(batchItemUID(index), summary, dates));
        const QDate moved = day.addDays(7);
        return vcalendar(
            vevent(batchItemUID(index), summary, dates, "RRULE:FREQ=WEEKLY;COUNT=3\r\n") +
            vevent(batchItemUID(index), "Moved",
                   "DTSTART:" + at(moved, "110000") + "\r\nDTEND:" + at(moved, "120000") + "\r\n",
                   "RECURRENCE-ID:" + at(moved, "090000") + "\r\n"));
    }
    static QStringList uids(int from, int to) {
        QStringList names;
        for (int i = from; i < to; ++i)
            names.append(QString::fromLatin1(batchItemUID(i)));
        return names;
    }
    // Each item once, with its detached instance when it repeats, titled
    // `summary` (the first `changed` ones `changedSummary`).
    void expectItems(CommonDataMO *calendar, const QStringList &expected, int changed,
                     const QString &changedSummary, const QString &summary) {
        ASSERT_EQ(this->itemUIDs(calendar), sortedNames(expected));
        for (const QString &uid : expected) {
            CommonDataMO *item = this->item(calendar, uid);
            const int index = uid.section('-', 1).toInt();
            EXPECT_EQ(item->effectiveTitle(), index < changed ? changedSummary : summary);
            const QList<CommonDataMO *> detached = ItemRecurrence(item).detachedInstances();
            if (index % 10 == 0) {
                ASSERT_EQ(detached.size(), 1) << uid.toStdString();
                EXPECT_EQ(detached.first()->effectiveTitle(), QStringLiteral("Moved"));
            } else {
                EXPECT_TRUE(detached.isEmpty()) << uid.toStdString();
            }
        }
    }
};

using BatchSyncServers = ::testing::Types<RadicaleServer, XandikosServer>;
TYPED_TEST_SUITE(CalDAVBatchSyncTest, BatchSyncServers);

TYPED_TEST(CalDAVBatchSyncTest, ManyResourcesArePulledInGrowingBatchesAndMergedOnce) {
    const QString url = this->makeServerCalendar("batch", "Batch");
    for (int i = 0; i < kResources; ++i)
        this->put(url + batchItemUID(i) + ".ics", this->resourceText(i, "Item"));

    // 50 resources, then the 80 left in one batch of up to 100.
    const CalDAVAccountCheck::Outcome first = this->sync();
    EXPECT_EQ(first.counts.pulled, kResources);
    EXPECT_EQ(this->fixture.log.count("multiget events"), 2);
    // The second batch was asked for before the first was merged, so the
    // server prepared it meanwhile.
    QStringList steps;
    for (const LogMessage &message : this->fixture.log.messages())
        if (message.text.contains("multiget events"))
            steps.append(QStringLiteral("multiget"));
        else if (message.text.contains("pull change event") &&
                 (steps.isEmpty() || steps.last() != QLatin1String("pull")))
            steps.append(QStringLiteral("pull"));
    EXPECT_EQ(steps, QStringList({"multiget", "multiget", "pull"}));
    CommonDataMO *calendar = this->calendarTitled("Batch");
    ASSERT_NE(calendar, nullptr);
    this->expectItems(calendar, this->uids(0, kResources), 0, {}, "Item");

    // Many changed on the server, some deleted and one added.
    constexpr int changed = 70;
    for (int i = 0; i < changed; ++i)
        this->put(url + batchItemUID(i) + ".ics", this->resourceText(i, "Changed"));
    for (int i = 120; i < kResources; ++i)
        this->remove(url + batchItemUID(i) + ".ics");
    this->put(url + batchItemUID(500) + ".ics", this->resourceText(500, "Item"));
    const CalDAVAccountCheck::Outcome second = this->sync();
    EXPECT_EQ(second.counts.pulled, changed + 1);
    EXPECT_EQ(second.counts.deleted, kResources - 120);
    this->expectItems(calendar, this->uids(0, 120) + this->uids(500, 501), changed, "Changed",
                      "Item");
    this->expectQuietCycle();
}

}  // namespace
