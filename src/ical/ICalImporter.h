#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

class CalendarDate;
class CommonDataMO;

// iCalendar text (one VCALENDAR or several) read into a calendar of the
// store: files the user imports, and any caller that has a whole calendar's
// text. Items are matched by UID within the calendar and updated in place;
// a component with a RECURRENCE-ID becomes (or updates) a detached instance
// of the repeating item of its UID, wherever that comes in the text, and a
// normal item when the calendar has no such item (unless a maker of main
// items is set). A component that cannot be
// read is skipped, leaving nothing of itself behind; everything else is
// stored. Main thread only.
class ICalImporter {
public:
    // The text is not iCalendar at all.
    class NotICalendar : public std::runtime_error {
    public:
        using std::runtime_error::runtime_error;
    };

    // A component left out, named by its UID or, without one, its position
    // ("component 3"), and why.
    struct Skipped {
        QString component;
        QString reason;
    };
    struct Result {
        int stored = 0;    // new items
        int updated = 0;   // items that were in the calendar
        QStringList uids;  // of the items read, each once, in reading order
        // The detached instances read or made, each once, in reading order.
        QList<CommonDataMO *> detached;
        QList<Skipped> skipped;
    };

    // Parses the text; throws NotICalendar when it holds no VCALENDAR. A text
    // of at least `pipelinedFrom` bytes that is one cleanly nested VCALENDAR
    // (ICalSlicer) has only its VCALENDAR's own properties and VTIMEZONEs
    // parsed here, and its other components parsed on a worker thread while
    // importInto reads the ones parsed already: the same result, sooner on a
    // second core. Smaller texts (a server's resources) and any other text
    // are parsed whole. The default suits files; tests pass 0 or a size
    // above the text's to choose the way.
    static constexpr qsizetype kPipelinedFrom = 1024 * 1024;
    explicit ICalImporter(const QByteArray &text, qsizetype pipelinedFrom = kPipelinedFrom);
    ~ICalImporter();
    ICalImporter(const ICalImporter &) = delete;
    ICalImporter &operator=(const ICalImporter &) = delete;

    // X-WR-CALNAME of the first VCALENDAR, if it names one.
    std::optional<QString> calendarName() const;
    // A new calendar described by the first VCALENDAR: title, colour,
    // notes, holiday marker and icon.
    void describeCalendar(CommonDataMO *calendar) const;

    // Reads every VEVENT, VTODO and VJOURNAL into the calendar with alarms
    // and attachments (`options`: ICalReadOptions). Old reminders of an
    // updated item are replaced by the component's. The store is saved after
    // every kItemsPerSave items; the caller saves the rest. The parsed
    // components are freed as they are read: an importer imports once, and
    // a second call throws std::logic_error.
    static constexpr int kItemsPerSave = 2000;
    Result importInto(CommonDataMO *calendar, quint32 options);
    Result importInto(CommonDataMO *calendar);

    // Who makes the repeating item of detached instances whose own is
    // neither in the text nor in the calendar: given the UID and the
    // original time of the first such instance, a new item of the calendar
    // that the instances then belong to, or nullptr. Without one (the
    // default), each such instance is stored as an item of its own.
    using MainEventMaker =
        std::function<CommonDataMO *(const QString &uid, const CalendarDate &originalTime)>;
    void setMainEventMaker(MainEventMaker maker) { m_mainEventMaker = std::move(maker); }

    // The calendar's repeating and single items by UID (nullptr where a UID
    // is known to have none), kept by a caller that imports many small texts
    // into one calendar one after the other (a sync, one server resource
    // each) and shared with each import: the first reads the calendar's items
    // into it once and every import adds the items it makes, so that none
    // asks the store for its items one UID at a time (such a lookup also
    // judges every unsaved item in memory). An item deleted meanwhile counts
    // as none; the caller takes out the UIDs of the items it deletes.
    struct ItemsByUID {
        QHash<QString, CommonDataMO *> items;
        bool read = false;
    };
    void shareItemsByUID(ItemsByUID *items) { m_itemsByUID = items; }

private:
    class Run;
    struct Parsed;
    std::unique_ptr<Parsed> m_parsed;
    MainEventMaker m_mainEventMaker;
    ItemsByUID *m_itemsByUID = nullptr;
};
