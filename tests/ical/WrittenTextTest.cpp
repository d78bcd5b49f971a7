#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include "ical/ICalFixture.h"
#include "ical/ICalWriteOptions.h"
#include "ical/ICalWriter.h"
#include "model/AttachmentFiles.h"
#include "model/RichText.h"
#include "model/SyncableObjectMO.h"
#include "model/foundation/Paths.h"
#include "model/util/OwnAddresses.h"
#include "time/CalendarDates.h"
#include "time/recurrence/ItemRecurrence.h"
#include "time/recurrence/RecurrenceRecord.h"
#include "time/recurrence/RecurrenceRule.h"

namespace {

using namespace ICalWriteOptions;

// The exact text written for a varied set of items, under every method and
// option, against a reference kept in tests/ical/golden: escaping, parameter
// quoting, line folding (inside multibyte text too), property order and the
// optional parts. Random identifiers become uid-1, uid-2 … in order of first
// appearance; the product name, the system zone, the calendar's (random)
// colour, the user's name and the VTIMEZONE blocks (which follow the
// machine's zone data) are left out.
class WrittenTextTest : public ICalTest {
protected:
    static QByteArray normalized(const QByteArray &text) {
        static const QRegularExpression uuid(
            QStringLiteral("[0-9A-Fa-f]{8}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-[0-9A-Fa-f]{4}-"
                           "[0-9A-Fa-f]{12}"));
        QByteArray out;
        bool inZone = false;
        QHash<QString, QString> names;
        for (const QByteArray &line : text.split('\n')) {
            if (line.startsWith("BEGIN:VTIMEZONE"))
                inZone = true;
            const bool skip = inZone || line.startsWith("PRODID:") ||
                              line.startsWith("X-WR-TIMEZONE:") ||
                              line.startsWith("X-APPLE-CALENDAR-COLOR:");
            if (line.startsWith("END:VTIMEZONE"))
                inZone = false;
            if (skip)
                continue;
            // Who changed the item last is whoever runs the test.
            if (line.startsWith("X-TOLVERN-LASTMODBY:")) {
                out += "X-TOLVERN-LASTMODBY:(user)\n";
                continue;
            }
            QString decoded = QString::fromUtf8(line);
            for (const QRegularExpressionMatch &match : uuid.globalMatch(decoded)) {
                QString &name = names[match.captured()];
                if (name.isEmpty())
                    name = QStringLiteral("uid-%1").arg(names.size());
            }
            for (auto it = names.cbegin(); it != names.cend(); ++it)
                decoded.replace(it.key(), it.value());
            out += decoded.toUtf8() + '\n';
        }
        return out;
    }

    void addVariedItems() {
        QDir().mkpath(Paths::attachmentsFolder());
        const QTimeZone berlin("Europe/Berlin");
        const QTimeZone tokyo("Asia/Tokyo");
        m_calendar->setBoolValue(true, QStringLiteral("holidayCalendar"));

        m_series = makeItem(QStringLiteral("Planung für das Geschäftsjahr – Übersicht, Teil; "
                                           "eins\\zwei\nzweite Zeile ")
                                .repeated(2));
        m_series->setCalendarDateValue(
            CalendarDates::dateWithYear(2024, 3, 25, 10, 0, 0, false, berlin),
            QStringLiteral("startTimeAndZone"));
        m_series->setCalendarDateValue(
            CalendarDates::dateWithYear(2024, 3, 25, 11, 0, 0, false, berlin),
            QStringLiteral("endTimeAndZone"));
        m_series->setStringValue(QString(QStringLiteral("€")).repeated(70) + QStringLiteral("x"),
                                 QStringLiteral("content"));
        m_series->setStringValue(QStringLiteral("Local: notes"), QStringLiteral("localContent"));
        m_series->setValue(QStringLiteral("location"),
                           QStringLiteral("Room 1, \"Blue\"; upstairs"));
        m_series->setValue(QStringLiteral("locationURL"), QStringLiteral("geo:52.5,13.4"));
        m_series->setIntegerValue(900, QStringLiteral("travelTimeBefore"));
        m_series->setIntegerValue(5400, QStringLiteral("travelTimeAfter"));
        m_series->setValue(QStringLiteral("url"), QStringLiteral("https://example.org/a?b=c;d"));
        m_series->setValue(QStringLiteral("localURL"), QStringLiteral("file:///tmp/x"));
        m_series->setTagListValue({QStringLiteral("work"), QStringLiteral("a,b")},
                                  QStringLiteral("tags"));
        m_series->setTagListValue({QStringLiteral("mine")}, QStringLiteral("localTags"));
        m_series->setIntegerValue(8, QStringLiteral("status"));
        m_series->setIntegerValue(5, QStringLiteral("priority"));
        m_series->setIntegerValue(40, QStringLiteral("percentComplete"));
        m_series->setIntegerValue(2, QStringLiteral("classification"));
        m_series->setIntegerValue(0, QStringLiteral("blocksTime"));
        m_series->setIntegerValue(3, QStringLiteral("localSortOrder"));
        m_series->setBoolValue(true, QStringLiteral("localMinimized"));
        m_series->setBoolValue(true, QStringLiteral("localHidden"));
        m_series->setBoolValue(true, QStringLiteral("observedHoliday"));
        m_series->setDateValue(utc(2024, 2, 1, 8).date(), QStringLiteral("completionTime"));
        m_series->setAttributedStringValue(
            RichText(m_series->stringValueForKey(QStringLiteral("title")).value_or(QString()),
                     {QVariantMap{{QStringLiteral("location"), 0},
                                  {QStringLiteral("length"), 4},
                                  {QStringLiteral("font"), QStringLiteral("Helvetica-Bold")}}}),
            QStringLiteral("title"));
        ExtraDataMO *rule = ItemRecurrence::attachRecurrence(
            *RecurrenceRule::fromICalendarText(QStringLiteral("FREQ=WEEKLY;BYDAY=MO,WE;COUNT=10")),
            m_series, false, false);
        RecurrenceRecord(rule).setExceptionDates({utc(2024, 4, 1, 8)});
        RecurrenceRecord(rule).setCustomDates({utc(2024, 4, 6, 8)});
        rule->setIntegerValue(1, QStringLiteral("regenerate"));

        ExtraDataMO *organizer = makeExtra(QStringLiteral("Organizer"), m_series);
        organizer->setValue(QStringLiteral("email"), QStringLiteral("boss@example.org"));
        organizer->setValue(QStringLiteral("name"), QStringLiteral("Boss: the ^big^ one"));
        organizer->setValue(QStringLiteral("directoryURL"), QStringLiteral("ldap://dir/boss"));
        organizer->setValue(QStringLiteral("meetingUID"), QStringLiteral("meeting,1;x"));
        organizer->setIntegerValue(4, QStringLiteral("localSequence"));
        organizer->setBoolValue(true, QStringLiteral("localFromITIP"));
        const struct {
            const char *email, *name;
            qint64 status, type, role;
            bool rsvp;
        } people[] = {{"boss@example.org", "Boss", 3, 0, 3, false},
                      {"ann@example.org", "Ann, Müller \"Annie\"", 2, 1, 1, true},
                      {"room-7", "", 0, 2, 2, false},
                      {"me@example.org", "Me Myself", 5, 4, 0, false}};
        for (const auto &person : people) {
            ExtraDataMO *attendee = makeExtra(QStringLiteral("Attendee"), m_series);
            attendee->setValue(QStringLiteral("email"), QString::fromUtf8(person.email));
            attendee->setValue(QStringLiteral("name"), QString::fromUtf8(person.name));
            attendee->setIntegerValue(person.status, QStringLiteral("status"));
            attendee->setIntegerValue(person.type, QStringLiteral("attendeeType"));
            attendee->setIntegerValue(person.role, QStringLiteral("role"));
            attendee->setBoolValue(person.rsvp, QStringLiteral("rsvp"));
        }
        for (const char *entity : {"ContactLink", "LocalContactLink"}) {
            ExtraDataMO *link = makeExtra(QLatin1String(entity), m_series);
            link->setValue(QStringLiteral("contactID"), QStringLiteral("contact:42"));
            link->setIntegerValue(1, QStringLiteral("contactType"));
            link->setIntegerValue(1, QStringLiteral("nameOrder"));
            link->setValue(QStringLiteral("firstName"), QStringLiteral("Jo"));
            link->setValue(QStringLiteral("lastName"), QStringLiteral("Doe, Jr."));
            link->setValue(QStringLiteral("primaryEmail"), QStringLiteral("jo@example.org"));
            link->setValue(QStringLiteral("company"), QStringLiteral("ACME"));
        }
        m_series->setArchivedValue(
            QVariantMap{{QStringLiteral("X-OTHER-CLIENT-FLAG"),
                         QVariantMap{{QStringLiteral("prop-value"), QStringLiteral("on,off;x\\y")},
                                     {QStringLiteral("X-REASON"), QStringLiteral("kept: yes")}}},
                        {QStringLiteral("X-OTHER-WAIT"),
                         QVariantMap{{QStringLiteral("prop-value"), QStringLiteral("PT1H")},
                                     {QStringLiteral("VALUE"), QStringLiteral("DURATION")}}}},
            QStringLiteral("xProps"));

        QFile source(m_home.filePath(QStringLiteral("agenda.txt")));
        source.open(QIODevice::WriteOnly);
        source.write(QByteArray("Agenda: 1. Budget\n").repeated(20));
        source.close();
        AttachmentFiles::attachLocalFile(source.fileName(), m_series);
        AttachmentFiles::attachGlobalFile(QStringLiteral("https://example.org/file.pdf"), m_series);

        ExtraDataMO *display = makeExtra(QStringLiteral("Reminder"), m_series);
        display->setIntegerValue(0, QStringLiteral("reminderType"));
        display->setDoubleValue(-900, QStringLiteral("relativeSeconds"));
        display->setDateValue(utc(2024, 3, 1, 8).date(), QStringLiteral("acknowledged"));
        display->setBoolValue(true, QStringLiteral("defaultAlarm"));
        display->setArchivedValue(
            QVariantMap{{QStringLiteral("X-ALARM-NOTE"),
                         QVariantMap{{QStringLiteral("prop-value"), QStringLiteral("note")}}}},
            QStringLiteral("xProps"));
        ExtraDataMO *sound = makeExtra(QStringLiteral("Reminder"), m_series);
        sound->setIntegerValue(1, QStringLiteral("reminderType"));
        sound->setDoubleValue(-86400 * 7, QStringLiteral("relativeSeconds"));
        sound->setValue(QStringLiteral("url"), QStringLiteral("Glass"));
        ExtraDataMO *mail = makeExtra(QStringLiteral("Reminder"), m_series);
        mail->setIntegerValue(2, QStringLiteral("reminderType"));
        mail->setDoubleValue(-3661, QStringLiteral("relativeSeconds"));
        mail->setArchivedValue(QStringList{QStringLiteral("me@example.org")},
                               QStringLiteral("recipients"));
        ExtraDataMO *at = makeExtra(QStringLiteral("Reminder"), m_series);
        at->setIntegerValue(0, QStringLiteral("reminderType"));
        at->setDateValue(utc(2024, 3, 25, 7).date(), QStringLiteral("absoluteTime"));
        ExtraDataMO *place = makeExtra(QStringLiteral("LocalReminder"), m_series);
        place->setIntegerValue(5, QStringLiteral("reminderType"));
        place->setDoubleValue(0, QStringLiteral("relativeSeconds"));
        ExtraDataMO *program = makeExtra(QStringLiteral("Reminder"), m_series);
        program->setIntegerValue(3, QStringLiteral("reminderType"));
        program->setDoubleValue(3600, QStringLiteral("relativeSeconds"));
        program->setValue(QStringLiteral("url"), QStringLiteral("file:///bin/true"));

        CommonDataMO *moved =
            CommonDataMO::makeObject(QStringLiteral("DetachedEvent"), m_calendar, nullptr);
        moved->setObject(QStringLiteral("originalEvent"), m_series);
        moved->objectInfo()->setValue(QStringLiteral("uid"), m_series->uid());
        moved->setStringValue(QStringLiteral("Moved"), QStringLiteral("title"));
        moved->setCalendarDateValue(utc(2024, 3, 27, 9), QStringLiteral("originalTimeAndZone"));
        moved->setCalendarDateValue(
            CalendarDates::dateWithYear(2024, 3, 27, 14, 0, 0, false, berlin),
            QStringLiteral("startTimeAndZone"));

        CommonDataMO *holiday = makeItem(QStringLiteral("Day off"));
        holiday->setBoolValue(true, QStringLiteral("allDay"));
        holiday->setCalendarDateValue(CalendarDate::dateOnly(2024, 5, 1),
                                      QStringLiteral("startTimeAndZone"));
        holiday->setCalendarDateValue(CalendarDate::dateOnly(2024, 5, 2),
                                      QStringLiteral("endTimeAndZone"));
        ExtraDataMO *yearly = ItemRecurrence::attachRecurrence(
            *RecurrenceRule::fromICalendarText(QStringLiteral("FREQ=YEARLY;UNTIL=20300101")),
            holiday, false, false);
        RecurrenceRecord(yearly).setExceptionDates({CalendarDate::dateOnly(2026, 5, 1)});

        CommonDataMO *floating = makeItem(QStringLiteral("Wake up"));
        floating->setBoolValue(true, QStringLiteral("floatingEvent"));
        floating->setCalendarDateValue(
            CalendarDates::dateWithYear(2024, 6, 1, 7, 0, 0, false, tokyo),
            QStringLiteral("startTimeAndZone"));

        m_todo = makeItem(QStringLiteral("File taxes"), 1);
        m_todo->setCalendarDateValue(
            CalendarDates::dateWithYear(2024, 5, 1, 17, 0, 0, false, tokyo),
            QStringLiteral("dueTimeAndZone"));
        ExtraDataMO *due = makeExtra(QStringLiteral("Reminder"), m_todo);
        due->setIntegerValue(0, QStringLiteral("reminderType"));
        due->setDateValue(utc(2024, 5, 1, 1).date(), QStringLiteral("absoluteTime"));

        m_journal = makeItem(QStringLiteral("Diary"), 4);
        m_journal->setCalendarDateValue(utc(2024, 7, 1, 12), QStringLiteral("startTimeAndZone"));
        m_sticky = makeItem(QStringLiteral("Sticky"), 3);
    }

    QByteArray writeAll() {
        OwnAddresses::setProvider([] { return QStringList{QStringLiteral("me@example.org")}; });
        QByteArray all = ICalWriter::calendarExport(m_calendar);
        const struct {
            ICalMethod method;
            quint32 options;
        } cases[] = {
            {ICalMethod::None, 0},
            {ICalMethod::None, LocalData | SoundAsDisplay | ThisAndFuture},
            {ICalMethod::None, NoRichText | GlobalScope | ConfidentialAccess | NoTimeZones},
            {ICalMethod::None, ManagedAttachments | ProximityAlarms | ToDoStart | JournalAsEvent},
            {ICalMethod::Publish, PlaceholderAlarm},
            {ICalMethod::Request, CallerIsOrganizer | ClientScheduling},
            {ICalMethod::Reply, Cancelling},
            {ICalMethod::Cancel, Cancelling},
        };
        for (CommonDataMO *item : {m_series, m_todo, m_journal, m_sticky}) {
            for (const auto &each : cases) {
                ICalWriter::Request request;
                request.method = each.method;
                request.options = each.options;
                request.callerAddress = QStringLiteral("delegate@example.org");
                request.comment = QStringLiteral("Sorry, can't; really\nnot");
                request.sequences.insert(item->uid(), 9);
                request.sequences.insert(QStringLiteral("meeting,1;x"), 11);
                if (each.options & ThisAndFuture)
                    request.occurrence = utc(2024, 4, 3, 8);
                all += ICalWriter::wholeObject(item, request);
            }
        }
        OwnAddresses::setProvider({});
        return normalized(all);
    }

    CommonDataMO *m_series = nullptr;
    CommonDataMO *m_todo = nullptr;
    CommonDataMO *m_journal = nullptr;
    CommonDataMO *m_sticky = nullptr;
};

TEST_F(WrittenTextTest, TheTextOfVariedItemsIsExactlyTheReference) {
    addVariedItems();
    const QByteArray written = writeAll();
    const QString path = sourcePath(QStringLiteral("tests/ical/golden/written-items.txt"));
    if (qEnvironmentVariableIsSet("MEROVAN_WRITE_GOLDEN")) {
        QFile out(path);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(written);
    }
    QFile reference(path);
    ASSERT_TRUE(reference.open(QIODevice::ReadOnly)) << path.toStdString();
    const QList<QByteArray> expected = reference.readAll().split('\n');
    const QList<QByteArray> actual = written.split('\n');
    for (qsizetype i = 0; i < std::min(expected.size(), actual.size()); ++i)
        ASSERT_EQ(actual[i], expected[i]) << "line " << i + 1;
    EXPECT_EQ(actual.size(), expected.size());
}

}  // namespace
