#include <gtest/gtest.h>

#include <QFile>
#include <QMap>
#include <QXmlStreamReader>

#include "TimeTestSupport.h"
#include "support/TestSupport.h"
#include "time/TimeZoneUtilities.h"

namespace {

// The Windows zone mapping of the Unicode CLDR, as Debian's unicode-cldr-core
// package ships it: an independent source for the program's own table.
const char kCldrWindowsZones[] = "/usr/share/unicode/cldr/common/supplemental/windowsZones.xml";

struct CldrMapping {
    QMap<QString, QString> defaultZone;   // Windows name -> zone of territory "001"
    QMap<QString, QString> windowsName;   // every listed zone -> Windows name
    QMap<QString, QString> displayNames;  // "(UTC+01:00) Amsterdam, ..." -> Windows name
    QStringList conflicts;                // zones listed under two Windows names
};

CldrMapping readCldr() {
    CldrMapping mapping;
    QFile file(QString::fromLatin1(kCldrWindowsZones));
    if (!file.open(QIODevice::ReadOnly)) {
        ADD_FAILURE() << kCldrWindowsZones << " is missing: install unicode-cldr-core";
        return mapping;
    }
    QXmlStreamReader xml(&file);
    QString displayName;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isComment()) {
            const QString text = xml.text().trimmed().toString();
            displayName = text.startsWith(QLatin1String("(UTC")) ? text : QString();
        } else if (xml.isStartElement() && xml.name() == QLatin1String("mapZone")) {
            const QString other = xml.attributes().value(QLatin1String("other")).toString();
            const QString territory = xml.attributes().value(QLatin1String("territory")).toString();
            const QStringList types = xml.attributes()
                                          .value(QLatin1String("type"))
                                          .toString()
                                          .split(QLatin1Char(' '), Qt::SkipEmptyParts);
            if (territory == QLatin1String("001")) {
                mapping.defaultZone.insert(other, types.first());
                if (!displayName.isEmpty())
                    mapping.displayNames.insert(displayName, other);
            }
            for (const QString &type : types) {
                if (mapping.windowsName.contains(type) && mapping.windowsName.value(type) != other)
                    mapping.conflicts.append(type);
                else
                    mapping.windowsName.insert(type, other);
            }
        }
    }
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    return mapping;
}

const CldrMapping &cldr() {
    static const CldrMapping mapping = readCldr();
    return mapping;
}

// Two zones behave alike when their offsets agree through the seasons.
void expectSameOffsets(const QTimeZone &actual, const QTimeZone &expected, const QString &what) {
    for (const Date date : {utc(2023, 1, 15), utc(2023, 4, 15), utc(2023, 7, 15), utc(2023, 10, 15),
                            utc(2024, 1, 15), utc(2024, 7, 15)}) {
        EXPECT_EQ(actual.offsetFromUtc(date.toDateTime()),
                  expected.offsetFromUtc(date.toDateTime()))
            << what.toStdString() << " on " << date.description().toStdString();
    }
}

}  // namespace

class WindowsZoneNames : public ::testing::Test {
protected:
    static void SetUpTestSuite() { TimeZoneUtilities::installNameTranslation(); }
};

TEST_F(WindowsZoneNames, TheCldrTableIsReadable) {
    EXPECT_GE(cldr().defaultZone.size(), 130);
    EXPECT_GE(cldr().windowsName.size(), 400);
    EXPECT_GE(cldr().displayNames.size(), 130);
    EXPECT_TRUE(cldr().conflicts.isEmpty())
        << cldr().conflicts.join(QLatin1Char(' ')).toStdString();
}

TEST_F(WindowsZoneNames, EveryWindowsNameTranslatesToItsDefaultZone) {
    for (auto entry = cldr().defaultZone.constBegin(); entry != cldr().defaultZone.constEnd();
         ++entry) {
        EXPECT_EQ(TimeZoneUtilities::translateMacWindowsTimeZoneName(entry.key()), entry.value())
            << entry.key().toStdString();
        const std::optional<QTimeZone> found = TimeZones::knownZoneNamed(entry.key());
        ASSERT_TRUE(found) << entry.key().toStdString();
        expectSameOffsets(*found, zone(entry.value().toLatin1().constData()), entry.key());
    }
}

TEST_F(WindowsZoneNames, EveryListedZoneTranslatesToItsWindowsName) {
    for (auto entry = cldr().windowsName.constBegin(); entry != cldr().windowsName.constEnd();
         ++entry) {
        EXPECT_EQ(TimeZoneUtilities::translateMacWindowsTimeZoneName(entry.key()), entry.value())
            << entry.key().toStdString();
    }
}

// Qt carries its own copy of the CLDR mapping: a second source, built
// independently of the table's resource file, that must agree both ways.
TEST_F(WindowsZoneNames, TheTableAgreesWithQtsZoneData) {
    for (auto entry = cldr().defaultZone.constBegin(); entry != cldr().defaultZone.constEnd();
         ++entry) {
        EXPECT_EQ(TimeZoneUtilities::translateMacWindowsTimeZoneName(entry.key()),
                  QString::fromUtf8(QTimeZone::windowsIdToDefaultIanaId(entry.key().toUtf8())))
            << entry.key().toStdString();
    }
    for (const QByteArray &id : QTimeZone::availableTimeZoneIds()) {
        const QByteArray windowsName = QTimeZone::ianaIdToWindowsId(id);
        if (windowsName.isEmpty())
            continue;
        EXPECT_EQ(TimeZoneUtilities::translateMacWindowsTimeZoneName(QString::fromUtf8(id)),
                  QString::fromUtf8(windowsName))
            << id.constData();
    }
}

TEST_F(WindowsZoneNames, CurrentSpellingsOfRenamedZonesFindTheirWindowsName) {
    // The CLDR lists these zones under their older names.
    const std::pair<const char *, const char *> renamed[] = {
        {"Asia/Kolkata", "Asia/Calcutta"},   {"Europe/Kyiv", "Europe/Kiev"},
        {"America/Nuuk", "America/Godthab"}, {"Asia/Kathmandu", "Asia/Katmandu"},
        {"Asia/Yangon", "Asia/Rangoon"},     {"Asia/Ho_Chi_Minh", "Asia/Saigon"},
        {"US/Eastern", "America/New_York"},  {"Etc/Universal", "Etc/UTC"}};
    for (const auto &[current, listed] : renamed) {
        const QString expected = cldr().windowsName.value(QString::fromLatin1(listed));
        ASSERT_FALSE(expected.isEmpty()) << listed;
        EXPECT_EQ(TimeZoneUtilities::translateMacWindowsTimeZoneName(QString::fromLatin1(current)),
                  expected)
            << current;
    }
}

TEST_F(WindowsZoneNames, EveryDisplayNameReadsAsItsZone) {
    for (auto entry = cldr().displayNames.constBegin(); entry != cldr().displayNames.constEnd();
         ++entry) {
        const std::optional<QTimeZone> found = TimeZones::knownZoneNamed(entry.key());
        ASSERT_TRUE(found) << entry.key().toStdString();
        const QString expected = cldr().defaultZone.value(entry.value());
        expectSameOffsets(*found, zone(expected.toLatin1().constData()), entry.key());
    }
}

TEST_F(WindowsZoneNames, OtherSpellingsOfDisplayNamesAreRecognised) {
    const std::pair<const char *, const char *> spellings[] = {
        {"(GMT+01:00) Amsterdam, Berlin, Bern, Rome, Stockholm, Vienna", "Europe/Berlin"},
        {"(GMT+01.00) Amsterdam / Berlin / Bern / Rome / Stockholm / Vienna", "Europe/Berlin"},
        {"\"(UTC+01:00) Vienna, Stockholm, Rome, Bern, Berlin and Amsterdam\"", "Europe/Berlin"},
        {"(utc-05:00) eastern time (us & canada)", "America/New_York"},
        {"(UTC+01:00) Oslo", "Europe/Oslo"},
        {"(GMT+10:00) Canberra, Melbourne, Sydney", "Australia/Sydney"},
        {"(UTC+09:00) Osaka, Sapporo, Tokyo", "Asia/Tokyo"}};
    for (const auto &[name, expected] : spellings) {
        const std::optional<QTimeZone> found = TimeZones::knownZoneNamed(QString::fromUtf8(name));
        ASSERT_TRUE(found) << name;
        expectSameOffsets(*found, zone(expected), QString::fromUtf8(name));
    }
    // A city of the wrong offset does not count.
    EXPECT_FALSE(TimeZoneUtilities::platformNameForForeignName(QStringLiteral("(UTC+05:00) Oslo")));
}

TEST_F(WindowsZoneNames, ShortNamesGainStandardTime) {
    EXPECT_EQ(TimeZoneUtilities::translateMacWindowsTimeZoneName(QStringLiteral("Pacific")),
              QStringLiteral("America/Los_Angeles"));
    EXPECT_EQ(TimeZoneUtilities::translateMacWindowsTimeZoneName(QStringLiteral("Tokyo")),
              QStringLiteral("Asia/Tokyo"));
    EXPECT_FALSE(TimeZoneUtilities::translateMacWindowsTimeZoneName(QStringLiteral("Atlantis")));
    EXPECT_EQ(TimeZoneUtilities::windowsGMTName(), QStringLiteral("Greenwich Standard Time"));
    EXPECT_EQ(
        TimeZoneUtilities::translateMacWindowsTimeZoneName(TimeZoneUtilities::windowsGMTName()),
        QStringLiteral("Atlantic/Reykjavik"));
}

TEST_F(WindowsZoneNames, UnmatchedNamesStayUnknown) {
    LogCapture log;
    EXPECT_FALSE(TimeZones::knownZoneNamed(QStringLiteral("(UTC-05:00) Nowhere Town")));
    const std::optional<QTimeZone> kept =
        TimeZones::zoneNamed(QStringLiteral("(UTC-05:00) Nowhere Town"));
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->id(), QByteArray("(UTC-05:00) Nowhere Town"));
    EXPECT_EQ(kept->offsetFromUtc(utc(2024, 7, 1).toDateTime()), -18000);
    EXPECT_EQ(log.count(QStringLiteral("TimeZones: unknown time zone (UTC-05:00) Nowhere Town")),
              1);
}

TEST_F(WindowsZoneNames, TopTimeZonesAreAllPlatformZones) {
    const QStringList &top = TimeZoneUtilities::topTimeZones();
    EXPECT_GE(top.size(), 20);
    for (const QString &name : top)
        EXPECT_TRUE(QTimeZone(name.toUtf8()).isValid()) << name.toStdString();
    QStringList distinct = top;
    EXPECT_EQ(distinct.removeDuplicates(), 0);
}

TEST_F(WindowsZoneNames, ZonesAreEquivalentWhenTheirOffsetsAgreeOnTheDate) {
    EXPECT_TRUE(TimeZoneUtilities::isEquivalentToTimeZone(zone("Europe/Berlin"),
                                                          zone("Europe/Paris"), utc(2024, 7, 1)));
    EXPECT_TRUE(TimeZoneUtilities::isEquivalentToTimeZone(zone("Europe/London"), zone("UTC"),
                                                          utc(2024, 1, 1)));
    EXPECT_FALSE(TimeZoneUtilities::isEquivalentToTimeZone(zone("Europe/London"), zone("UTC"),
                                                           utc(2024, 7, 1)));
}
