#pragma once

#include <QString>

class CommonDataMO;
class ModelObject;

// What a calendar may hold, asked of the calendar itself or of one of its
// items. The answers depend on the calendar's attributes and on its owning
// service: questions that only the service's kind can answer go to the
// engine registered for it (ServiceEngines); a calendar without owner, of a
// kind without engine or of any other kind gets the answer of a local
// calendar. Nothing is stored; main thread only.
class CalendarCapabilities {
public:
    static constexpr qint64 kLocationReminderType = 10;

    // `object` is a calendar's or an item's data object.
    explicit CalendarCapabilities(const CommonDataMO *object);

    // The calendar has no owning service.
    bool isLocallyOwned() const;

    // False while the owner is syncing; otherwise the calendar's
    // `localFilterReminders` / `localFilterToDos`.
    bool effectiveFilterReminders() const;
    bool effectiveFilterToDos() const;

    // False when `supportedEventTypes` is not 0 and lacks the type's bit
    // (1 << type); to-dos (type 1) also while the calendar filters them.
    bool canHoldEventType(qint64 eventType) const;
    // Every type but a location reminder (10), which only a CalDAV calendar
    // whose engine supports it for the item's `eventType` may hold.
    bool canHoldReminderType(qint64 reminderType) const;
    // False on Exchange calendars.
    bool canHoldMultipleReminders() const;
    // CalDAV: the engine's answer; elsewhere false.
    bool owningServiceIssuesEmailAlarms() const;
    // CalDAV: the engine's answer; elsewhere true.
    bool canHoldMeetings() const;
    // CalDAV: the engine's answer; Exchange: true; elsewhere false.
    bool canHoldPrivateEvents() const;

    // On an Exchange calendar the engine sets its defaults on `item`.
    static void setOwningServiceDefaultsForNewEvent(CommonDataMO *item);

private:
    const CommonDataMO *m_object;
    const CommonDataMO *m_calendar;
    const ModelObject *m_owner;
};
