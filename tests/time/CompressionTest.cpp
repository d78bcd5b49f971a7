#include <gtest/gtest.h>

#include <zlib.h>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtEndian>

#include "support/TestSupport.h"
#include "time/Compression.h"

namespace {

QByteArray sampleText() {
    QByteArray text;
    for (int i = 0; i < 2000; ++i)
        text += "BEGIN:VEVENT\r\nUID:" + QByteArray::number(i) + "\r\nEND:VEVENT\r\n";
    return text;
}

QByteArray noise(int size) {
    QByteArray bytes(size, '\0');
    QRandomGenerator generator(42);
    for (char &byte : bytes)
        byte = char(generator.bounded(256));
    return bytes;
}

}  // namespace

TEST(Compression, RoundTripsAtEveryLevelWithTheLengthHeader) {
    const QByteArray text = sampleText();
    for (int level : {-5, -1, 0, 1, 6, 9, 42}) {
        const std::optional<QByteArray> packed =
            Compression::compressedDataWithLevel(text, level, 0);
        ASSERT_TRUE(packed) << level;
        EXPECT_EQ(qFromBigEndian<quint32>(packed->constData()), quint32(text.size()));
        EXPECT_EQ(Compression::uncompressedData(*packed), text) << level;
    }
    // Levels below -1 count as 0: stored, not smaller than the text.
    EXPECT_GT(Compression::compressedDataWithLevel(text, -7, 0)->size(), text.size());
    EXPECT_LT(Compression::compressedData(text)->size(), text.size() / 10);
    for (const QByteArray &data : {QByteArray(), QByteArray("x"), noise(70000)})
        EXPECT_EQ(Compression::uncompressedData(*Compression::compressedData(data)), data);
}

TEST(Compression, ReservedHeaderBytesPrecedeTheLengthAndAreLeftForTheCaller) {
    const QByteArray text = sampleText();
    QByteArray packed = *Compression::compressedDataWithLevel(text, 9, 3);
    EXPECT_EQ(packed.left(3), QByteArray(3, '\0'));
    EXPECT_EQ(qFromBigEndian<quint32>(packed.constData() + 3), quint32(text.size()));
    packed.replace(0, 3, "PKT");
    // The reader expects no reserved bytes: the caller strips its own.
    EXPECT_FALSE(Compression::uncompressedData(packed));
    EXPECT_EQ(Compression::uncompressedData(packed.mid(3)), text);
}

TEST(Compression, TruncatedOrGarbledInputGivesNoValue) {
    LogCapture log;
    const QByteArray packed = *Compression::compressedData(sampleText());
    for (int size : {0, 1, 4})
        EXPECT_FALSE(Compression::uncompressedData(packed.left(size))) << size;
    EXPECT_FALSE(Compression::uncompressedData(packed.left(packed.size() / 2)));
    EXPECT_FALSE(Compression::uncompressedData(QByteArray(4, '\0') + noise(200)));

    QByteArray garbled = packed;
    garbled[garbled.size() / 2] = char(garbled[garbled.size() / 2] ^ 0x5a);
    EXPECT_FALSE(Compression::uncompressedData(garbled));

    // A header that claims more or less than the stream holds.
    QByteArray longer = packed;
    qToBigEndian(quint32(sampleText().size() + 1), longer.data());
    EXPECT_FALSE(Compression::uncompressedData(longer));
    QByteArray shorter = packed;
    qToBigEndian(quint32(sampleText().size() - 1), shorter.data());
    EXPECT_FALSE(Compression::uncompressedData(shorter));
    // A length no stream of this size can hold is refused before allocating.
    QByteArray huge = packed.left(20);
    qToBigEndian(quint32(0xFFFFFFF0), huge.data());
    EXPECT_FALSE(Compression::uncompressedData(huge));
    EXPECT_TRUE(log.contains(QStringLiteral("Compression: ")));
}

TEST(Compression, InPlaceFormsReplaceTheBufferOnlyOnSuccess) {
    const QByteArray text = sampleText();
    QByteArray buffer = text;
    ASSERT_TRUE(Compression::compress(buffer));
    EXPECT_NE(buffer, text);
    ASSERT_TRUE(Compression::uncompress(buffer));
    EXPECT_EQ(buffer, text);

    LogCapture log;
    QByteArray garbage("\x00\x00\x00\x10garbage!", 12);
    const QByteArray before = garbage;
    EXPECT_FALSE(Compression::uncompress(garbage));
    EXPECT_EQ(garbage, before);
}

TEST(Compression, FilesAreCompressedAtLevelNineAndWrittenBackWhole) {
    QTemporaryDir dir;
    const QString source = dir.filePath(QStringLiteral("source.ics"));
    QFile file(source);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(sampleText());
    file.close();

    const std::optional<QByteArray> packed = Compression::compressedDataWithFile(source);
    ASSERT_TRUE(packed);
    EXPECT_EQ(*packed, *Compression::compressedDataWithLevel(sampleText(), 9, 0));

    const QString target = dir.filePath(QStringLiteral("restored.ics"));
    ASSERT_TRUE(Compression::writeUncompressedDataToFile(*packed, target));
    QFile restored(target);
    ASSERT_TRUE(restored.open(QIODevice::ReadOnly));
    EXPECT_EQ(restored.readAll(), sampleText());

    LogCapture log;
    EXPECT_FALSE(Compression::compressedDataWithFile(dir.filePath(QStringLiteral("missing"))));
    EXPECT_FALSE(Compression::writeUncompressedDataToFile(packed->left(10), target));
    restored.seek(0);
    EXPECT_EQ(restored.readAll(), sampleText());  // untouched by the failed write
}
