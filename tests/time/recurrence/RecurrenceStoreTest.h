#pragma once

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <memory>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "support/TestSupport.h"
#include "time/TimeTestSupport.h"
#include "time/recurrence/Occurrence.h"
#include "time/recurrence/RecurrenceRule.h"

// A store of the real schema in a temporary folder, with the days of items
// kept up to date, a manual clock and New York as the system zone; items are
// made through the object model.
class RecurrenceStoreTest : public ::testing::Test {
protected:
    RecurrenceStoreTest();
    ~RecurrenceStoreTest() override;

    ManagedObjectContext &context() { return *m_context; }
    void reopen();

    CommonDataMO *calendar() { return m_calendar; }
    CommonDataMO *makeCalendar(const QString &uid, const QString &title);
    // An event of the calendar (the test calendar when none is given); an
    // all-day one when `start` is date-only.
    CommonDataMO *makeEvent(const QString &title, const CalendarDate &start,
                            const CalendarDate &end, CommonDataMO *calendar = nullptr);
    // A timed event of an hour at the New York wall-clock time.
    CommonDataMO *makeEvent(const QString &title, int year, int month, int day, int hour,
                            int minute = 0);
    // Attaches the rule of the RRULE text; fails the test when it does not read.
    ExtraDataMO *addRule(CommonDataMO *item, const QString &rruleText);
    // A detached instance of `original` standing for the occurrence at
    // `originalStart`, moved to `start` … `end`.
    CommonDataMO *detach(CommonDataMO *original, const CalendarDate &originalStart,
                         const CalendarDate &start, const CalendarDate &end);

    // Every occurrence in [from, to), through the store (of one calendar
    // when one is given).
    QList<Occurrence> expand(Date from, Date to, const CommonDataMO *calendar = nullptr);
    // The starts of those occurrences of `item`.
    QList<Date> startsOf(CommonDataMO *item, Date from, Date to);

    static QTimeZone newYork() { return zone("America/New_York"); }
    // A New York wall-clock time.
    static CalendarDate nyTime(int year, int month, int day, int hour, int minute = 0);

    QTemporaryDir m_dir;
    ScopedManualClock m_clock{Date(800000000.0)};
    ScopedSystemZone m_zone{"America/New_York"};
    std::unique_ptr<PersistentStore> m_store;
    std::unique_ptr<ManagedObjectContext> m_context;
    CommonDataMO *m_calendar = nullptr;
};
