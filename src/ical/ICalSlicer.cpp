#include "ical/ICalSlicer.h"

#include <libical/ical.h>

#include <QByteArrayView>
#include <cstring>

namespace {

// The parser drops a line of 8192 bytes or more and stops there; a text
// with a line anywhere near that long is left to the parser whole.
constexpr qsizetype kSlicerLongestLine = 8000;

enum class SlicerLine { Blank, Content, Marker };

bool slicerStartsWith(QByteArrayView line, const char *word) {
    const qsizetype length = qsizetype(std::strlen(word));
    return line.size() >= length &&
           line.first(length).compare(QByteArrayView(word, length), Qt::CaseInsensitive) == 0;
}

bool slicerIsName(QByteArrayView name) {
    if (name.isEmpty())
        return false;
    for (const char c : name) {
        if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
              c == '-'))
            return false;
    }
    return true;
}

// The kind the parser gives a component of that name.
icalcomponent_kind slicerKindOf(QByteArrayView name) {
    return icalcomponent_string_to_kind(name.toByteArray().constData());
}

}  // namespace

std::optional<ICalSlicer> ICalSlicer::slice(const QByteArray &text) {
    const char *data = text.constData();
    const qsizetype size = qstrnlen(data, size_t(text.size()));
    ICalSlicer slices;
    slices.m_text = text;
    qsizetype at = 0;
    if (size >= 3 && uchar(data[0]) == 0xEF && uchar(data[1]) == 0xBB && uchar(data[2]) == 0xBF)
        at = 3;
    QList<QByteArrayView> open;  // the names of the components begun and not ended
    qsizetype componentBegin = 0;
    bool componentIsZone = false;
    SlicerLine previous = SlicerLine::Blank;
    qsizetype logicalBegin = at;    // where the current unfolded line begins
    bool calendarProperty = false;  // the current line is one of the VCALENDAR's own
    bool closed = false;
    while (at < size) {
        const char *line = data + at;
        const auto *newline = static_cast<const char *>(std::memchr(line, '\n', size_t(size - at)));
        const qsizetype next = newline ? newline - data + 1 : size;
        qsizetype contentEnd = newline ? newline - data : size;
        if (contentEnd > at && data[contentEnd - 1] == '\r')
            --contentEnd;
        const QByteArrayView content(line, contentEnd - at);
        // A CR of its own ends a line only after the text's last LF.
        if (content.contains('\r'))
            return std::nullopt;
        if (!content.isEmpty() && (content[0] == ' ' || content[0] == '\t')) {
            if (previous != SlicerLine::Content || next - logicalBegin >= kSlicerLongestLine)
                return std::nullopt;
            if (calendarProperty)
                slices.m_calendarParts.last().end = next;
            at = next;
            continue;
        }
        logicalBegin = at;
        calendarProperty = false;
        if (content.isEmpty()) {
            previous = SlicerLine::Blank;
            at = next;
            continue;
        }
        if (next - logicalBegin >= kSlicerLongestLine || closed)
            return std::nullopt;
        const bool begins = slicerStartsWith(content, "BEGIN");
        if (begins || slicerStartsWith(content, "END")) {
            const qsizetype nameAt = begins ? 6 : 4;
            if (content.size() <= nameAt || content[nameAt - 1] != ':' ||
                !slicerIsName(content.sliced(nameAt)))
                return std::nullopt;
            const QByteArrayView name = content.sliced(nameAt);
            if (begins) {
                if (open.isEmpty()) {
                    if (slicerKindOf(name) != ICAL_VCALENDAR_COMPONENT)
                        return std::nullopt;
                    slices.m_calendarParts.append({at, next});
                } else if (open.size() == 1) {
                    componentBegin = at;
                    componentIsZone = slicerKindOf(name) == ICAL_VTIMEZONE_COMPONENT;
                }
                open.append(name);
            } else {
                if (open.isEmpty() || name.compare(open.last(), Qt::CaseInsensitive) != 0)
                    return std::nullopt;
                open.removeLast();
                if (open.size() == 1) {
                    (componentIsZone ? slices.m_calendarParts : slices.m_components)
                        .append({componentBegin, next});
                } else if (open.isEmpty()) {
                    slices.m_calendarParts.append({at, next});
                    closed = true;
                }
            }
            previous = SlicerLine::Marker;
        } else {
            if (open.isEmpty())
                return std::nullopt;
            calendarProperty = open.size() == 1;
            if (calendarProperty)
                slices.m_calendarParts.append({at, next});
            previous = SlicerLine::Content;
        }
        at = next;
    }
    if (!closed)
        return std::nullopt;
    return slices;
}

QByteArray ICalSlicer::joined(const QList<Range> &ranges, qsizetype first, qsizetype count) const {
    qsizetype size = 0;
    for (qsizetype index = first; index < first + count; ++index)
        size += ranges[index].end - ranges[index].begin;
    QByteArray text;
    text.reserve(size);
    for (qsizetype index = first; index < first + count; ++index)
        text.append(m_text.constData() + ranges[index].begin,
                    ranges[index].end - ranges[index].begin);
    return text;
}

QByteArray ICalSlicer::calendarText() const {
    return joined(m_calendarParts, 0, m_calendarParts.size());
}

QByteArray ICalSlicer::componentsText(qsizetype first, qsizetype count) const {
    return joined(m_components, first, count);
}
