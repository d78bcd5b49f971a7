#include "model/MeetingRoles.h"

#include "model/CurrentUser.h"
#include "model/capabilities/FakeEngines.h"
#include "model/objects/ModelFixture.h"
#include "model/util/OwnAddresses.h"

namespace {

// The user's contact card has two addresses; the engines know others.
class MeetingRolesTest : public ModelTest {
protected:
    MeetingRolesTest() {
        OwnAddresses::setProvider([] {
            return QStringList{QStringLiteral("me@home.example"),
                               QStringLiteral("me@work.example")};
        });
    }
    ~MeetingRolesTest() override { OwnAddresses::setProvider({}); }

    CommonDataMO *meetingOn(const char *kind) {
        ModelObject *service =
            kind ? makeService(QString::fromLatin1(kind), QStringLiteral("S")) : nullptr;
        return makeItem(makeCalendar(QStringLiteral("C"), service), QStringLiteral("M"));
    }
    ExtraDataMO *person(const char *entity, CommonDataMO *item, const QString &email,
                        const QString &name = {}) {
        ExtraDataMO *extra = makeExtra(QString::fromLatin1(entity), item);
        if (!email.isEmpty())
            extra->setValue(QStringLiteral("email"), email);
        if (!name.isEmpty())
            extra->setValue(QStringLiteral("name"), name);
        return extra;
    }
    static QString emailOf(const ExtraDataMO *extra) {
        return extra->valueForKey(QStringLiteral("email")).toString();
    }
    static QString nameOf(const ExtraDataMO *extra) {
        return extra->valueForKey(QStringLiteral("name")).toString();
    }

    ScopedEngineRegistry m_engines;
};

TEST_F(MeetingRolesTest, AnItemThatIsNoMeetingBelongsToTheUser) {
    CommonDataMO *item = meetingOn(nullptr);
    EXPECT_TRUE(MeetingRoles(item).weAreTheOrganizer());
    person("Attendee", item, QStringLiteral("boss@corp.example"));
    EXPECT_TRUE(MeetingRoles(item).weAreTheOrganizer());  // attendees, no organizer

    CommonDataMO *other = makeItem(item->parentContainer(), QStringLiteral("N"));
    person("Organizer", other, QStringLiteral("boss@corp.example"));
    EXPECT_TRUE(MeetingRoles(other).weAreTheOrganizer());  // organizer, no attendee
    person("Attendee", other, QStringLiteral("me@home.example"));
    EXPECT_FALSE(MeetingRoles(other).weAreTheOrganizer());
}

TEST_F(MeetingRolesTest, TheUserIsFoundByTheContactCardOnLocalCalendars) {
    CommonDataMO *item = meetingOn(nullptr);
    ExtraDataMO *organizer = person("Organizer", item, QStringLiteral("ME@Work.example"));
    person("Attendee", item, QStringLiteral("guest@corp.example"));
    ExtraDataMO *us = person("Attendee", item, QStringLiteral("me@home.example"));
    const MeetingRoles roles(item);
    EXPECT_EQ(roles.localUserAddresses(), OwnAddresses::addresses());
    EXPECT_EQ(roles.ourOrganizerExtra(), organizer);
    EXPECT_EQ(roles.ourAttendeeExtra(), us);
    EXPECT_TRUE(roles.weAreTheOrganizer());
    EXPECT_TRUE(roles.isLocalEmail(QStringLiteral("Me@Home.Example")));
    EXPECT_FALSE(roles.isLocalEmail(QString()));
    EXPECT_TRUE(MeetingRoles::weAreTheAttendee(us));
    // Two different addresses of the user are the same person.
    EXPECT_TRUE(roles.attendeeIsOrganizer(us));
}

TEST_F(MeetingRolesTest, AttendeeIsOrganizerNeedsTheSamePersonAndAnAddress) {
    CommonDataMO *item = meetingOn(nullptr);
    person("Organizer", item, QStringLiteral("Boss@Corp.example"));
    person("Organizer", item, QString());
    EXPECT_TRUE(MeetingRoles(item).attendeeIsOrganizer(
        person("Attendee", item, QStringLiteral("boss@corp.EXAMPLE"))));
    EXPECT_FALSE(MeetingRoles(item).attendeeIsOrganizer(
        person("Attendee", item, QStringLiteral("me@home.example"))));
    EXPECT_FALSE(MeetingRoles(item).attendeeIsOrganizer(person("Attendee", item, QString())));
}

TEST_F(MeetingRolesTest, InvitationsArePendingUntilAnsweredOrCancelled) {
    CommonDataMO *item = meetingOn(nullptr);
    person("Organizer", item, QStringLiteral("boss@corp.example"));
    ExtraDataMO *us = person("Attendee", item, QStringLiteral("me@work.example"));
    const MeetingRoles roles(item);
    EXPECT_FALSE(roles.weAreTheOrganizer());
    EXPECT_EQ(roles.ourAttendeeStatus(), 0);
    EXPECT_FALSE(roles.isPendingInvitationOrTentativeMeeting());

    us->setIntegerValue(1, QStringLiteral("status"));
    EXPECT_TRUE(roles.isPendingInvitation());
    EXPECT_TRUE(roles.isPendingInvitationOrTentativeMeeting());
    us->setIntegerValue(2, QStringLiteral("status"));
    EXPECT_FALSE(roles.isPendingInvitation());
    EXPECT_TRUE(roles.isPendingInvitationOrTentativeMeeting());
    us->setIntegerValue(3, QStringLiteral("status"));
    EXPECT_FALSE(roles.isPendingInvitationOrTentativeMeeting());
    item->setIntegerValue(2, QStringLiteral("blocksTime"));
    EXPECT_TRUE(roles.isPendingInvitationOrTentativeMeeting());

    us->setIntegerValue(1, QStringLiteral("status"));
    item->setIntegerValue(7, QStringLiteral("status"));
    EXPECT_FALSE(roles.isPendingInvitation());
    EXPECT_FALSE(roles.isPendingInvitationOrTentativeMeeting());
}

TEST_F(MeetingRolesTest, CalDAVAutoSchedulingFollowsTheServerAndTheMeetingsOrigin) {
    CommonDataMO *item = meetingOn("CalDAV Synchronization");
    CommonDataMO *calendar = item->parentContainer();
    EXPECT_FALSE(MeetingRoles(calendar).controlledByCalDAVAutoScheduling());  // no engine
    auto engine = m_engines.registerCalDAV();
    EXPECT_FALSE(MeetingRoles(calendar).controlledByCalDAVAutoScheduling());
    engine->autoScheduling = true;
    EXPECT_TRUE(MeetingRoles(calendar).controlledByCalDAVAutoScheduling());
    EXPECT_TRUE(MeetingRoles(item).controlledByCalDAVAutoScheduling());  // no organizer

    ExtraDataMO *organizer = person("Organizer", item, QStringLiteral("boss@corp.example"));
    EXPECT_TRUE(MeetingRoles(item).controlledByCalDAVAutoScheduling());
    organizer->setBoolValue(true, QStringLiteral("localFromITIP"));
    // Came by mail: the server schedules only when the user is an attendee.
    engine->userAddresses = {QStringLiteral("mailto:me@server.example"),
                             QStringLiteral("me@server.example")};
    EXPECT_FALSE(MeetingRoles(item).controlledByCalDAVAutoScheduling());
    person("Attendee", item, QStringLiteral("ME@server.example"));
    EXPECT_TRUE(MeetingRoles(item).controlledByCalDAVAutoScheduling());
    // …unless it honours SCHEDULE-AGENT=CLIENT.
    engine->scheduleAgent = true;
    EXPECT_FALSE(MeetingRoles(item).controlledByCalDAVAutoScheduling());
    EXPECT_FALSE(MeetingRoles(item).controlledByCalDAVAnyScheduling());
}

TEST_F(MeetingRolesTest, CalDAVOldSchedulingOnlyWithoutAutoScheduling) {
    CommonDataMO *item = meetingOn("CalDAV Synchronization");
    auto engine = m_engines.registerCalDAV();
    engine->oldScheduling = true;
    EXPECT_TRUE(MeetingRoles(item).controlledByCalDAVOldScheduling());
    EXPECT_TRUE(MeetingRoles(item).controlledByCalDAVAnyScheduling());
    engine->autoScheduling = true;
    EXPECT_FALSE(MeetingRoles(item).controlledByCalDAVOldScheduling());
    EXPECT_TRUE(MeetingRoles(item).controlledByCalDAVAnyScheduling());

    EXPECT_FALSE(MeetingRoles(item).caldavOldSchedulingBrokenForCancel());
    EXPECT_FALSE(MeetingRoles(item).attendeeMustMatchUser());
    engine->brokenCancel = engine->mustMatchUser = true;
    EXPECT_TRUE(MeetingRoles(item).caldavOldSchedulingBrokenForCancel());
    EXPECT_TRUE(MeetingRoles(item).attendeeMustMatchUser());
    EXPECT_FALSE(MeetingRoles(meetingOn(nullptr)).attendeeMustMatchUser());
}

TEST_F(MeetingRolesTest, UnderCalDAVSchedulingTheServerKnowsTheUser) {
    CommonDataMO *item = meetingOn("CalDAV Synchronization");
    auto engine = m_engines.registerCalDAV();
    engine->autoScheduling = true;
    engine->userAddresses = {QStringLiteral("me@server.example")};
    person("Organizer", item, QStringLiteral("boss@corp.example"));
    ExtraDataMO *cardAddress = person("Attendee", item, QStringLiteral("me@home.example"));
    ExtraDataMO *serverAddress = person("Attendee", item, QStringLiteral("me@SERVER.example"));
    const MeetingRoles roles(item);
    EXPECT_EQ(roles.localUserAddresses(), engine->userAddresses);
    EXPECT_EQ(roles.ourAttendeeExtra(), serverAddress);
    EXPECT_FALSE(MeetingRoles::weAreTheAttendee(cardAddress));
    EXPECT_TRUE(MeetingRoles::weAreTheAttendee(serverAddress));
}

TEST_F(MeetingRolesTest, ExchangeSchedulesWhatDidNotComeByMail) {
    CommonDataMO *item = meetingOn("Exchange Synchronization");
    EXPECT_FALSE(MeetingRoles(item).controlledByExchangeScheduling());  // no engine
    auto engine = m_engines.registerExchange();
    EXPECT_TRUE(MeetingRoles(item->parentContainer()).controlledByExchangeScheduling());
    EXPECT_TRUE(MeetingRoles(item).controlledByExchangeScheduling());
    EXPECT_TRUE(MeetingRoles(item).localUserAddresses().isEmpty());  // engine knows none
    engine->bestAddress = QStringLiteral("me@exchange.example");
    EXPECT_EQ(MeetingRoles(item).localUserAddresses(), QStringList{*engine->bestAddress});

    ExtraDataMO *organizer = person("Organizer", item, QStringLiteral("boss@corp.example"));
    organizer->setBoolValue(true, QStringLiteral("localFromITIP"));
    EXPECT_FALSE(MeetingRoles(item).controlledByExchangeScheduling());
    EXPECT_EQ(MeetingRoles(item).localUserAddresses(), OwnAddresses::addresses());
    EXPECT_FALSE(
        MeetingRoles(meetingOn("CalDAV Synchronization")).controlledByExchangeScheduling());
}

TEST_F(MeetingRolesTest, TheCalendarOwnerComesFromTheEngineElseTheCard) {
    auto exchange = m_engines.registerExchange();
    CommonDataMO *item = meetingOn("Exchange Synchronization");
    QString email, name;
    MeetingRoles(item).getCalendarOwnerEmail(&email, &name);
    EXPECT_EQ(email, QStringLiteral("me@home.example"));
    EXPECT_EQ(name, QStringLiteral("Test User"));
    exchange->bestAddress = QStringLiteral("me@exchange.example");
    exchange->bestName = QStringLiteral("Me At Work");
    MeetingRoles(item).getCalendarOwnerEmail(&email, &name);
    EXPECT_EQ(email, QStringLiteral("me@exchange.example"));
    EXPECT_EQ(name, QStringLiteral("Me At Work"));

    OwnAddresses::setProvider({});
    MeetingRoles(meetingOn(nullptr)).getCalendarOwnerEmail(&email, &name);
    EXPECT_EQ(email, QString());
    EXPECT_EQ(name, QStringLiteral("Test User"));
}

TEST_F(MeetingRolesTest, BecomingOrganizerWithoutOrganizerOnlyOpensTheItem) {
    CommonDataMO *item = meetingOn(nullptr);
    ExtraDataMO *attendee =
        person("Attendee", item, QStringLiteral("x@corp.example"), QStringLiteral("Tset User"));
    MeetingRoles(item).becomeOrganizer();
    EXPECT_EQ(item->integerValueForKey(QStringLiteral("access")), 5);
    EXPECT_EQ(emailOf(attendee), QStringLiteral("x@corp.example"));
}

TEST_F(MeetingRolesTest, BecomingOrganizerRewritesTheOrganizerAndTheUsersAttendee) {
    auto engine = m_engines.registerCalDAV();
    engine->oldScheduling = true;
    engine->bestAddress = QStringLiteral("mailto:me@server.example");
    engine->bestName = QStringLiteral("Me On Server");
    CommonDataMO *item = meetingOn("CalDAV Synchronization");
    ExtraDataMO *organizer =
        person("Organizer", item, QStringLiteral("boss@corp.example"), QStringLiteral("Boss"));
    ExtraDataMO *farName =
        person("Attendee", item, QStringLiteral("a@corp.example"), QStringLiteral("Me Xx Yyyy"));
    ExtraDataMO *byName =
        person("Attendee", item, QStringLiteral("b@corp.example"), QStringLiteral("Me On Sever"));
    MeetingRoles(item).becomeOrganizer();
    EXPECT_EQ(emailOf(organizer), QStringLiteral("mailto:me@server.example"));
    EXPECT_EQ(nameOf(organizer), QStringLiteral("Me On Server"));
    EXPECT_EQ(emailOf(byName), QStringLiteral("mailto:me@server.example"));
    EXPECT_EQ(nameOf(byName), QStringLiteral("Me On Server"));
    EXPECT_EQ(emailOf(farName), QStringLiteral("a@corp.example"));

    // An attendee with the owner's address wins over a close name.
    CommonDataMO *second = makeItem(item->parentContainer(), QStringLiteral("M2"));
    person("Organizer", second, QStringLiteral("boss@corp.example"));
    ExtraDataMO *closeName = person("Attendee", second, QStringLiteral("c@corp.example"),
                                    QStringLiteral("Me On Server"));
    ExtraDataMO *sameAddress = person(
        "Attendee", second, QStringLiteral("MAILTO:me@server.example"), QStringLiteral("Someone"));
    MeetingRoles(second).becomeOrganizer();
    EXPECT_EQ(nameOf(sameAddress), QStringLiteral("Me On Server"));
    EXPECT_EQ(emailOf(closeName), QStringLiteral("c@corp.example"));
}

TEST_F(MeetingRolesTest, BecomingAttendeeTakesTheServersAddressOnCalDAVOnly) {
    CommonDataMO *local = meetingOn(nullptr);
    ExtraDataMO *localAttendee = person("Attendee", local, QStringLiteral("me@home.example"));
    MeetingRoles(local).becomeAttendee();
    EXPECT_EQ(emailOf(localAttendee), QStringLiteral("me@home.example"));

    auto engine = m_engines.registerCalDAV();
    engine->bestAddress = QStringLiteral("mailto:me@server.example");
    engine->bestName = QStringLiteral("Me On Server");
    CommonDataMO *item = meetingOn("CalDAV Synchronization");
    ExtraDataMO *other = person("Attendee", item, QStringLiteral("guest@corp.example"));
    ExtraDataMO *first = person("Attendee", item, QStringLiteral("me@work.example"));
    ExtraDataMO *second = person("Attendee", item, QStringLiteral("me@home.example"));
    MeetingRoles(item).becomeAttendee();
    EXPECT_EQ(emailOf(first), QStringLiteral("mailto:me@server.example"));
    EXPECT_EQ(nameOf(first), QStringLiteral("Me On Server"));
    EXPECT_EQ(emailOf(second), QStringLiteral("me@home.example"));
    EXPECT_EQ(emailOf(other), QStringLiteral("guest@corp.example"));
}

}  // namespace
