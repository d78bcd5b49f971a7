#pragma once

#include <QString>
#include <array>
#include <optional>

// Colours as calendars keep them. A colour is four components from 0 to 1; a
// colour value is the integer 0xRRGGBB that the store and the servers hold.
struct RGBColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    bool operator==(const RGBColor &) const = default;
};

// Each component × 255, truncated toward zero; alpha is not kept.
int colorValueFromColor(const RGBColor &color);
// Each byte / 255, alpha 1.
RGBColor colorFromColorValue(int value);

// The value of a hexadecimal colour ("#E51717", "e51717", "0xE51717").
// Leading whitespace and "#" are skipped and hexadecimal digits are read up to
// the first other character; when 8 or more were read the last byte was alpha
// and is dropped ("#FF000080" → 0xFF0000). 0 for none or text without digits.
int colorValueFromHexString(const std::optional<QString> &text);
RGBColor colorFromHexString(const std::optional<QString> &text);
// "#RRGGBB" in upper case, followed by "FF" when `withAlpha` is set.
QString hexStringFromColorValue(int value, bool withAlpha);
QString hexStringFromColor(const RGBColor &color, bool withAlpha);

// The twenty colours offered for calendars, in order.
inline constexpr int kPaletteSize = 20;
const std::array<int, kPaletteSize> &paletteColorValues();
// The palette colour at the process-wide cursor, which then moves on (after
// the last colour it starts again at the first). Safe from any thread.
RGBColor nextPaletteColor();
// The name ("red", "orange", "yellow", "green", "brown", "blue", "purple") of
// the first named palette colour with `value`; none when there is none.
std::optional<QString> colorNameForValue(int value);
// The value of the palette colour named `name` (without regard to case);
// 0xFFFFFF (white) for any other name.
int colorValueForName(const QString &name);

// 0.299 × red + 0.587 × green + 0.114 × blue.
double luminance(const RGBColor &color);
// `color` as legible text: a colour with a luminance of 0.8 or more is blended
// toward black by the fraction (luminance − 0.8) × 3.5; darker colours are
// returned unchanged. Alpha is kept.
RGBColor readableColor(const RGBColor &color);
