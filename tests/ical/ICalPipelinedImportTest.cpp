#include <gtest/gtest.h>

#include <QRegularExpression>
#include <limits>

#include "ical/ICalImportFixture.h"
#include "ical/ICalSlicer.h"
#include "ical/ItemComparison.h"
#include "model/SyncableObjectMO.h"

// A large text read while a worker parses it gives exactly what the same
// text parsed whole gives: the same items with the same values in the store,
// the same counts, UIDs, skipped components (by position) and detached
// instances. Irregular texts are parsed whole, as before.
namespace {

constexpr qsizetype kAlwaysPipelined = 0;
constexpr qsizetype kNeverPipelined = std::numeric_limits<qsizetype>::max();
constexpr int kCopies = 220;  // 20 components each

class ICalPipelinedImportTest : public ICalImportTest {
protected:
    ICalPipelinedImportTest() {
        m_wholeCalendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
        m_wholeCalendar->setStringValue(QStringLiteral("Work"), QStringLiteral("title"));
    }

    // The components of every test file in one VCALENDAR, `copies` times
    // over with the UIDs of each copy made its own: zones again and again,
    // occurrences before and after their series, broken and unknown
    // components, X- properties, folded multibyte text, alarms, people, the
    // VCALENDAR's own properties among the components; every other copy with
    // LF line ends and a blank line after it.
    static QByteArray largeText(int copies) {
        QByteArray body;
        for (int copy = 0; copy < copies; ++copy) {
            for (const char *file :
                 {"alarms.ics", "broken-component.ics", "client-windows-zones.ics",
                  "folded-multibyte.ics", "meeting-people.ics", "service-allday-floating.ics",
                  "todos-journals.ics"}) {
                QString inner = QString::fromUtf8(dataFile(QLatin1String(file)));
                inner = inner.mid(inner.indexOf(QLatin1Char('\n')) + 1);
                inner.truncate(inner.lastIndexOf(QLatin1String("END:VCALENDAR")));
                static const QRegularExpression uid(QStringLiteral("^UID:([^\\r\\n]*)"),
                                                    QRegularExpression::MultilineOption);
                inner.replace(uid, QStringLiteral("UID:\\1-%1").arg(copy));
                if (copy % 2)
                    inner.replace(QLatin1String("\r\n"), QLatin1String("\n")).append(u'\n');
                body += inner.toUtf8();
            }
        }
        return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n" + body +
               "X-WR-CALDESC:Last\r\nEND:VCALENDAR\r\n";
    }

    // The text imported through the pipeline into the fixture's calendar
    // and parsed whole into a second one, with the same options.
    void importBothWays(const QByteArray &text) {
        ICalImporter pipelined(text, kAlwaysPipelined);
        ICalImporter whole(text, kNeverPipelined);
        EXPECT_EQ(pipelined.calendarName(), whole.calendarName());
        m_pipelined = pipelined.importInto(m_calendar);
        m_whole = whole.importInto(m_wholeCalendar);
        context().save();
    }

    static QStringList detachedOf(const ICalImporter::Result &result) {
        QStringList detached;
        for (CommonDataMO *instance : result.detached) {
            detached << instance->uid() + QLatin1Char(' ') +
                            instance->calendarDateValueForKey(QStringLiteral("originalTimeAndZone"))
                                ->archiveToString();
        }
        return detached;
    }

    // The calendar's items (not their detached instances, which each item's
    // comparison takes in) by UID; every item of these texts has its own.
    static QHash<QString, CommonDataMO *> itemsByUID(CommonDataMO *calendar) {
        QHash<QString, CommonDataMO *> items;
        int count = 0;
        for (ManagedObject *object : calendar->objectsForKey(QStringLiteral("childrenDirect"))) {
            auto *item = ModelObject::as<CommonDataMO>(object);
            if (item->entityName() == QLatin1String("Event")) {
                items.insert(item->uid(), item);
                ++count;
            }
        }
        EXPECT_EQ(items.size(), count) << "items without a UID of their own";
        return items;
    }

    void expectTheSame() {
        EXPECT_EQ(m_pipelined.stored, m_whole.stored);
        EXPECT_EQ(m_pipelined.updated, m_whole.updated);
        EXPECT_EQ(m_pipelined.uids, m_whole.uids);
        ASSERT_EQ(m_pipelined.skipped.size(), m_whole.skipped.size());
        for (qsizetype index = 0; index < m_whole.skipped.size(); ++index) {
            EXPECT_EQ(m_pipelined.skipped[index].component, m_whole.skipped[index].component);
            EXPECT_EQ(m_pipelined.skipped[index].reason, m_whole.skipped[index].reason);
        }
        EXPECT_EQ(detachedOf(m_pipelined), detachedOf(m_whole));
        EXPECT_EQ(m_calendar->objectsForKey(QStringLiteral("childrenDirect")).size(),
                  m_wholeCalendar->objectsForKey(QStringLiteral("childrenDirect")).size());
        const QHash<QString, CommonDataMO *> pipelined = itemsByUID(m_calendar);
        const QHash<QString, CommonDataMO *> whole = itemsByUID(m_wholeCalendar);
        EXPECT_EQ(pipelined.keys().size(), whole.keys().size());
        for (auto item = pipelined.cbegin(); item != pipelined.cend(); ++item) {
            CommonDataMO *counterpart = whole.value(item.key());
            ASSERT_NE(counterpart, nullptr) << item.key().toStdString();
            EXPECT_EQ(ItemComparison::firstDifference(**item, *counterpart), QString())
                << item.key().toStdString();
        }
    }

    CommonDataMO *m_wholeCalendar = nullptr;
    ICalImporter::Result m_pipelined;
    ICalImporter::Result m_whole;
};

TEST_F(ICalPipelinedImportTest, ALargeTextReadWhileParsedGivesWhatTheWholeParseGives) {
    const QByteArray text = largeText(kCopies);
    const std::optional<ICalSlicer> slices = ICalSlicer::slice(text);
    ASSERT_TRUE(slices) << "the text must take the pipelined way";
    // Several slices, and more items than one save takes.
    ASSERT_GT(slices->componentCount(), 2 * ICalImporter::kItemsPerSave);

    importBothWays(text);

    expectTheSame();
    EXPECT_GT(m_whole.stored, ICalImporter::kItemsPerSave);
    EXPECT_FALSE(m_whole.detached.isEmpty());
    // Every copy's broken event and free-busy block, by UID.
    EXPECT_EQ(m_whole.skipped.size(), 2 * kCopies);
}

TEST_F(ICalPipelinedImportTest, AnImportReadingTheCalendarItUpdatesGivesTheSameToo) {
    const QByteArray text = largeText(3);
    importBothWays(text);
    // The same text again: every item is now in each calendar.
    importBothWays(text);

    expectTheSame();
    EXPECT_EQ(m_whole.stored, 0);
    EXPECT_GT(m_whole.updated, 0);
}

TEST_F(ICalPipelinedImportTest, AnImporterNeverImportedFreesWhatItsWorkerParsed) {
    // Destroyed while the worker may still be parsing: nothing leaks or
    // crashes (the sanitizer build checks).
    ICalImporter importer(largeText(20), kAlwaysPipelined);
    EXPECT_EQ(importer.calendarName(), QStringLiteral("Office"));
}

TEST_F(ICalPipelinedImportTest, IrregularLargeTextsImportAsBefore) {
    const QByteArray head = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n";
    const QByteArray tail = "END:VCALENDAR\r\n";
    const QByteArray event = "BEGIN:VEVENT\r\nUID:a\r\nDTSTART:20240301T100000Z\r\nEND:VEVENT\r\n";
    const QByteArray other = "BEGIN:VEVENT\r\nUID:b\r\nDTSTART:20240302T100000Z\r\nEND:VEVENT\r\n";
    // The parser never closes the VCALENDAR: the text is refused either way.
    const QByteArray unclosed =
        head + event + "BEGIN:VEVENT\r\nUID:b\r\nDTSTART:20240302T100000Z\r\n" + tail;
    EXPECT_FALSE(ICalSlicer::slice(unclosed));
    EXPECT_THROW(ICalImporter(unclosed, kAlwaysPipelined), ICalImporter::NotICalendar);
    EXPECT_THROW(ICalImporter(unclosed, kNeverPipelined), ICalImporter::NotICalendar);

    const std::vector<std::pair<const char *, QByteArray>> cases = {
        {"two VCALENDARs", head + event + tail + head + other + tail},
        // The parser reads the folded BEGIN as one line.
        {"a folded BEGIN line",
         head + event + "BEGIN:VEV\r\n ENT\r\nUID:b\r\nDTSTART:20240302T100000Z\r\nEND:VEVENT\r\n" +
             tail},
    };
    for (const auto &[what, text] : cases) {
        SCOPED_TRACE(what);
        EXPECT_FALSE(ICalSlicer::slice(text));
        importBothWays(text);
        expectTheSame();
        EXPECT_EQ(m_pipelined.uids, (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
        for (CommonDataMO *calendar : {m_calendar, m_wholeCalendar}) {
            for (ManagedObject *item : calendar->objectsForKey(QStringLiteral("childrenDirect")))
                context().deleteObject(ModelObject::as<CommonDataMO>(item)->objectInfo());
        }
        context().save();
    }
}

}  // namespace
