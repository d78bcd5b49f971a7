#include <gtest/gtest.h>

#include <QSet>
#include <QtConcurrent>
#include <algorithm>

#include "QtPrinters.h"
#include "model/util/Colors.h"

namespace {

TEST(Colors, ValuesRoundTripThroughColoursForEveryByte) {
    for (int byte = 0; byte <= 255; ++byte) {
        const int value = byte << 16 | (255 - byte) << 8 | (byte * 7 % 256);
        EXPECT_EQ(colorValueFromColor(colorFromColorValue(value)), value) << byte;
    }
    EXPECT_EQ(colorFromColorValue(0xFF8000), (RGBColor{1.0, 128 / 255.0, 0.0, 1.0}));
    // Components are truncated, not rounded.
    EXPECT_EQ(colorValueFromColor({0.999, 0.5, 0.0039, 0.2}), 0xFE7F00);
}

TEST(Colors, HexStrings) {
    EXPECT_EQ(colorValueFromHexString(QString("#FF000080")), 0xFF0000);
    EXPECT_EQ(colorValueFromHexString(QString("#e51717")), 0xE51717);
    EXPECT_EQ(colorValueFromHexString(QString("0252D4")), 0x0252D4);
    EXPECT_EQ(colorValueFromHexString(QString("#abc")), 0xABC);
    EXPECT_EQ(colorValueFromHexString(QString("#2CA10Bzz")), 0x2CA10B);
    EXPECT_EQ(colorValueFromHexString(QString("#2CA10BFFFF")), 0xFFFFFF);  // too long for 32 bits
    EXPECT_EQ(colorValueFromHexString(QString("green")), 0);
    EXPECT_EQ(colorValueFromHexString(QString("blue")), 0xB);  // "b" is a digit
    EXPECT_EQ(colorValueFromHexString(std::nullopt), 0);
    EXPECT_EQ(colorFromHexString(QString("#0000FF")), (RGBColor{0, 0, 1, 1}));

    EXPECT_EQ(hexStringFromColorValue(0x0252D4, true), "#0252D4FF");
    EXPECT_EQ(hexStringFromColorValue(0x0252D4, false), "#0252D4");
    EXPECT_EQ(hexStringFromColorValue(0x00000A, false), "#00000A");
    EXPECT_EQ(hexStringFromColor({1, 0, 0, 0.5}, false), "#FF0000");
    for (const int value : paletteColorValues())
        EXPECT_EQ(colorValueFromHexString(hexStringFromColorValue(value, true)), value);
}

TEST(Colors, PaletteNames) {
    EXPECT_EQ(colorValueForName("red"), 0xE51717);
    EXPECT_EQ(colorValueForName("Purple"), 0x492BA1);
    EXPECT_EQ(colorValueForName("pink"), 0xFFFFFF);
    EXPECT_EQ(colorValueForName(""), 0xFFFFFF);
    EXPECT_EQ(colorNameForValue(0x0252D4), QString("blue"));
    EXPECT_EQ(colorNameForValue(0x804000), QString("brown"));
    EXPECT_EQ(colorNameForValue(0x800000), std::nullopt);  // in the palette but unnamed
    EXPECT_EQ(colorNameForValue(0x123456), std::nullopt);
    const QStringList names{"red", "orange", "yellow", "green", "brown", "blue", "purple"};
    for (const QString &name : names)
        EXPECT_EQ(colorNameForValue(colorValueForName(name)), name);
}

TEST(Colors, PaletteCursorWalksAllTwentyColoursAndWraps) {
    const auto &palette = paletteColorValues();
    EXPECT_EQ(palette[0], 0x800000);
    EXPECT_EQ(palette[19], 0x000000);
    const int first = colorValueFromColor(nextPaletteColor());
    const auto start = std::find(palette.begin(), palette.end(), first);
    ASSERT_NE(start, palette.end());
    size_t index = size_t(start - palette.begin());
    for (int step = 1; step <= 2 * kPaletteSize; ++step) {
        index = (index + 1) % kPaletteSize;
        EXPECT_EQ(colorValueFromColor(nextPaletteColor()), palette[index]) << step;
    }
}

TEST(Colors, PaletteCursorIsSharedSafelyBetweenThreads) {
    // 20 threads × 20 colours each: every colour is handed out exactly 20 times.
    const QList<int> batches = QtConcurrent::blockingMapped(QList<int>(20, 0), [](int) {
        int sum = 0;
        for (int i = 0; i < kPaletteSize; ++i)
            sum += colorValueFromColor(nextPaletteColor()) % 1000;
        return sum;
    });
    int total = 0;
    for (const int sum : batches)
        total += sum;
    int expected = 0;
    for (const int value : paletteColorValues())
        expected += value % 1000 * 20;
    EXPECT_EQ(total, expected);
}

TEST(Colors, LuminanceAndReadableColour) {
    EXPECT_DOUBLE_EQ(luminance({1, 1, 1, 1}), 1.0);
    EXPECT_DOUBLE_EQ(luminance({0, 1, 0, 1}), 0.587);
    const RGBColor yellow{1, 1, 0.5, 0.7};  // luminance 0.943
    const RGBColor readable = readableColor(yellow);
    const double keep = 1 - (luminance(yellow) - 0.8) * 3.5;
    EXPECT_DOUBLE_EQ(readable.red, keep);
    EXPECT_DOUBLE_EQ(readable.blue, 0.5 * keep);
    EXPECT_DOUBLE_EQ(readable.alpha, 0.7);
    EXPECT_LT(luminance(readable), 0.8);
    EXPECT_NEAR(luminance(readableColor({1, 1, 1, 1})), 0.3, 1e-12);
    const RGBColor blue = colorFromColorValue(0x0252D4);
    EXPECT_EQ(readableColor(blue), blue);
}

}  // namespace
