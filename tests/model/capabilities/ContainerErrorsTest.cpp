#include "model/ContainerErrors.h"

#include <QCoreApplication>
#include <cstdio>

#include "model/ErrorPresenter.h"
#include "model/StandardErrorPresenter.h"
#include "model/UserError.h"
#include "model/objects/ModelFixture.h"

namespace {

// Records the errors it is asked to show, and installs itself meanwhile.
class RecordingPresenter : public ErrorPresenter {
public:
    RecordingPresenter() { ErrorPresenter::setShared(this); }
    ~RecordingPresenter() override { ErrorPresenter::setShared(nullptr); }
    void presentError(const UserError &error) override { shown.push_back(error); }

    QStringList descriptions() const {
        QStringList texts;
        for (const UserError &error : shown)
            texts << error.localizedDescription();
        return texts;
    }

    std::vector<UserError> shown;
};

// Ends the current turn of the event loop.
void nextTurn() {
    QCoreApplication::processEvents();
}

class ContainerErrorsTest : public ModelTest {
protected:
    ContainerErrorsTest() { nextTurn(); }
    ~ContainerErrorsTest() override { nextTurn(); }

    // A calendar whose items are read-only unless `readOnly` is false.
    CommonDataMO *titledCalendar(const QString &uid, const QString &title, bool readOnly = true) {
        CommonDataMO *calendar =
            makeCalendar(uid, readOnly ? makeService(QStringLiteral("CalDAV Synchronization"),
                                                     uid + QStringLiteral("-owner"))
                                       : nullptr);
        calendar->setIntegerValue(2, QStringLiteral("access"));
        calendar->setStringValue(title, QStringLiteral("title"));
        return calendar;
    }

    RecordingPresenter m_presenter;
};

TEST_F(ContainerErrorsTest, OneAlertPerCalendarAndTurnOfTheEventLoop) {
    CommonDataMO *work = titledCalendar(QStringLiteral("W"), QStringLiteral("Work"));
    CommonDataMO *home = titledCalendar(QStringLiteral("H"), QStringLiteral("Home"));
    LogCapture log;
    EXPECT_FALSE(ContainerErrors::readOnlyErrorReported());
    for (int i = 0; i < 100; ++i) {
        CommonDataMO *item = makeItem(work, QStringLiteral("I%1").arg(i));
        ContainerErrors::reportReadOnlyError(item);
    }
    ContainerErrors::reportReadOnlyError(home);
    ContainerErrors::reportMeetingError(work);  // same calendar: already reported
    EXPECT_TRUE(ContainerErrors::readOnlyErrorReported());
    EXPECT_EQ(
        m_presenter.descriptions(),
        (QStringList{QStringLiteral("You don't have permission to modify events on the calendar "
                                    "\"Work\"."),
                     QStringLiteral("You don't have permission to add events to the calendar "
                                    "\"Home\".")}));
    EXPECT_EQ(log.count(QStringLiteral("reportContainerError: (W) ")), 1);
    EXPECT_TRUE(
        log.contains(QStringLiteral("reportContainerError: (H) You don't have permission "
                                    "to add events to the calendar \"Home\".")));

    nextTurn();
    EXPECT_FALSE(ContainerErrors::readOnlyErrorReported());
    ContainerErrors::reportMeetingError(work);
    ASSERT_EQ(m_presenter.shown.size(), 3u);
    EXPECT_EQ(m_presenter.shown.back(),
              UserError::withDescription(
                  QStringLiteral("MerovanErrorDomain"), ContainerErrors::kCode,
                  QStringLiteral("The calendar \"Work\" does not support meetings.")));
}

TEST_F(ContainerErrorsTest, MessagesNameTheCalendarOrTheItem) {
    CommonDataMO *calendar = titledCalendar(QStringLiteral("C"), QStringLiteral("Team"), false);
    calendar->setStringValue(QStringLiteral("My Team"), QStringLiteral("localTitle"));
    CommonDataMO *item = makeItem(calendar, QStringLiteral("I"));
    item->setStringValue(QStringLiteral("Review"), QStringLiteral("title"));
    const auto last = [&] {
        nextTurn();
        return m_presenter.shown.back().localizedDescription();
    };

    ContainerErrors::reportReadOnlyError(item);
    EXPECT_EQ(last(), QStringLiteral("You don't have permission to modify the event \"Review\"."));
    ContainerErrors::reportAutoMeetingError(item, calendar);
    EXPECT_EQ(last(),
              QStringLiteral("The meeting \"Review\" cannot be moved to a different server."));
    ContainerErrors::reportOldMeetingError(item, calendar);
    EXPECT_EQ(last(),
              QStringLiteral("The meeting \"Review\" cannot be moved to a different calendar."));
    ContainerErrors::reportAttachmentError(calendar);
    EXPECT_EQ(last(), QStringLiteral("The calendar \"My Team\" does not support attachments."));
    ContainerErrors::reportEventTypeError(calendar, 1);
    EXPECT_EQ(last(), QStringLiteral("The calendar \"My Team\" cannot contain to-dos."));
    ContainerErrors::reportEventTypeError(calendar, 4);
    EXPECT_EQ(last(), QStringLiteral("The calendar \"My Team\" cannot contain journal entries."));
    calendar->setBoolValue(true, QStringLiteral("localFilterToDos"));
    ContainerErrors::reportEventTypeError(calendar, 1);
    EXPECT_EQ(last(), QStringLiteral("You cannot create to-dos on the calendar \"My Team\" "
                                     "because you are filtering them out."));
    ContainerErrors::reportNilCalendarError();
    EXPECT_EQ(last(), QStringLiteral("You need to select a calendar in the Calendars list."));
    EXPECT_EQ(m_presenter.shown.size(), 8u);
}

TEST(UserErrorTest, KeepsRecoveryOptionsWithTheirActions) {
    UserError error = UserError::withDescription(QStringLiteral("D"), 42, QStringLiteral("Broken"));
    EXPECT_EQ(error.severity(), 0);
    EXPECT_FALSE(error.isInternal());
    EXPECT_TRUE(error.recoveryOptions().isEmpty());
    error.setRecoverySuggestion(QStringLiteral("Try again later."));
    error.addRecoveryOption(QStringLiteral("Retry"), QStringLiteral("retry"));
    error.addRecoveryOption(QStringLiteral("Cancel"), QStringLiteral("cancel"));
    error.setSeverity(UserError::kInternalSeverity);
    EXPECT_TRUE(error.isInternal());
    const QVariantMap info = error.userInfo();
    EXPECT_EQ(info.value(QStringLiteral("NSLocalizedDescription")), QStringLiteral("Broken"));
    EXPECT_EQ(info.value(QStringLiteral("NSLocalizedRecoverySuggestion")),
              QStringLiteral("Try again later."));
    EXPECT_EQ(info.value(QStringLiteral("NSLocalizedRecoveryOptions")).toStringList(),
              (QStringList{QStringLiteral("Retry"), QStringLiteral("Cancel")}));
    EXPECT_EQ(info.value(QStringLiteral("Recovery")).toStringList(),
              (QStringList{QStringLiteral("retry"), QStringLiteral("cancel")}));
    EXPECT_EQ(info.value(QStringLiteral("Severity")).toInt(), 2);
    EXPECT_EQ(error.domain(), QStringLiteral("D"));
    EXPECT_EQ(error.code(), 42);
}

TEST(StandardErrorPresenterTest, WritesOneLinePerError) {
    std::FILE *stream = std::tmpfile();
    ASSERT_NE(stream, nullptr);
    StandardErrorPresenter presenter(stream);
    UserError error =
        UserError::withDescription(QStringLiteral("Dom"), 7, QStringLiteral("Two\nlines"));
    presenter.presentError(error);
    error.setRecoverySuggestion(QStringLiteral("Check\r\nit."));
    presenter.presentError(error);
    std::rewind(stream);
    char buffer[256] = {};
    const size_t length = std::fread(buffer, 1, sizeof buffer - 1, stream);
    std::fclose(stream);
    EXPECT_EQ(QString::fromLocal8Bit(buffer, qsizetype(length)),
              QStringLiteral("Two lines (Dom 7)\nTwo lines (Dom 7) Check it.\n"));
}

}  // namespace
