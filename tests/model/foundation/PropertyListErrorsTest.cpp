#include <gtest/gtest.h>

#include <QByteArray>
#include <optional>

#include "model/foundation/PropertyList.h"
#include "model/foundation/PropertyListTesting.h"

// Damaged and hostile property lists: every one is refused with a clear error.

namespace {

using PropertyList::Format;
using PropertyListTesting::date;
using PropertyListTesting::readError;
using PropertyListTesting::same;
using PropertyListTesting::uid;

// A binary list of hand-made objects (each a complete encoding, with
// references of refSize bytes), whose trailer a test may damage.
struct BinaryList {
    explicit BinaryList(QList<QByteArray> objects) : objects(std::move(objects)) {}

    QList<QByteArray> objects;
    QByteArray header = "bplist00";
    int offsetSize = 1;
    int refSize = 1;
    quint64 top = 0;
    std::optional<quint64> count = std::nullopt;        // the number of objects unless set
    std::optional<quint64> tableOffset = std::nullopt;  // where the table is unless set

    QByteArray bytes() const {
        QByteArray out = header;
        QList<quint64> offsets;
        for (const QByteArray &object : objects) {
            offsets << quint64(out.size());
            out += object;
        }
        const quint64 table = quint64(out.size());
        for (quint64 offset : offsets)
            appendNumber(out, offset, offsetSize);
        out += QByteArray(6, '\0');
        out += char(offsetSize);
        out += char(refSize);
        appendNumber(out, count.value_or(quint64(objects.size())), 8);
        appendNumber(out, top, 8);
        appendNumber(out, tableOffset.value_or(table), 8);
        return out;
    }

    static void appendNumber(QByteArray &out, quint64 value, int size) {
        for (int i = size - 1; i >= 0; --i)
            out += char(i < 8 ? (value >> (8 * i)) & 0xFF : 0);
    }
};

// The objects of a chain of `length` arrays, each holding the next one
// `fanOut` times, ending in `true`.
QList<QByteArray> chainOfArrays(int length, int fanOut) {
    QList<QByteArray> objects;
    for (int i = 0; i < length; ++i) {
        QByteArray array(1, char(0xA0 | fanOut));
        for (int j = 0; j < fanOut; ++j)
            BinaryList::appendNumber(array, quint64(i + 1), 2);
        objects << array;
    }
    return objects << QByteArray::fromHex("09");
}

// Every type once, small enough to try every prefix and every damaged byte of.
QVariantMap compactValue() {
    return {{QStringLiteral("b"), true},
            {QStringLiteral("i"), QVariantList{qint64(-1), qint64(70000), quint64(1ULL << 63)}},
            {QStringLiteral("r"), 2.5},
            {QStringLiteral("s"), QVariantList{QStringLiteral("ascii"), QStringLiteral("日本 🎉")}},
            {QStringLiteral("long string over fifteen"), QByteArray("\0\x01", 2)},
            {QStringLiteral("d"), date(-4.75)},
            {QStringLiteral("u"), uid(9)},
            {QStringLiteral("e"), QVariantMap{{QStringLiteral("a"), QVariantList()}}}};
}

}  // namespace

TEST(PropertyListErrors, DamagedBinaryTrailersAreRefused) {
    const QByteArray one = QByteArray::fromHex("09");
    const auto broken = [&](auto damage) {
        BinaryList list({one});
        damage(list);
        return readError(list.bytes());
    };
    EXPECT_EQ(broken([](BinaryList &) {}), "");
    EXPECT_EQ(readError("bplist00"), "binary property list is too short");
    // Another version is no binary list, and so not XML either.
    EXPECT_EQ(broken([](BinaryList &l) { l.header = "bplist17"; }),
              "XML property list holds a NUL byte");
    EXPECT_EQ(broken([&](BinaryList &l) {
                  l.objects << one;
                  l.offsetSize = 0;
              }),
              "binary property list has offsets of 0 bytes and references of 1 bytes");
    EXPECT_EQ(broken([](BinaryList &l) { l.refSize = 9; }),
              "binary property list has offsets of 1 bytes and references of 9 bytes");
    EXPECT_EQ(broken([](BinaryList &l) { l.count = 0; }), "binary property list holds no objects");
    EXPECT_EQ(broken([](BinaryList &l) { l.top = 5; }),
              "binary property list names object 5 of 1 as its top object");
    // A table before the objects, over the trailer, or past the end, up to
    // offsets and counts that overflow.
    for (quint64 offset : {quint64(0), quint64(7), quint64(11), quint64(1000), ~quint64(0)}) {
        EXPECT_NE(broken([&](BinaryList &l) { l.tableOffset = offset; }).find("offset table"),
                  std::string::npos)
            << offset;
    }
    for (quint64 count : {quint64(2), quint64(1) << 62, ~quint64(0)}) {
        EXPECT_NE(broken([&](BinaryList &l) { l.count = count; }).find("does not fit"),
                  std::string::npos)
            << count;
    }
    // An object offset that points into the table itself.
    EXPECT_EQ(readError("bplist00" +
                        QByteArray::fromHex("0909000000000000"
                                            "0101") +
                        QByteArray::fromHex("0000000000000001") + QByteArray(8, '\0') +
                        QByteArray::fromHex("0000000000000009")),
              "binary property list object 0 lies at 9, outside the objects");
}

TEST(PropertyListErrors, DamagedBinaryObjectsAreRefused) {
    const auto error = [](QList<QByteArray> objects, int refSize = 1) {
        BinaryList list(objects);
        list.refSize = refSize;
        list.offsetSize = refSize + 1;
        return readError(list.bytes());
    };
    const auto hex = [](const char *text) { return QByteArray::fromHex(text); };
    EXPECT_EQ(error({hex("a105")}), "binary property list refers to object 5 of 1");
    EXPECT_EQ(error({hex("a100")}), "binary property list has a cycle through object 0");
    EXPECT_EQ(error({hex("a101"), hex("a100")}),
              "binary property list has a cycle through object 0");
    EXPECT_EQ(error(chainOfArrays(PropertyList::kMaximumDepth + 1, 1), 2),
              "binary property list is nested too deeply");
    EXPECT_EQ(error(chainOfArrays(PropertyList::kMaximumDepth, 1), 2), "");
    // Lengths past the end, given directly or as a following integer.
    for (const char *object : {"5f10ff616263", "af137fffffffffffffff00", "4f1008", "6f1002000041",
                               "df13400000000000000001"}) {
        EXPECT_EQ(error({hex(object)}),
                  "binary property list object 0 runs past the end of the objects")
            << object;
    }
    for (const char *object : {"5f55", "5f1300", "5f", "5f1400000000000000000000000000000001"}) {
        EXPECT_EQ(error({hex(object)}), "binary property list object 0 has a malformed length")
            << object;
    }
    // What libplist would cut short, or assert on in a key.
    for (const QList<QByteArray> &objects :
         QList<QList<QByteArray>>{{hex("53610062")},
                                  {hex("6200410000")},
                                  {hex("d10102"), hex("6200410000"), hex("09")}}) {
        EXPECT_NE(error(objects).find("holds the character U+0000"), std::string::npos)
            << objects.first().toHex().data();
    }
    // UIDs beyond 32 bits, which libplist could not write back.
    for (const char *object : {"840100000000", "870000000100000000"})
        EXPECT_NE(error({hex(object)}), "") << object;
    EXPECT_TRUE(
        same(uid(4294967295), PropertyList::fromData(BinaryList({hex("83ffffffff")}).bytes())));
    // What libplist itself refuses: unknown types, keys that are not strings,
    // integers and reals of odd sizes.
    for (const QByteArray &object :
         {hex("7161"), hex("15") + QByteArray(32, '\0'), hex("2000"), hex("2500")}) {
        EXPECT_EQ(error({object}), "binary property list is damaged") << object.toHex().data();
    }
    EXPECT_EQ(error({hex("d10102"), hex("1001"), hex("1002")}), "binary property list is damaged");
    // Dates that are not finite or lie outside the range.
    for (const char *object : {"337ff8000000000000", "3342029a7f5e800000", "33c2029a7f5e800000"}) {
        EXPECT_NE(error({hex(object)}).find("is outside the range a property list can hold"),
                  std::string::npos)
            << object;
    }
    // A shared object is fine: one string under three keys, one array thrice.
    const QVariant shared =
        PropertyList::fromData(BinaryList({hex("d3010203040404"), hex("5131"), hex("5132"),
                                           hex("5133"), hex("a20505"), hex("09")})
                                   .bytes());
    const QVariantList pair = {true, true};
    EXPECT_TRUE(same(
        QVariantMap{
            {QStringLiteral("1"), pair}, {QStringLiteral("2"), pair}, {QStringLiteral("3"), pair}},
        shared));
}

TEST(PropertyListErrors, SharedObjectsDoNotExplode) {
    // Arrays holding the next one twice, 60 deep: 2^60 values once expanded.
    EXPECT_EQ(readError([] {
                  BinaryList list(chainOfArrays(60, 2));
                  list.refSize = 2;
                  list.offsetSize = 2;
                  return list.bytes();
              }()),
              "binary property list expands too much through shared objects");
    // One string of 4 KiB, 8,000 times in one array: 33 MB read from 20 KB.
    const auto stringTimes = [](int times) {
        QByteArray array = QByteArray::fromHex("af11") + QByteArray(2, '\0');
        array[2] = char(times >> 8);
        array[3] = char(times & 0xFF);
        for (int i = 0; i < times; ++i)
            BinaryList::appendNumber(array, 1, 2);
        BinaryList list({array, QByteArray::fromHex("5f111000") + QByteArray(4096, 'x')});
        list.refSize = 2;
        list.offsetSize = 2;
        return list.bytes();
    };
    EXPECT_EQ(readError(stringTimes(8000)),
              "binary property list expands too much through shared objects");
    // Within bounds, sharing is what writers do.
    const QVariantList strings = PropertyList::fromData(stringTimes(800)).toList();
    ASSERT_EQ(strings.size(), 800);
    EXPECT_EQ(strings.last(), QString(4096, u'x'));
}

TEST(PropertyListErrors, MalformedXmlIsRefused) {
    const auto error = [](const char *xml) { return readError(QByteArray(xml)); };
    EXPECT_EQ(readError(QByteArray()), "property list is empty");
    for (const char *xml :
         {"<plist><string>open</plist>", "<?xml version=\"1.0\"?>", "<plist><string>a<b/></plist>",
          "<plist><true/></plist><false/>", "<string>a&#0;b</string>", "<string>a&#1;b</string>",
          "<string>\x01</string>", "<string>a & b</string>", "<string>\xff\xfe</string>"}) {
        EXPECT_NE(error(xml).find("is not well formed"), std::string::npos) << xml;
    }
    EXPECT_EQ(error("<plist>\n\n<string>a&b;</string></plist>"),
              "XML property list is not well formed: Entity 'b' not declared. (line 3)");
    EXPECT_EQ(error("<plist></plist>"), "XML property list holds no value that libplist can read");
    // A NUL byte is not XML, whether in a key or as UTF-16 text.
    EXPECT_EQ(readError(QByteArray("<plist><dict><key>a\0b</key><true/></dict></plist>", 49)),
              "XML property list holds a NUL byte");
    const QString text = QStringLiteral("<string>a</string>");
    EXPECT_EQ(readError(QByteArray(reinterpret_cast<const char *>(text.utf16()), text.size() * 2)),
              "XML property list holds a NUL byte");
    EXPECT_EQ(error("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><string>\xe9</string>"),
              "XML property list is in the encoding ISO-8859-1, not UTF-8");
    EXPECT_TRUE(same(QVariant(QStringLiteral("é")),
                     PropertyList::fromData("<?xml version=\"1.0\" encoding=\"utf-8\"?>"
                                            "<string>\xc3\xa9</string>")));
    // Nesting is bounded as in binary lists, inside <plist> or bare.
    for (const QByteArray &plist : {QByteArray("<plist>"), QByteArray()}) {
        const int depth = PropertyList::kMaximumDepth + 1;
        const QByteArray deep = plist + QByteArray("<array>").repeated(depth) +
                                QByteArray("</array>").repeated(depth) +
                                (plist.isEmpty() ? "" : "</plist>");
        EXPECT_NE(readError(deep).find("is nested too deeply"), std::string::npos);
    }
    // libplist never sees deeper XML than that.
    EXPECT_EQ(readError(QByteArray("<plist>") + QByteArray("<array>").repeated(100000)),
              "XML property list is nested too deeply (line 1)");
}

TEST(PropertyListErrors, XmlEntitiesNeitherExplodeNorReadFiles) {
    QByteArray bomb = "<?xml version=\"1.0\"?><!DOCTYPE plist [<!ENTITY a0 \"laugh\">";
    for (int i = 1; i < 12; ++i)
        bomb += QStringLiteral("<!ENTITY a%1 \"%2\">")
                    .arg(i)
                    .arg(QStringLiteral("&a%1;").arg(i - 1).repeated(10))
                    .toUtf8();
    bomb += "]><plist><string>&a11;</string></plist>";
    EXPECT_EQ(readError(bomb), "XML property list declares entities (line 1)");
    EXPECT_EQ(readError("<?xml version=\"1.0\"?>\n<!DOCTYPE plist [<!ENTITY x SYSTEM "
                        "\"file:///etc/passwd\">]>\n<plist><string>[&x;]</string></plist>"),
              "XML property list declares entities (line 2)");
    // A document type without entities is fine.
    EXPECT_TRUE(same(QVariant(true),
                     PropertyList::fromData("<!DOCTYPE plist [<!ELEMENT plist ANY>]><plist><true/>"
                                            "</plist>")));
}

TEST(PropertyListErrors, EveryTruncationIsAnError) {
    for (Format format : {Format::Binary, Format::Xml}) {
        // (XML ends in a line feed that the list can do without.)
        const QByteArray data = PropertyList::toData(compactValue(), format).trimmed();
        for (qsizetype size = 1; size < data.size(); ++size) {
            QString error;
            EXPECT_FALSE(PropertyList::fromData(data.left(size), &error).isValid()) << size;
            EXPECT_FALSE(error.isEmpty());
        }
    }
}

TEST(PropertyListErrors, DamagedBytesGiveAValueOrAnError) {
    for (Format format : {Format::Binary, Format::Xml}) {
        const QByteArray data = PropertyList::toData(compactValue(), format);
        int errors = 0;
        for (qsizetype i = 0; i < data.size(); ++i) {
            for (int change : {0x00, 0xFF, data[i] ^ 0x01, data[i] ^ 0x80, data[i] ^ 0x10}) {
                QByteArray damaged = data;
                damaged[i] = char(change);
                QString error;
                const QVariant value = PropertyList::fromData(damaged, &error);
                EXPECT_NE(value.isValid(), !error.isEmpty()) << i << " " << change;
                errors += error.isEmpty() ? 0 : 1;
            }
        }
        EXPECT_GT(errors, data.size());  // the checks do catch damage
    }
}
