#include "model/ItemAppearance.h"

#include <cmath>

#include "model/CommonDataMO.h"
#include "model/ItemCodes.h"
#include "model/MeetingRoles.h"

namespace {

AppearanceDefaults &sharedDefaults() {
    static AppearanceDefaults defaults;
    return defaults;
}

}  // namespace

const AppearanceDefaults &AppearanceDefaults::shared() {
    return sharedDefaults();
}

void AppearanceDefaults::setShared(const AppearanceDefaults &defaults) {
    sharedDefaults() = defaults;
}

void ItemAppearance::getColor(RGBColor *color, FontDescription *font, bool forceDefaultFont,
                              const AppearanceDefaults &defaults) const {
    if (color)
        *color = this->color(defaults);
    if (font)
        *font = this->font(forceDefaultFont, defaults);
}

RGBColor ItemAppearance::color(const AppearanceDefaults &defaults) const {
    if (m_item->isChild() && MeetingRoles(m_item).isPendingInvitation())
        return {kPendingInvitationWhite, kPendingInvitationWhite, kPendingInvitationWhite, 1};
    for (const char *key : {"localTags", "tags"}) {
        for (const QString &tag : m_item->tagListValueForKey(QLatin1String(key))) {
            const auto found = defaults.tagColors.constFind(tag);
            if (found != defaults.tagColors.constEnd())
                return *found;
        }
    }
    const CommonDataMO *calendar = m_item->parentContainer();
    if (std::optional<RGBColor> own =
            calendar ? calendar->colorValueForKey(QStringLiteral("localColor")) : std::nullopt)
        return *own;
    return defaults.defaultColor.value_or(defaults.labelTextColor);
}

FontDescription ItemAppearance::font(bool forceDefaultFont,
                                     const AppearanceDefaults &defaults) const {
    std::optional<FontDescription> chosen = defaults.defaultFont;
    const CommonDataMO *calendar = m_item->parentContainer();
    if (!forceDefaultFont) {
        if (std::optional<FontDescription> own =
                calendar ? calendar->fontValueForKey(QStringLiteral("localFont")) : std::nullopt)
            chosen = own;
        else if (m_item->isChild() &&
                 m_item->integerValueForKey(QStringLiteral("eventType")) == ItemType::Sticky)
            chosen = defaults.defaultStickyFont;
    }
    FontDescription result = chosen.value_or(defaults.systemFont);
    const double magnification = defaults.fontSizeMagnification;
    if (magnification != 0 && magnification != 1)
        result.pointSize = std::round(result.pointSize * magnification);
    return result;
}
