#pragma once

#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <memory>

#include "model/CommonDataMO.h"
#include "model/ExtraDataMO.h"
#include "model/store/ManagedObjectContext.h"
#include "model/store/PersistentStore.h"
#include "support/TestSupport.h"

// A store of the real schema in a temporary home with a manual clock, a
// calendar to put items in, and helpers to read the iCalendar written.
class ICalTest : public ::testing::Test {
protected:
    ICalTest();
    ~ICalTest() override;

    ManagedObjectContext &context() { return *m_context; }
    CommonDataMO *makeItem(const QString &title, qint64 eventType = 0);
    ExtraDataMO *makeExtra(const QString &entity, CommonDataMO *item);
    static CalendarDate utc(int year, int month, int day, int hour, int minute = 0);

    // The lines of iCalendar text, unfolded, without line ends.
    static QStringList unfolded(const QByteArray &text);
    // The lines of the first component named `name` ("VEVENT", "VALARM" …).
    static QStringList component(const QByteArray &text, const QString &name);
    // Whether a line starts with `start` ("STATUS:", "ATTENDEE;").
    static bool hasLine(const QStringList &lines, const QString &start);
    static QString lineStarting(const QStringList &lines, const QString &start);

    TemporaryHome m_home;
    ScopedManualClock m_clock{Date(800000000.0)};
    std::unique_ptr<PersistentStore> m_store;
    std::unique_ptr<ManagedObjectContext> m_context;
    CommonDataMO *m_calendar = nullptr;
};
