#pragma once

// INTERNAL to src/ical: the top-level structure of a large iCalendar text,
// found from its lines without parsing them, so that the text can be parsed a
// few components at a time.

#include <QByteArray>
#include <QList>
#include <optional>

// One VCALENDAR cut into the part that describes it (its own properties and
// its VTIMEZONEs) and its other components, each kept as the exact bytes of
// the text. Parsing the description and then each run of components on its
// own gives the same components as parsing the whole text, because the
// parser reads every line by itself and a component's lines never depend on
// what stands around it; a text where that might not hold is not sliced.
// Immutable once made: a worker thread may read it while its maker reads
// it too.
class ICalSlicer {
public:
    // The slices of the text (up to its first NUL byte, as the parser reads
    // it), or nullopt unless the text is exactly one VCALENDAR of cleanly
    // nested components: an optional UTF-8 marker, blank lines only around
    // the VCALENDAR, LF or CRLF line ends (no other CR), every BEGIN and END
    // line written "BEGIN:NAME" / "END:NAME" in one line and closed by an END
    // of the same name, no folded line after a blank, BEGIN or END line,
    // no line near the parser's length limit, and no other line that starts
    // with "BEGIN" or "END".
    static std::optional<ICalSlicer> slice(const QByteArray &text);

    // The VCALENDAR with its own properties and its VTIMEZONEs, wherever
    // they stood, in their order; none of its other components.
    QByteArray calendarText() const;
    // The other components (events, to-dos, anything else but a VTIMEZONE)
    // in their order.
    qsizetype componentCount() const { return m_components.size(); }
    // The text of `count` components from the `first` (0-based), one after
    // the other; `first + count` must not pass componentCount().
    QByteArray componentsText(qsizetype first, qsizetype count) const;

private:
    struct Range {
        qsizetype begin = 0;
        qsizetype end = 0;
    };
    ICalSlicer() = default;
    QByteArray joined(const QList<Range> &ranges, qsizetype first, qsizetype count) const;

    QByteArray m_text;
    // The BEGIN:VCALENDAR line, its property lines and VTIMEZONEs, its END
    // line.
    QList<Range> m_calendarParts;
    QList<Range> m_components;
};
