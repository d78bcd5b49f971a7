#pragma once

#include <QHash>
#include <QString>
#include <optional>

#include "model/FontDescription.h"
#include "model/util/Colors.h"

class CommonDataMO;

// What the application tells the model about drawing items: the colours the
// user gave tags, its default colour and fonts, the system's fallbacks and
// the magnification of every font.
struct AppearanceDefaults {
    QHash<QString, RGBColor> tagColors;
    std::optional<RGBColor> defaultColor;
    std::optional<FontDescription> defaultFont;
    std::optional<FontDescription> defaultStickyFont;
    // The system's label text colour and its font at the standard size.
    RGBColor labelTextColor;
    FontDescription systemFont;
    // 0 and 1 leave sizes alone.
    double fontSizeMagnification = 1;

    // The defaults in use; the application sets them at start-up and when
    // the user changes them (setShared copies). Main thread only.
    static const AppearanceDefaults &shared();
    static void setShared(const AppearanceDefaults &defaults);
};

// The colour and font every view draws an item (or calendar) with.
class ItemAppearance {
public:
    static constexpr double kPendingInvitationWhite = 0.6;

    explicit ItemAppearance(CommonDataMO *item) : m_item(item) {}

    // Colour: the first of the item's local tags, then of its tags, that has
    // a colour in the tag table; else the calendar's `localColor`; else the
    // default colour; else the label text colour. A pending invitation is
    // grey (white 0.6, opaque) whatever its colour.
    // Font: the calendar's `localFont`, else the default sticky font for
    // stickies (type 3) and the default font for everything else; with
    // `forceDefaultFont` the default font; the system font when the one
    // chosen is not set. A magnification other than 0 and 1 sets the size to the
    // rounded product of size and magnification.
    // Either out argument may be null.
    void getColor(RGBColor *color, FontDescription *font, bool forceDefaultFont,
                  const AppearanceDefaults &defaults = AppearanceDefaults::shared()) const;

private:
    RGBColor color(const AppearanceDefaults &defaults) const;
    FontDescription font(bool forceDefaultFont, const AppearanceDefaults &defaults) const;

    CommonDataMO *m_item;
};
