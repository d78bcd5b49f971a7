#pragma once

// INTERNAL to src/ical: iCalendar text written straight into a byte array,
// the way the iCalendar library writes its components, without building
// them: the writers of items produce the text of every common property
// here and hand only rare ones to the library.

#include <QByteArray>
#include <QByteArrayView>
#include <QStringView>

#include "model/foundation/CalendarDate.h"

typedef struct icalproperty_impl icalproperty;

// Appends components and content lines to `out`. A content line starts with
// property(), takes its parameters, and ends with exactly one value call.
// Lines end in CRLF and are folded before 75 octets: after the last ';',
// ':' or space that fits, else before the last character that fits whole.
// Texts stop at a NUL character; UTF-16 becomes UTF-8 as QString::toUtf8
// makes it. Not thread-safe; one writer per text being written.
class ICalTextWriter {
public:
    explicit ICalTextWriter(QByteArray &out) : m_out(out) {}

    // BEGIN:name and END:name.
    void begin(QByteArrayView component);
    void end(QByteArrayView component);

    ICalTextWriter &property(QByteArrayView name);
    // ;VALUE=type. Must come straight after property(): the library writes
    // the value type before every other parameter.
    ICalTextWriter &valueType(QByteArrayView type);
    // ;name=value, the value in double quotes when it is empty or holds ';',
    // ':' or ','; a line end becomes ^n, a double quote ^', other control
    // characters a space.
    ICalTextWriter &parameter(QByteArrayView name, QStringView value);
    ICalTextWriter &parameter(QByteArrayView name, QLatin1String value);

    // TEXT: backslash, ';', ',' and line ends escaped; CR, BS and FF left out.
    void text(QStringView value);
    // An X- property's text and CATEGORIES: only backslash and line ends
    // escaped; CR, BS and FF left out.
    void plainText(QStringView value);
    void plainText(QLatin1String value);
    // An address or other value taken as it stands.
    void raw(QStringView value);
    // A calendar user address: "mailto:" before an e-mail address (one
    // holding '@'), any other taken as it stands.
    void address(QStringView value);
    void raw(QByteArrayView value);
    void number(int value);
    // A DURATION of whole seconds, as the iCalendar library writes one made
    // from them: weeks alone when they are whole, else days and a time.
    void duration(int seconds);
    // DATE-TIME in UTC of the instant, whole seconds (as time_t truncates).
    void utcTime(Date date);
    // A date property of an item: VALUE=DATE and the UTC day for `allDay`,
    // the wall clock without zone for `floating`, UTC ("Z") in a universal
    // zone, and otherwise the wall clock with TZID; `thisAndFuture` adds
    // RANGE=THISANDFUTURE. Writes the whole line.
    void date(QByteArrayView name, const CalendarDate &date, bool allDay, bool floating,
              bool thisAndFuture = false);

    // A property the library built, as the library writes it; it is freed.
    void libraryProperty(icalproperty *property);

private:
    void finish();
    void appendTime(int year, int month, int day, int hour, int minute, int second, bool utc);

    QByteArray &m_out;
    qsizetype m_lineStart = 0;
    QByteArray m_fold;  // the line being folded, kept to reuse its buffer
};
