#include "model/util/Colors.h"

#include <QRegularExpression>
#include <atomic>
#include <limits>

#include "model/foundation/Format.h"

namespace {

struct PaletteEntry {
    int value;
    const char *name;
};

constexpr std::array<PaletteEntry, kPaletteSize> kPalette{{
    {0x800000, nullptr},  {0xE51717, "red"},   {0xFF0080, nullptr},  {0xB027AE, nullptr},
    {0xF57802, "orange"}, {0xFF6666, nullptr}, {0xE6C800, "yellow"}, {0x2CA10B, "green"},
    {0x008080, nullptr},  {0x808000, nullptr}, {0x804000, "brown"},  {0x0252D4, "blue"},
    {0x000080, nullptr},  {0x6666FF, nullptr}, {0x492BA1, "purple"}, {0x8000FF, nullptr},
    {0xCC66FF, nullptr},  {0x800080, nullptr}, {0x666666, nullptr},  {0x000000, nullptr},
}};

constexpr int kUnknownNameValue = 0xFFFFFF;

std::atomic<unsigned> g_paletteCursor{0};

int component(double fraction) {
    return int(fraction * 255);
}

}  // namespace

int colorValueFromColor(const RGBColor &color) {
    return component(color.red) << 16 | component(color.green) << 8 | component(color.blue);
}

RGBColor colorFromColorValue(int value) {
    return {((value >> 16) & 0xFF) / 255.0, ((value >> 8) & 0xFF) / 255.0, (value & 0xFF) / 255.0,
            1};
}

int colorValueFromHexString(const std::optional<QString> &text) {
    static const QRegularExpression hex(QStringLiteral("^\\s*#?(?:0[xX])?([0-9A-Fa-f]+)"));
    const QRegularExpressionMatch match = hex.match(text.value_or(QString()));
    if (!match.hasMatch())
        return 0;
    bool fits = false;
    const QString digits = match.captured(1);
    const uint value = digits.toUInt(&fits, 16);
    // Too many digits for 32 bits read as the largest value.
    const uint read = fits ? value : std::numeric_limits<uint>::max();
    return int(digits.size() >= 8 ? read >> 8 : read);
}

RGBColor colorFromHexString(const std::optional<QString> &text) {
    return colorFromColorValue(colorValueFromHexString(text));
}

QString hexStringFromColorValue(int value, bool withAlpha) {
    return format("#%.2X%.2X%.2X%s", (value >> 16) & 0xFF, (value >> 8) & 0xFF, value & 0xFF,
                  withAlpha ? "FF" : "");
}

QString hexStringFromColor(const RGBColor &color, bool withAlpha) {
    return hexStringFromColorValue(colorValueFromColor(color), withAlpha);
}

const std::array<int, kPaletteSize> &paletteColorValues() {
    static const std::array<int, kPaletteSize> values = [] {
        std::array<int, kPaletteSize> list{};
        for (size_t i = 0; i < kPalette.size(); ++i)
            list[i] = kPalette[i].value;
        return list;
    }();
    return values;
}

RGBColor nextPaletteColor() {
    unsigned index = g_paletteCursor.load();
    while (!g_paletteCursor.compare_exchange_weak(index, (index + 1) % kPaletteSize)) {
    }
    return colorFromColorValue(kPalette[index].value);
}

std::optional<QString> colorNameForValue(int value) {
    for (const PaletteEntry &entry : kPalette) {
        if (entry.name && entry.value == value)
            return QString::fromLatin1(entry.name);
    }
    return std::nullopt;
}

int colorValueForName(const QString &name) {
    for (const PaletteEntry &entry : kPalette) {
        if (entry.name && name.compare(QLatin1String(entry.name), Qt::CaseInsensitive) == 0)
            return entry.value;
    }
    return kUnknownNameValue;
}

double luminance(const RGBColor &color) {
    return 0.299 * color.red + 0.587 * color.green + 0.114 * color.blue;
}

RGBColor readableColor(const RGBColor &color) {
    const double light = luminance(color);
    if (light < 0.8)
        return color;
    const double keep = 1 - (light - 0.8) * 3.5;
    return {color.red * keep, color.green * keep, color.blue * keep, color.alpha};
}
