#include <gtest/gtest.h>

#include "model/foundation/BinaryListShortcut.h"
#include "model/foundation/PropertyList.h"

namespace {

using PropertyList::Format;

// Binary lists of strings are read by the shortcut, and to the same value
// libplist reads from the XML form of the list.
TEST(BinaryListShortcut, readsStringsAsTheGeneralReaderDoes) {
    const QString longText = QStringLiteral("a text long enough for a count after the marker ") +
                             QString(300, QLatin1Char('x'));
    const QList<QVariant> values{
        QStringLiteral("plain"),
        QString::fromUtf8("caf\xc3\xa9 \xe2\x82\xac"),
        longText,
        QString(),
        QVariantMap{{QStringLiteral("NSString"), QStringLiteral("Event title")}},
        QVariantMap{{QStringLiteral("a"), QStringLiteral("same")},
                    {QStringLiteral("b"), QStringLiteral("same")},
                    {QString::fromUtf8("\xc3\xbc"), longText}},
        QVariantList{QStringLiteral("home"), QStringLiteral("work"), QString::fromUtf8("\xc3\xa9")},
        QVariantList{},
    };
    for (const QVariant &value : values) {
        SCOPED_TRACE(PropertyList::toData(value, Format::Xml).toStdString());
        const std::optional<QVariant> read =
            BinaryListShortcut::read(PropertyList::toData(value, Format::Binary));
        ASSERT_TRUE(read.has_value());
        EXPECT_EQ(read->metaType(), value.metaType());
        EXPECT_EQ(*read, value);
        EXPECT_EQ(*read, PropertyList::fromData(PropertyList::toData(value, Format::Xml)));
    }
}

// Other values, texts the general reader has to judge, and damaged data
// are left to the general reader.
TEST(BinaryListShortcut, leavesEverythingElseToTheGeneralReader) {
    const QList<QVariant> others{
        qint64(7),
        QVariantMap{{QStringLiteral("NSString"), QStringLiteral("title")},
                    {QStringLiteral("runs"), QVariantList{QVariantMap{}}}},
        QVariantList{QStringLiteral("a"), 1},
        QString::fromUtf8("\xf0\x9f\x93\x85 with a surrogate pair"),
    };
    for (const QVariant &value : others) {
        const QByteArray data = PropertyList::toData(value, Format::Binary);
        EXPECT_FALSE(BinaryListShortcut::read(data).has_value()) << data.toHex().toStdString();
        EXPECT_EQ(PropertyList::fromData(data), value);
    }

    const QByteArray good = PropertyList::toData(
        QVariantList{QStringLiteral("home"), QStringLiteral("work")}, Format::Binary);
    // Cut anywhere, the data no longer has its trailer where it must be.
    for (qsizetype size = 0; size < good.size(); ++size)
        EXPECT_FALSE(BinaryListShortcut::read(good.left(size)).has_value()) << size;
    // An ASCII string with a byte above 0x7F.
    QByteArray high = PropertyList::toData(QStringLiteral("home"), Format::Binary);
    high[9] = char(0xe9);
    EXPECT_FALSE(BinaryListShortcut::read(high).has_value());
    // References and offsets out of range.
    for (qsizetype at = 8; at < good.size(); ++at) {
        QByteArray damaged = good;
        damaged[at] = char(0xff);
        const std::optional<QVariant> read = BinaryListShortcut::read(damaged);
        if (read) {
            // Only a changed letter can still read, as a list of two strings.
            EXPECT_EQ(read->toList().size(), 2) << at;
        }
    }
}

}  // namespace
