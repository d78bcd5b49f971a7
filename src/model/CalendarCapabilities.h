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

    // The owning service when it is a CalDAV / an Exchange account, else
    // nullptr.
    ModelObject *parentCalDAVService() const;
    ModelObject *parentExchangeService() const;
    // Whether the owner keeps attachments: CalDAV and Exchange accounts as
    // their engines say (none registered: no); a calendar without owner and
    // every other kind of service: yes.
    bool canHoldAttachments() const;
    // Attachment files are fetched as soon as their items arrive: the
    // calendar can hold attachments and its `localFetchAttachments` is set.
    bool autoFetchAttachments() const;
    // Stores the calendar's `localFetchAttachments`; turning it on asks the
    // owner to sync, so that the files come at once.
    static void setFetchAttachments(CommonDataMO *calendar, bool fetch);

    // The calendar of the same CalDAV or Exchange account best suited to take
    // items of the type in place of this one (none elsewhere): among the
    // account's subscribed calendars that can hold the type and have a
    // title, the highest score above 0, the first of equals. Points: 20000
    // for the default calendar (`defaultContainerUID`); 1000 for effective
    // access 3, 10000 for 4; 100 for the same title, else 90 when one title
    // begins with the other, else (20 - d) * 5 for an edit distance d < 20;
    // 10 when not hidden; 20 in the same calendar group; 10 - k when the
    // sort keys (`localSortOrder`, else the title's first character) differ
    // by k < 10.
    CommonDataMO *relatedContainerThatCanHoldEventType(qint64 eventType,
                                                       const QString &defaultContainerUID) const;

    // On an Exchange calendar the engine sets its defaults on `item`.
    static void setOwningServiceDefaultsForNewEvent(CommonDataMO *item);

private:
    const CommonDataMO *m_object;
    const CommonDataMO *m_calendar;
    ModelObject *m_owner;
};
