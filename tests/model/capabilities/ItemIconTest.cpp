#include "model/ItemIcon.h"

#include <QDir>

#include "model/AttachmentFiles.h"
#include "model/foundation/Paths.h"
#include "model/objects/ModelFixture.h"

namespace {

class ItemIconTest : public ModelTest {
protected:
    ItemIconTest() { AttachmentFiles::setResourceFolder(QStringLiteral("/opt/res")); }
    ~ItemIconTest() override { AttachmentFiles::setResourceFolder(QString()); }

    CommonDataMO *m_calendar = makeCalendar(QStringLiteral("C"));
    CommonDataMO *m_item = makeItem(m_calendar, QStringLiteral("I"));
};

TEST_F(ItemIconTest, TheGraphicAttachmentComesBeforeTheCalendarsIcon) {
    EXPECT_EQ(ItemIcon::iconPath(m_item), std::nullopt);

    m_calendar->setValue(QStringLiteral("defaultIconName"),
                         QStringLiteral("merovan://Icons/Sun.png"));
    EXPECT_EQ(ItemIcon::iconPath(m_item), QStringLiteral("/opt/res/Icons/Sun.png"));
    m_calendar->setValue(QStringLiteral("defaultIconName"), QStringLiteral("Mine.png"));
    EXPECT_EQ(
        ItemIcon::iconPath(m_item),
        QDir(Paths::applicationSupportFolder()).filePath(QStringLiteral("Graphics/Mine.png")));

    ExtraDataMO *graphic = makeExtra(QStringLiteral("FileAttachment"), m_item);
    graphic->setValue(QStringLiteral("uid"), QStringLiteral("G1"));
    graphic->setValue(QStringLiteral("fileName"), QStringLiteral("Logo.png"));
    EXPECT_EQ(ItemIcon::iconPath(m_item),
              AttachmentFiles::pathForAttachmentByExpandingResourceURLs(*graphic));
    EXPECT_TRUE(ItemIcon::iconPath(m_item)->endsWith(QStringLiteral("Logo-G1.png")));
}

}  // namespace
