#include <gtest/gtest.h>

#include "model/ItemAppearance.h"
#include "model/objects/ModelFixture.h"
#include "model/util/OwnAddresses.h"

namespace {

const RGBColor kRed{1, 0, 0, 1};
const RGBColor kGreen{0, 1, 0, 1};
const RGBColor kBlue{0, 0, 1, 1};
const RGBColor kLabel{0.1, 0.1, 0.1, 1};

class ItemAppearanceTest : public ModelTest {
protected:
    ItemAppearanceTest() {
        OwnAddresses::setProvider([] { return QStringList{QStringLiteral("me@home.example")}; });
        m_defaults.tagColors = {{QStringLiteral("Food"), kRed}, {QStringLiteral("Work"), kGreen}};
        m_defaults.labelTextColor = kLabel;
        m_defaults.systemFont = {QStringLiteral("System"), 13};
        m_calendar = makeCalendar(QStringLiteral("CAL"));
        m_calendar->setColorValue(std::nullopt, QStringLiteral("localColor"));
        m_item = makeItem(m_calendar, QStringLiteral("ITEM"));
    }
    ~ItemAppearanceTest() override { OwnAddresses::setProvider({}); }

    RGBColor colorOf(CommonDataMO *item) const {
        RGBColor color;
        ItemAppearance(item).getColor(&color, nullptr, false, m_defaults);
        return color;
    }
    FontDescription fontOf(CommonDataMO *item, bool forceDefault) const {
        FontDescription font;
        ItemAppearance(item).getColor(nullptr, &font, forceDefault, m_defaults);
        return font;
    }

    AppearanceDefaults m_defaults;
    CommonDataMO *m_calendar = nullptr;
    CommonDataMO *m_item = nullptr;
};

TEST_F(ItemAppearanceTest, ColoursComeFromTagsThenTheCalendarThenTheDefaults) {
    EXPECT_EQ(colorOf(m_item), kLabel);
    m_defaults.defaultColor = kBlue;
    EXPECT_EQ(colorOf(m_item), kBlue);
    m_calendar->setColorValue(RGBColor{0, 0.2, 0.4, 1}, QStringLiteral("localColor"));
    EXPECT_EQ(colorOf(m_item), (RGBColor{0, 0.2, 0.4, 1}));
    // The first tag with a colour wins; local tags come first.
    m_item->setTagListValue({QStringLiteral("Errand"), QStringLiteral("Work")},
                            QStringLiteral("tags"));
    EXPECT_EQ(colorOf(m_item), kGreen);
    m_item->setTagListValue({QStringLiteral("Food")}, QStringLiteral("localTags"));
    EXPECT_EQ(colorOf(m_item), kRed);
}

TEST_F(ItemAppearanceTest, PendingInvitationsAreGrey) {
    m_item->setTagListValue({QStringLiteral("Food")}, QStringLiteral("tags"));
    ExtraDataMO *organizer = makeExtra(QStringLiteral("Organizer"), m_item);
    organizer->setValue(QStringLiteral("email"), QStringLiteral("boss@work.example"));
    ExtraDataMO *us = makeExtra(QStringLiteral("Attendee"), m_item);
    us->setValue(QStringLiteral("email"), QStringLiteral("me@home.example"));
    us->setIntegerValue(1, QStringLiteral("status"));
    EXPECT_EQ(colorOf(m_item), (RGBColor{0.6, 0.6, 0.6, 1}));
    us->setIntegerValue(2, QStringLiteral("status"));  // answered
    EXPECT_EQ(colorOf(m_item), kRed);
}

TEST_F(ItemAppearanceTest, FontsComeFromTheCalendarOrTheDefaultsScaled) {
    const FontDescription plain{QStringLiteral("Plain"), 12};
    const FontDescription sticky{QStringLiteral("Marker"), 15};
    const FontDescription own{QStringLiteral("Own"), 11};
    EXPECT_EQ(fontOf(m_item, false), m_defaults.systemFont);
    m_defaults.defaultFont = plain;
    m_defaults.defaultStickyFont = sticky;
    EXPECT_EQ(fontOf(m_item, false), plain);
    CommonDataMO *note = makeItem(m_calendar, QStringLiteral("NOTE"));
    note->setIntegerValue(3, QStringLiteral("eventType"));
    EXPECT_EQ(fontOf(note, false), sticky);
    EXPECT_EQ(fontOf(note, true), plain);
    m_calendar->setFontValue(own, QStringLiteral("localFont"));
    EXPECT_EQ(fontOf(note, false), own);
    EXPECT_EQ(fontOf(m_item, true), plain);

    m_defaults.fontSizeMagnification = 1.5;
    EXPECT_EQ(fontOf(m_item, false).pointSize, 17);  // 16.5 rounds up
    m_defaults.fontSizeMagnification = 0;
    EXPECT_EQ(fontOf(m_item, false).pointSize, 11);
}

}  // namespace
