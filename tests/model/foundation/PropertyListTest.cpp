#include <gtest/gtest.h>

#include <QPoint>
#include <QUrl>
#include <cmath>
#include <limits>
#include <optional>

#include "model/foundation/Date.h"
#include "model/foundation/PropertyList.h"
#include "model/foundation/PropertyListTesting.h"

namespace {

using PropertyList::Format;
using PropertyListTesting::date;
using PropertyListTesting::readError;
using PropertyListTesting::same;
using PropertyListTesting::uid;

// Every type, at the sizes where the encodings change.
QVariantMap everyType() {
    QVariantList integers;
    for (qint64 n : {qint64(0), qint64(1), qint64(255), qint64(256), qint64(65535), qint64(65536),
                     qint64(4294967295), qint64(4294967296), qint64(-1), qint64(-256),
                     std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max()})
        integers << n;
    integers << quint64(9223372036854775808ULL) << std::numeric_limits<quint64>::max();
    QVariantMap wide;
    for (int i = 0; i < 40; ++i)
        wide.insert(QStringLiteral("key %1").arg(i),
                    i % 3 == 0 ? QVariant(true) : QVariant(qint64(i)));
    QVariantList deep = {QStringLiteral("bottom")};
    for (int i = 0; i < 30; ++i)
        deep = {QVariant(deep), qint64(i)};
    return {
        {QStringLiteral("booleans"), QVariantList{true, false}},
        {QStringLiteral("integers"), integers},
        {QStringLiteral("reals"), QVariantList{0.1, -2.5e-300, 1.7976931348623157e308, -0.0, 3.0}},
        {QStringLiteral("strings"),
         QVariantList{QString(), QStringLiteral("plain"), QString(300, u'x'),
                      QStringLiteral("Zürich – 日本語 – 🎉 – \t\n\r end")}},
        {QStringLiteral("Schlüssel 🎉"), QStringLiteral("unicode key")},
        {QStringLiteral("data"),
         QVariantList{QByteArray(), QByteArray("\0\x01\xff", 3), QByteArray(1000, '\x7f')}},
        {QStringLiteral("dates"), QVariantList{date(0), date(-86400 * 365.0), date(788918400)}},
        {QStringLiteral("uids"), QVariantList{uid(0), uid(255), uid(65536), uid(4294967295)}},
        {QStringLiteral("empty"), QVariantMap{{QStringLiteral("array"), QVariantList()},
                                              {QStringLiteral("dict"), QVariantMap()}}},
        {QStringLiteral("wide"), wide},
        {QStringLiteral("deep"), deep},
    };
}

QVariant roundTrip(const QVariant &value, Format format) {
    return PropertyList::fromData(PropertyList::toData(value, format));
}

std::string writeError(const QVariant &value, Format format) {
    try {
        PropertyList::toData(value, format);
    } catch (const PropertyList::Error &error) {
        return error.what();
    }
    return {};
}

}  // namespace

TEST(PropertyList, EveryTypeRoundTripsInBothFormats) {
    const QVariantMap value = everyType();
    EXPECT_TRUE(same(value, roundTrip(value, Format::Binary)));
    // XML writes -0.0 as 0.0.
    QVariantMap xmlValue = value;
    xmlValue[QStringLiteral("reals")] =
        QVariantList{0.1, -2.5e-300, 1.7976931348623157e308, 0.0, 3.0};
    EXPECT_TRUE(same(xmlValue, roundTrip(value, Format::Xml)));
    // Scalars and empty containers stand alone at the top too.
    for (const QVariant &top :
         {QVariant(QStringLiteral("alone")), QVariant(qint64(-7)), QVariant(true),
          QVariant(QVariantList()), QVariant(QVariantMap()), uid(3), date(12.0),
          QVariant(std::numeric_limits<quint64>::max()), QVariant(QByteArray("\0", 1))}) {
        EXPECT_TRUE(same(top, roundTrip(top, Format::Binary))) << top.typeName();
        EXPECT_TRUE(same(top, roundTrip(top, Format::Xml))) << top.typeName();
    }
    // NaN and the infinities survive as reals.
    const QVariantList odd = {std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::infinity(),
                              -std::numeric_limits<double>::infinity()};
    EXPECT_TRUE(same(odd, roundTrip(odd, Format::Binary)));
    EXPECT_TRUE(same(odd, roundTrip(odd, Format::Xml)));
}

TEST(PropertyList, BinaryListsOfManyAndLongValuesReadBack) {
    // Counts of 15 and more, references and offsets wider than a byte, text
    // beyond ASCII and beyond the Basic Multilingual Plane.
    QVariantList many;
    for (int i = 0; i < 70000; ++i)
        many.append(qint64(i) * 977);
    QVariantMap value{{QStringLiteral("many"), many},
                      {QStringLiteral("long text"), QString(300, u'x')},
                      {QStringLiteral("wide text"), QStringLiteral("Grüße aus Köln 😀 — 日本語")},
                      {QStringLiteral("data"), QByteArray(70000, '\x7f')},
                      {QStringLiteral("fifteen"), QVariantList(15, QVariant(true))}};
    EXPECT_TRUE(same(value, roundTrip(value, Format::Binary)));
    // An equal value is written once, however often it occurs.
    const QVariantList repeated(1000, QVariant(QStringLiteral("the same long text, again")));
    const QByteArray written = PropertyList::toData(repeated, Format::Binary);
    EXPECT_EQ(written.count("the same long text, again"), 1);
    EXPECT_TRUE(same(repeated, PropertyList::fromData(written)));
}

TEST(PropertyList, TellsLargeUnsignedIntegersFromNegativeOnes) {
    // Both are the same 64 bits; the lists keep which one was written.
    const QVariantList integers = {qint64(-1), std::numeric_limits<quint64>::max(),
                                   std::numeric_limits<qint64>::min(),
                                   quint64(9223372036854775808ULL)};
    for (Format format : {Format::Binary, Format::Xml})
        EXPECT_TRUE(same(integers, roundTrip(integers, format)));
    const QByteArray xml = PropertyList::toData(integers, Format::Xml);
    EXPECT_TRUE(xml.contains("<integer>-1</integer>")) << xml.toStdString();
    EXPECT_TRUE(xml.contains("<integer>18446744073709551615</integer>")) << xml.toStdString();
    EXPECT_TRUE(xml.contains("<integer>9223372036854775808</integer>")) << xml.toStdString();
    EXPECT_EQ(PropertyList::kindOf(quint64(1) << 63), PropertyList::Kind::UnsignedInteger);
    EXPECT_EQ(PropertyList::kindOf(quint64(5)), PropertyList::Kind::Integer);
}

TEST(PropertyList, WritesOtherQtTypesAsTheirPropertyListKind) {
    const QDateTime time(QDate(2001, 1, 2), QTime(0, 0, 1, 500), Qt::UTC);
    const QVariantMap value = {
        {QStringLiteral("int"), 5},
        {QStringLiteral("uint"), 7u},
        {QStringLiteral("float"), 0.5f},
        {QStringLiteral("list"), QStringList{QStringLiteral("a"), QStringLiteral("b")}},
        {QStringLiteral("hash"), QVariantHash{{QStringLiteral("k"), QStringLiteral("v")}}},
        {QStringLiteral("time"), time},
    };
    const QVariantMap expected = {
        {QStringLiteral("int"), qint64(5)},
        {QStringLiteral("uint"), qint64(7)},
        {QStringLiteral("float"), 0.5},
        {QStringLiteral("list"), QVariantList{QStringLiteral("a"), QStringLiteral("b")}},
        {QStringLiteral("hash"), QVariantMap{{QStringLiteral("k"), QStringLiteral("v")}}},
        {QStringLiteral("time"), date(86401.5)},
    };
    EXPECT_TRUE(same(expected, roundTrip(value, Format::Binary)));
}

namespace {
// The ends of the range of dates: 1932-12-13T20:45:52Z and the last
// microsecond before 2069-01-19T03:14:08Z.
constexpr double kEarliestDate = -2147483648.0;
constexpr double kLatestDate = 2147483647.999999;
}  // namespace

TEST(PropertyList, BinaryDatesKeepMicrosecondsAndSign) {
    // Before 2001 with a fraction, within a second of the reference date on
    // both sides, and the ends of the range.
    const QVariantList dates = {date(-4.75),      date(-0.25),          date(0.25),
                                date(-1e9 - 0.5), date(1e9 + 0.123456), date(kEarliestDate),
                                date(kLatestDate)};
    EXPECT_TRUE(same(dates, roundTrip(dates, Format::Binary)));
    // A microsecond before 2001 is the second before and 999,999 microseconds.
    const double justBefore =
        roundTrip(date(-1e-6), Format::Binary).value<Date>().secondsSinceReference();
    EXPECT_NEAR(justBefore, -1e-6, 1e-12);
    // Dates round to the microsecond.
    EXPECT_TRUE(same(QVariantList{date(-0.25), date(1.0)},
                     roundTrip(QVariantList{date(-0.2500004), date(0.9999996)}, Format::Binary)));
}

TEST(PropertyList, XmlDatesCarryTheWholeSecondTheyFallIn) {
    const QByteArray xml = PropertyList::toData(QVariantList{date(-4.75), date(0.25)}, Format::Xml);
    EXPECT_TRUE(xml.contains("<date>2000-12-31T23:59:55Z</date>")) << xml.toStdString();
    EXPECT_TRUE(xml.contains("<date>2001-01-01T00:00:00Z</date>")) << xml.toStdString();
    EXPECT_TRUE(same(QVariantList{date(-5), date(0)}, PropertyList::fromData(xml)));
    const QByteArray ends =
        PropertyList::toData(QVariantList{date(kEarliestDate), date(kLatestDate)}, Format::Xml);
    EXPECT_TRUE(ends.contains("<date>1932-12-13T20:45:52Z</date>")) << ends.toStdString();
    EXPECT_TRUE(ends.contains("<date>2069-01-19T03:14:07Z</date>")) << ends.toStdString();
    EXPECT_TRUE(
        same(QVariantList{date(kEarliestDate), date(2147483647.0)}, PropertyList::fromData(ends)));
    EXPECT_TRUE(xml.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>"));
}

TEST(PropertyList, DatesOutsideTheRangeAreRefusedBothWays) {
    for (Format format : {Format::Binary, Format::Xml}) {
        for (double seconds :
             {kEarliestDate - 1e-6, 2147483647.9999996, 63113904000.0, -63113904000.5}) {
            const std::string error = writeError(date(seconds), format);
            EXPECT_NE(error.find("is outside the range a property list can hold"),
                      std::string::npos)
                << error;
        }
    }
    // (The last microsecond rounds up to the next second.)
    EXPECT_EQ(writeError(date(2147483647.9999996), Format::Binary),
              "the date 2069-01-19T03:14:08.000Z is outside the range a property list can "
              "hold (1932-12-13T20:45:52.000Z to 2069-01-19T03:14:07.000Z)");
    // Lists holding such dates, as other writers make them, are refused too.
    for (const char *xml :
         {"<date>1900-01-01T00:00:00Z</date>", "<date>2100-01-01T00:00:00Z</date>"})
        EXPECT_NE(readError(xml).find("is outside the range"), std::string::npos) << xml;
}

TEST(PropertyList, ReadsBinaryListsOfAnotherWriter) {
    // Written by an independent implementation: sorted keys, shared
    // objects, a 16-byte integer, UTF-16 text, a date 4.75 s before 2001.
    const QByteArray data = QByteArray::fromHex(
        "62706c6973743030d90102030405060708090a0b0e0f10151f202155617363696954626f6f6c54646174615464"
        "61746555656d70747954696e7473547265616c5474657874537569645f10147878787878787878787878787878"
        "787878787878a20c0d0908430001ff33c013000000000000d2111213145464696374546c697374d0a0a9161718"
        "191a1b1c1d1e100010ff110100120001000013000000010000000013ffffffffffffffff138000000000000000"
        "137fffffffffffffff140000000000000000ffffffffffffffff233fe00000000000006c005a00fc0072006900"
        "630068002065e5672c0020d83cdf8981012c081b21262b30363b404549606364656972777c8182838d8f919499"
        "a2abb4bdced7f000000000000001010000000000000022000000000000000000000000000000f3");
    const QVariantMap expected = {
        {QStringLiteral("ascii"), QString(20, u'x')},
        {QStringLiteral("bool"), QVariantList{true, false}},
        {QStringLiteral("data"), QByteArray("\0\x01\xff", 3)},
        {QStringLiteral("date"), date(-4.75)},
        {QStringLiteral("empty"), QVariantMap{{QStringLiteral("dict"), QVariantMap()},
                                              {QStringLiteral("list"), QVariantList()}}},
        {QStringLiteral("ints"),
         QVariantList{qint64(0), qint64(255), qint64(256), qint64(65536), qint64(4294967296),
                      qint64(-1), std::numeric_limits<qint64>::min(),
                      std::numeric_limits<qint64>::max(), std::numeric_limits<quint64>::max()}},
        {QStringLiteral("real"), 0.5},
        {QStringLiteral("text"), QStringLiteral("Zürich 日本 🎉")},
        {QStringLiteral("uid"), uid(300)},
    };
    EXPECT_TRUE(same(expected, PropertyList::fromData(data)));
}

TEST(PropertyList, ReadsXmlListsAsPeopleWriteThem) {
    const QByteArray xml = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Example//DTD PLIST 1.0//EN" "http://example.com/PropertyList-1.0.dtd">
<!-- a comment -->
<plist version="1.0">
<dict>
	<key>hex</key><integer>0x1F</integer>
	<key>negative</key><integer>-9223372036854775808</integer>
	<key>big</key><integer>18446744073709551615</integer>
	<key>infinity</key><real>+infinity</real>
	<key>fraction</key><date>2001-01-01T00:00:01.5Z</date>
	<key>archived</key><dict><key>CF$UID</key><integer>12</integer></dict>
	<key>data</key><data>
	AAH/
	</data>
	<key>escaped</key><string>&lt;a &amp; b&gt; &#x1F389;&#13;</string>
	<key>empty</key><string/>
	<key>yes</key><true/>
</dict>
</plist>
)";
    const QVariantMap expected = {
        {QStringLiteral("hex"), qint64(31)},
        {QStringLiteral("negative"), std::numeric_limits<qint64>::min()},
        {QStringLiteral("big"), std::numeric_limits<quint64>::max()},
        {QStringLiteral("infinity"), std::numeric_limits<double>::infinity()},
        {QStringLiteral("fraction"), date(1)},
        {QStringLiteral("archived"), uid(12)},
        {QStringLiteral("data"), QByteArray("\0\x01\xff", 3)},
        {QStringLiteral("escaped"), QStringLiteral("<a & b> 🎉\r")},
        {QStringLiteral("empty"), QString()},
        {QStringLiteral("yes"), true},
    };
    EXPECT_TRUE(same(expected, PropertyList::fromData(xml)));
    // A bare value without <plist> is a list too.
    EXPECT_TRUE(same(QVariant(qint64(4)), PropertyList::fromData("<integer>4</integer>")));
    EXPECT_EQ(readError("<dict><key>CF$UID</key><integer>4294967296</integer></dict>"),
              "a property list cannot hold the UID 4294967296, which does not fit in 32 bits");
    // Only XML writes UIDs as dictionaries; binary dictionaries stay what they are.
    const QVariantMap archived = {{QStringLiteral("CF$UID"), qint64(12)}};
    EXPECT_TRUE(same(archived, roundTrip(archived, Format::Binary)));
}

TEST(PropertyList, AOneStringDictionaryIsWrittenAsTheGeneralWriterWritesIt) {
    // Short and long counts, text equal to its key (written once), text
    // beyond ASCII, and lists long enough for two- and four-byte offsets.
    const QString key = QStringLiteral("string");
    for (const QString &text :
         {QString(), QStringLiteral("string"), QStringLiteral("x"), QString(14, u'a'),
          QString(15, u'b'), QString(300, u'c'), QString(70000, u'd'),
          QStringLiteral("Zürich – 日本語 – 🎉"), QStringLiteral("\t\n\r\a end")}) {
        const QByteArray straight = PropertyList::binaryDataOfStringEntry(key, text);
        EXPECT_EQ(straight, PropertyList::toData(QVariantMap{{key, text}})) << text.toStdString();
        EXPECT_TRUE(same(QVariantMap{{key, text}}, PropertyList::fromData(straight)));
    }
    const QString wideKey = QStringLiteral("Schlüssel 🎉");
    EXPECT_EQ(PropertyList::binaryDataOfStringEntry(wideKey, wideKey),
              PropertyList::toData(QVariantMap{{wideKey, wideKey}}));
    // What a list cannot hold is refused as toData() refuses it.
    for (const auto &[entryKey, text] :
         {std::pair{key, QStringLiteral("a%1b").arg(QChar(0))},
          std::pair{QString(QChar(0xDC00)), QStringLiteral("fine")}}) {
        std::string error;
        try {
            PropertyList::binaryDataOfStringEntry(entryKey, text);
        } catch (const PropertyList::Error &e) {
            error = e.what();
        }
        EXPECT_FALSE(error.empty());
        EXPECT_EQ(error, writeError(QVariantMap{{entryKey, text}}, Format::Binary));
    }
}

TEST(PropertyList, RefusesValuesAListCannotHold) {
    for (Format format : {Format::Binary, Format::Xml}) {
        EXPECT_EQ(writeError(QVariant(), format), "a property list cannot hold no value");
        EXPECT_NE(writeError(QVariantList{1, QPoint(1, 2)}, format).find("QPoint"),
                  std::string::npos);
        EXPECT_NE(writeError(QVariantMap{{QStringLiteral("u"), QUrl()}}, format).find("QUrl"),
                  std::string::npos);
        EXPECT_EQ(writeError(QDateTime(), format), "a property list cannot hold an invalid date");
        for (double notFinite : {std::nan(""), std::numeric_limits<double>::infinity()}) {
            EXPECT_EQ(writeError(date(notFinite), format),
                      "a property list cannot hold a date that is not finite");
        }
        QVariant tooDeep = QVariantList();
        for (int i = 0; i < PropertyList::kMaximumDepth; ++i)
            tooDeep = QVariantList{tooDeep};
        EXPECT_EQ(writeError(tooDeep, format), "property list is nested too deeply");
        // Neither format holds U+0000 or a lone surrogate, in values or keys.
        EXPECT_EQ(writeError(QStringLiteral("a%1b").arg(QChar(0)), format),
                  "a property list cannot hold a string with the character U+0000");
        EXPECT_EQ(writeError(QVariantMap{{QString(QChar(0)), 1}}, format),
                  "a property list cannot hold a string with the character U+0000");
        EXPECT_EQ(writeError(QVariantMap{{QString(QChar(0xDC00)) + u'x', 1}}, format),
                  "a property list cannot hold a string with the character U+DC00");
        EXPECT_EQ(writeError(QVariantList{QString(QChar(0xD800))}, format),
                  "a property list cannot hold a string with the character U+D800");
        EXPECT_EQ(writeError(uid(quint64(1) << 32), format),
                  "a property list cannot hold the UID 4294967296, which does not fit in 32 bits");
    }
    // XML cannot carry every character; binary can.
    for (char16_t c : {u'\a', u'\x1f', u'\xfffe'}) {
        const QVariantList control = {QStringLiteral("x") + QChar(c)};
        EXPECT_NE(writeError(control, Format::Xml)
                      .find("an XML property list cannot hold a string with the character U+"),
                  std::string::npos);
        EXPECT_TRUE(same(control, roundTrip(control, Format::Binary)));
    }
    EXPECT_EQ(writeError(QVariantMap{{QStringLiteral("bell \a"), 1}}, Format::Xml),
              "an XML property list cannot hold a string with the character U+0007");
}

TEST(PropertyList, NestingUpToTheLimitIsFine) {
    // The deepest container holds a key and a value.
    QVariant deepest = QVariantMap{{QStringLiteral("key"), true}};
    for (int i = 1; i < PropertyList::kMaximumDepth; ++i)
        deepest = QVariantList{deepest};
    for (Format format : {Format::Binary, Format::Xml})
        EXPECT_TRUE(same(deepest, roundTrip(deepest, format)));
}
