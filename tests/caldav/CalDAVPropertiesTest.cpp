#include <gtest/gtest.h>

#include <QFile>

#include "caldav/CalDAVClient.h"
#include "caldav/WebDAVResults.h"
#include "caldav/support/DAVNames.h"
#include "support/TestSupport.h"

// The CalDAV and calendar-server properties as the CalDAV client reads them
// from a multi-status answer.
namespace {

const QString kCS = QStringLiteral("http://calendarserver.org/ns/");

TEST(CalDAVPropertiesTest, ReadsHrefListsFirstHrefsComponentsAndChildKeys) {
    QFile file(sourcePath("fuzz/corpus/multistatus_fuzzer/caldav-principal-and-calendars.xml"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const CalDAVClient client;
    const QVariantMap results =
        WebDAVResults::calcResultsDict(WebDAVResponse{207, QUrl("http://127.0.0.1/"), {}},
                                       "PROPFIND", false, file.readAll(), client);
    const QVariantList responses = results.value("multistatus").toList();
    ASSERT_EQ(responses.size(), 2);
    const QVariantMap principal = responses[0].toMap().value("propstat").toList().value(0).toMap();
    EXPECT_EQ(principal.value(kCalDAV + " calendar-home-set").toStringList(),
              QStringList{"/caldav.php/test/"});
    EXPECT_EQ(principal.value(kCalDAV + " calendar-user-address-set").toStringList(),
              (QStringList{"mailto:test@example.com", "/caldav.php/test/"}));
    EXPECT_EQ(principal.value(kCalDAV + " schedule-inbox-URL").toString(), "/caldav.php/test/.in/");
    EXPECT_EQ(principal.value(kCalDAV + " schedule-outbox-URL").toString(),
              "/caldav.php/test/.out/");
    EXPECT_EQ(principal.value(kCS + " notification-URL").toString(), "/notifications/");

    const QVariantMap calendar = responses[1].toMap().value("propstat").toList().value(0).toMap();
    EXPECT_EQ(calendar.value(kCalDAV + " supported-calendar-component-set").toStringList(),
              (QStringList{"VEVENT", "VTODO"}));
    EXPECT_EQ(calendar.value(kCalDAV + " supported-calendar-component-sets").toList(),
              (QVariantList{QStringList{"VEVENT"}}));
    EXPECT_EQ(calendar.value(kCalDAV + " schedule-calendar-transp").toString(),
              kCalDAV + " opaque");
    EXPECT_EQ(calendar.value(kCS + " allowed-sharing-modes").toStringList(),
              (QStringList{kCS + " can-be-shared", kCS + " can-be-published"}));
    EXPECT_EQ(calendar.value(kCS + " changes").toStringList(), QStringList{"summary"});
    EXPECT_EQ(calendar.value(kCS + " access").toString(), kCS + " read-write");
    EXPECT_EQ(calendar.value("http://schemas.google.com/g/2005 error").toString(), "quota");
    // WebDAV's own properties are still read as before.
    EXPECT_EQ(calendar.value("resourcetype").toStringList(),
              (QStringList{"collection", kCalDAV + " calendar"}));
}

}  // namespace
