#include <gtest/gtest.h>

#include "ical/ICalSlicer.h"

// The slicer cuts one cleanly nested VCALENDAR into its own part and its
// other components, byte for byte, and refuses every text whose pieces the
// parser might read differently from the whole.
namespace {

const QByteArray kSlicedEvent1 =
    "BEGIN:VEVENT\r\nUID:one\r\nSUMMARY:A long summary that is folded\r\n  onto a second "
    "line\r\nEND:VEVENT\r\n";
const QByteArray kSlicedZone =
    "BEGIN:VTIMEZONE\nTZID:Office\nBEGIN:STANDARD\nDTSTART:19700101T000000\nTZOFFSETFROM:+0100\n"
    "TZOFFSETTO:+0100\nEND:STANDARD\nEND:VTIMEZONE\n";
const QByteArray kSlicedEvent2 =
    "begin:vtodo\nUID:two\n\nBEGIN:VALARM\nACTION:DISPLAY\nEND:VALARM\n"
    "end:VTODO\n";
const QByteArray kSlicedBusy = "BEGIN:VFREEBUSY\r\nUID:busy\r\nEND:VFREEBUSY\r\n";

QByteArray slicedCalendar() {
    return "\xEF\xBB\xBF\r\nBEGIN:VCALENDAR\r\nPRODID:-//Example//EN\r\n" + kSlicedEvent1 + "\r\n" +
           kSlicedZone + "X-WR-CALNAME:Late\r\n name\r\n" + kSlicedEvent2 + kSlicedBusy +
           "END:VCALENDAR\r\n\r\n";
}

TEST(ICalSlicerTest, CutsTheCalendarFromItsComponentsByteForByte) {
    const std::optional<ICalSlicer> slices = ICalSlicer::slice(slicedCalendar());
    ASSERT_TRUE(slices);
    // The VCALENDAR keeps its properties and its zone wherever they stood.
    EXPECT_EQ(slices->calendarText(), "BEGIN:VCALENDAR\r\nPRODID:-//Example//EN\r\n" + kSlicedZone +
                                          "X-WR-CALNAME:Late\r\n name\r\nEND:VCALENDAR\r\n");
    ASSERT_EQ(slices->componentCount(), 3);
    EXPECT_EQ(slices->componentsText(0, 1), kSlicedEvent1);
    EXPECT_EQ(slices->componentsText(1, 2), kSlicedEvent2 + kSlicedBusy);
    EXPECT_EQ(slices->componentsText(0, 3), kSlicedEvent1 + kSlicedEvent2 + kSlicedBusy);
}

TEST(ICalSlicerTest, ReadsTheTextUpToItsFirstNulByteAsTheParserDoes) {
    const QByteArray text = slicedCalendar() + QByteArray("\0BEGIN:VEVENT", 13);
    const std::optional<ICalSlicer> slices = ICalSlicer::slice(text);
    ASSERT_TRUE(slices);
    EXPECT_EQ(slices->componentCount(), 3);
    QByteArray cut = slicedCalendar();
    cut.insert(cut.indexOf("END:VCALENDAR"), '\0');
    EXPECT_FALSE(ICalSlicer::slice(cut));
}

TEST(ICalSlicerTest, LeavesEveryIrregularTextToTheWholeParse) {
    const QByteArray head = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n";
    const QByteArray tail = "END:VCALENDAR\r\n";
    const QByteArray event = "BEGIN:VEVENT\r\nUID:x\r\nEND:VEVENT\r\n";
    const std::vector<std::pair<const char *, QByteArray>> irregular = {
        {"no VCALENDAR", event},
        {"missing END of an event", head + "BEGIN:VEVENT\r\nUID:x\r\n" + tail},
        {"missing END of the calendar", head + event},
        {"two calendars", head + event + tail + head + event + tail},
        {"an END of another name", head + "BEGIN:VEVENT\r\nUID:x\r\nEND:VTODO\r\n" + tail},
        {"a folded BEGIN line", head + "BEGIN:VEV\r\n ENT\r\nUID:x\r\nEND:VEVENT\r\n" + tail},
        {"a folded END line", head + "BEGIN:VEVENT\r\nUID:x\r\nEND:VEV\r\n ENT\r\n" + tail},
        {"a BEGIN line with a parameter", head + "BEGIN;X=1:VEVENT\r\nEND:VEVENT\r\n" + tail},
        {"a BEGIN line with a space", head + "BEGIN :VEVENT\r\nEND:VEVENT\r\n" + tail},
        {"a BEGIN line with two names", head + "BEGIN:VEVENT,VTODO\r\nEND:VEVENT\r\n" + tail},
        {"an empty BEGIN", head + "BEGIN:\r\n" + tail},
        {"a property named like a BEGIN", head + "BEGINNING:now\r\n" + event + tail},
        {"a line outside the calendar", "X-NOTE:hello\r\n" + head + event + tail},
        {"text after the calendar", head + event + tail + "X-NOTE:hello\r\n"},
        {"a CR of its own", head + "BEGIN:VEVENT\rUID:x\r\nEND:VEVENT\r\n" + tail},
        {"a folded line after a blank line",
         head + "BEGIN:VEVENT\r\n\r\n UID:x\r\nEND:VEVENT\r\n" + tail},
        {"a folded line first", " " + head + event + tail},
        {"a line near the parser's limit",
         head + "BEGIN:VEVENT\r\nX-LONG:" + QByteArray(8200, 'a') + "\r\nEND:VEVENT\r\n" + tail},
        {"a long line made of folds",
         head + "BEGIN:VEVENT\r\nX-LONG:a" +
             QByteArray("\r\n ").append(QByteArray(70, 'b')).repeated(120) + "\r\nEND:VEVENT\r\n" +
             tail},
    };
    for (const auto &[what, text] : irregular)
        EXPECT_FALSE(ICalSlicer::slice(text)) << what;
    // A text without a line end after its last END still slices.
    EXPECT_TRUE(ICalSlicer::slice(head + event + "END:VCALENDAR"));
}

}  // namespace
