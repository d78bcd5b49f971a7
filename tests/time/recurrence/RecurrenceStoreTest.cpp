#include "time/recurrence/RecurrenceStoreTest.h"

#include "model/Queries.h"
#include "model/Schema.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/WallClock.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/OccurrenceExpansion.h"

RecurrenceStoreTest::RecurrenceStoreTest() {
    ItemRecurrence::installDaysMaintenance();
    reopen();
    m_calendar = makeCalendar(QStringLiteral("CAL"), QStringLiteral("Home"));
}

CommonDataMO *RecurrenceStoreTest::makeCalendar(const QString &uid, const QString &title) {
    CommonDataMO *calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    calendar->objectInfo()->setValue(QStringLiteral("uid"), uid);
    calendar->setStringValue(title, QStringLiteral("title"));
    return calendar;
}

RecurrenceStoreTest::~RecurrenceStoreTest() {
    Queries::setContext(nullptr);
    m_context.reset();
    m_store.reset();
    CommonDataMO::setDatesObserver(nullptr);
}

void RecurrenceStoreTest::reopen() {
    Queries::setContext(nullptr);
    m_context.reset();
    m_store.reset();
    m_store = std::make_unique<PersistentStore>(&Schema::model(),
                                                m_dir.filePath(QStringLiteral("Test.bsql")));
    m_context = std::make_unique<ManagedObjectContext>(m_store.get());
    Queries::setContext(m_context.get());
}

CalendarDate RecurrenceStoreTest::nyTime(int year, int month, int day, int hour, int minute) {
    return CalendarDate::fromWallClock(WallClock{year, month, day, hour, minute}, newYork());
}

CommonDataMO *RecurrenceStoreTest::makeEvent(const QString &title, const CalendarDate &start,
                                             const CalendarDate &end, CommonDataMO *calendar) {
    CommonDataMO *item = CommonDataMO::makeObject(QStringLiteral("Event"),
                                                  calendar ? calendar : m_calendar, nullptr);
    item->setStringValue(title, QStringLiteral("title"));
    item->setBoolValue(start.isDateOnly(), QStringLiteral("allDay"));
    item->setCalendarDateValue(start, QStringLiteral("startTimeAndZone"));
    item->setCalendarDateValue(end, QStringLiteral("endTimeAndZone"));
    return item;
}

CommonDataMO *RecurrenceStoreTest::makeEvent(const QString &title, int year, int month, int day,
                                             int hour, int minute) {
    const CalendarDate start = nyTime(year, month, day, hour, minute);
    return makeEvent(title, start, start.addingTimeInterval(3600));
}

ExtraDataMO *RecurrenceStoreTest::addRule(CommonDataMO *item, const QString &rruleText) {
    const std::optional<RecurrenceRule> rule = RecurrenceRule::fromICalendarText(rruleText);
    EXPECT_TRUE(rule) << rruleText.toStdString();
    return rule ? ItemRecurrence::attachRecurrence(*rule, item, false, false) : nullptr;
}

CommonDataMO *RecurrenceStoreTest::detach(CommonDataMO *original, const CalendarDate &originalStart,
                                          const CalendarDate &start, const CalendarDate &end) {
    CommonDataMO *instance =
        CommonDataMO::makeObject(QStringLiteral("DetachedEvent"), m_calendar, nullptr);
    instance->setObject(QStringLiteral("originalEvent"), original);
    instance->setStringValue(
        original->stringValueForKey(QStringLiteral("title")).value_or(QString()),
        QStringLiteral("title"));
    instance->setCalendarDateValue(originalStart, QStringLiteral("originalTimeAndZone"));
    instance->setBoolValue(start.isDateOnly(), QStringLiteral("allDay"));
    instance->setCalendarDateValue(start, QStringLiteral("startTimeAndZone"));
    instance->setCalendarDateValue(end, QStringLiteral("endTimeAndZone"));
    ItemRecurrence(original).detachedInstancesChanged();
    return instance;
}

QList<Occurrence> RecurrenceStoreTest::expand(Date from, Date to, const CommonDataMO *calendar) {
    OccurrenceExpansion expansion(m_context.get(), newYork());
    expansion.setCalendar(calendar);
    return expansion.occurrences(from, to);
}

QList<Date> RecurrenceStoreTest::startsOf(CommonDataMO *item, Date from, Date to) {
    QList<Date> starts;
    for (const Occurrence &occurrence : expand(from, to)) {
        if (occurrence.item == item)
            starts.append(occurrence.start.date());
    }
    return starts;
}
