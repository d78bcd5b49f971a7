#include "model/CalendarCapabilities.h"

#include "model/capabilities/FakeEngines.h"
#include "model/objects/ModelFixture.h"

namespace {

class CalendarCapabilitiesTest : public ModelTest {
protected:
    CommonDataMO *calendarOf(const char *kind) {
        ModelObject *service =
            kind ? makeService(QString::fromLatin1(kind), QStringLiteral("S")) : nullptr;
        return makeCalendar(QStringLiteral("C"), service);
    }

    // What a calendar answers, in one line, so that kinds compare at a glance.
    static QString answers(const CommonDataMO *object) {
        const CalendarCapabilities caps(object);
        return QStringLiteral(
                   "local=%1 location=%2 display=%3 multiple=%4 email=%5 "
                   "meetings=%6 private=%7")
            .arg(caps.isLocallyOwned())
            .arg(caps.canHoldReminderType(10))
            .arg(caps.canHoldReminderType(0))
            .arg(caps.canHoldMultipleReminders())
            .arg(caps.owningServiceIssuesEmailAlarms())
            .arg(caps.canHoldMeetings())
            .arg(caps.canHoldPrivateEvents());
    }

    ScopedEngineRegistry m_engines;
};

TEST_F(CalendarCapabilitiesTest, LocalAndUnknownOwnersAnswerAsLocalCalendars) {
    const QString local =
        QStringLiteral("local=1 location=0 display=1 multiple=1 email=0 meetings=1 private=0");
    EXPECT_EQ(answers(calendarOf(nullptr)), local);
    // A kind the model knows no engine for, and kinds without engines at all.
    QString owned = local;
    owned.replace(QStringLiteral("local=1"), QStringLiteral("local=0"));
    EXPECT_EQ(answers(calendarOf("CalDAV Synchronization")), owned);
    EXPECT_EQ(answers(calendarOf("WebDAV Subscribe Synchronization")), owned);
    EXPECT_EQ(answers(calendarOf("Bonjour Subscribe Synchronization")), owned);
}

TEST_F(CalendarCapabilitiesTest, CalDAVCalendarsAnswerWhatTheEngineSays) {
    auto engine = m_engines.registerCalDAV();
    CommonDataMO *calendar = calendarOf("CalDAV Synchronization");
    EXPECT_EQ(answers(calendar), QStringLiteral("local=0 location=0 display=1 multiple=1 email=0 "
                                                "meetings=0 private=0"));
    engine->proximityAlarms = engine->emailAlarms = engine->meetings = engine->privateEvents = true;
    EXPECT_EQ(answers(calendar), QStringLiteral("local=0 location=1 display=1 multiple=1 email=1 "
                                                "meetings=1 private=1"));

    // Location alarms are asked for the item's own type.
    CommonDataMO *todo = makeItem(calendar, QStringLiteral("T"));
    todo->setIntegerValue(1, QStringLiteral("eventType"));
    EXPECT_TRUE(CalendarCapabilities(todo).canHoldReminderType(10));
    EXPECT_EQ(engine->askedProximityType, 1);
}

TEST_F(CalendarCapabilitiesTest, ExchangeCalendarsHoldOneReminderAndPrivateEvents) {
    const QString exchange =
        QStringLiteral("local=0 location=0 display=1 multiple=0 email=0 meetings=1 private=1");
    EXPECT_EQ(answers(calendarOf("Exchange Synchronization")), exchange);
    // The CalDAV engine is never asked about another kind's calendar.
    auto caldav = m_engines.registerCalDAV();
    caldav->proximityAlarms = caldav->emailAlarms = caldav->privateEvents = true;
    EXPECT_EQ(answers(calendarOf("Exchange Synchronization")), exchange);
    EXPECT_FALSE(caldav->askedProximityType);
}

TEST_F(CalendarCapabilitiesTest, OnlyExchangeGivesNewEventsItsDefaults) {
    auto exchange = m_engines.registerExchange();
    CommonDataMO *onExchange =
        makeItem(calendarOf("Exchange Synchronization"), QStringLiteral("E1"));
    CommonDataMO *local = makeItem(makeCalendar(QStringLiteral("L")), QStringLiteral("E2"));
    CalendarCapabilities::setOwningServiceDefaultsForNewEvent(onExchange);
    CalendarCapabilities::setOwningServiceDefaultsForNewEvent(local);
    EXPECT_EQ(exchange->defaultsSet, 1);
}

TEST_F(CalendarCapabilitiesTest, SupportedTypesAreABitPerType) {
    CommonDataMO *calendar = calendarOf(nullptr);
    const CalendarCapabilities caps(calendar);
    for (qint64 type = 0; type <= 4; ++type)
        EXPECT_TRUE(caps.canHoldEventType(type)) << type;
    calendar->setIntegerValue(1, QStringLiteral("supportedEventTypes"));
    EXPECT_TRUE(caps.canHoldEventType(0));
    EXPECT_FALSE(caps.canHoldEventType(1));
    calendar->setIntegerValue(0b10010, QStringLiteral("supportedEventTypes"));
    EXPECT_FALSE(caps.canHoldEventType(0));
    EXPECT_TRUE(caps.canHoldEventType(1));
    EXPECT_TRUE(caps.canHoldEventType(4));
    EXPECT_FALSE(caps.canHoldEventType(3));
    EXPECT_FALSE(caps.canHoldEventType(-1));
    EXPECT_FALSE(caps.canHoldEventType(70));
}

TEST_F(CalendarCapabilitiesTest, FiltersDoNotApplyWhileTheOwnerSyncs) {
    CommonDataMO *calendar = calendarOf("CalDAV Synchronization");
    calendar->setBoolValue(true, QStringLiteral("localFilterToDos"));
    calendar->setBoolValue(true, QStringLiteral("localFilterReminders"));
    CommonDataMO *item = makeItem(calendar, QStringLiteral("I"));
    const CalendarCapabilities caps(item);
    EXPECT_TRUE(caps.effectiveFilterToDos());
    EXPECT_TRUE(caps.effectiveFilterReminders());
    EXPECT_FALSE(caps.canHoldEventType(1));
    EXPECT_TRUE(caps.canHoldEventType(0));

    whileSyncing(calendar->owningService(), [&] {
        EXPECT_FALSE(caps.effectiveFilterToDos());
        EXPECT_FALSE(caps.effectiveFilterReminders());
        EXPECT_TRUE(caps.canHoldEventType(1));
    });
    // Another service's sync changes nothing.
    whileSyncing(makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("other")),
                 [&] { EXPECT_FALSE(caps.canHoldEventType(1)); });
}

TEST_F(CalendarCapabilitiesTest, RegistryReplacesAndRemovesEngines) {
    ServiceEngines &registry = ServiceEngines::shared();
    EXPECT_EQ(&registry, &m_engines.registry);
    ModelObject *service =
        makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("S1"));
    EXPECT_EQ(registry.calDAVEngineFor(service), nullptr);
    auto first = m_engines.registerCalDAV();
    EXPECT_EQ(registry.calDAVEngineFor(service), first.get());
    EXPECT_EQ(registry.exchangeEngineFor(service), nullptr);
    auto second = m_engines.registerCalDAV();
    EXPECT_EQ(registry.calDAVEngineFor(service), second.get());
    registry.registerEngine(QStringLiteral("CalDAV Synchronization"), nullptr);
    EXPECT_EQ(registry.engineForName(QStringLiteral("CalDAV Synchronization")), nullptr);
    EXPECT_EQ(registry.calDAVEngineFor(nullptr), nullptr);
    // An engine of the wrong interface under a kind is not handed out.
    registry.registerEngine(QStringLiteral("CalDAV Synchronization"),
                            std::make_shared<FakeExchangeEngine>());
    EXPECT_EQ(registry.calDAVEngineFor(service), nullptr);
}

class RelatedContainerTest : public CalendarCapabilitiesTest {
protected:
    RelatedContainerTest() {
        m_service = makeService(QStringLiteral("CalDAV Synchronization"), QStringLiteral("A"));
    }

    // A subscribed calendar of the account that holds to-dos, or only
    // events when `eventsOnly`.
    CommonDataMO *calendar(const QString &uid, const QString &title, qint64 access,
                           bool eventsOnly = false) {
        CommonDataMO *made = makeCalendar(uid, m_service);
        made->setStringValue(title, QStringLiteral("title"));
        made->setIntegerValue(access, QStringLiteral("access"));
        made->setIntegerValue(1, QStringLiteral("localSubscription"));
        made->setIntegerValue(eventsOnly ? 1 : 0, QStringLiteral("supportedEventTypes"));
        return made;
    }
    CommonDataMO *related(CommonDataMO *from, const QString &defaultUID = {}) {
        return CalendarCapabilities(from).relatedContainerThatCanHoldEventType(1, defaultUID);
    }

    ModelObject *m_service = nullptr;
};

TEST_F(RelatedContainerTest, ScoresAccessBeforeTitleAndTheDefaultBeforeAll) {
    CommonDataMO *events = calendar(QStringLiteral("E"), QStringLiteral("Work"), 4, true);
    CommonDataMO *tasks = calendar(QStringLiteral("T"), QStringLiteral("Work Tasks"), 3);
    CommonDataMO *other = calendar(QStringLiteral("O"), QStringLiteral("Garden"), 4);
    // Full access outweighs a close title; a calendar refusing to-dos is out.
    EXPECT_EQ(related(events), other);
    other->setIntegerValue(3, QStringLiteral("access"));
    EXPECT_EQ(related(events), tasks);
    EXPECT_EQ(related(events, QStringLiteral("O")), other);
    // Not subscribed: not considered.
    other->setIntegerValue(0, QStringLiteral("localSubscription"));
    EXPECT_EQ(related(events, QStringLiteral("O")), tasks);
    // Read-only calendars with nothing in common still score by title.
    tasks->setIntegerValue(0, QStringLiteral("access"));
    EXPECT_EQ(related(events), tasks);
}

TEST_F(RelatedContainerTest, GroupVisibilityAndSortOrderBreakTies) {
    CommonDataMO *events = calendar(QStringLiteral("E"), QStringLiteral("Home"), 4, true);
    events->setIntegerValue(50, QStringLiteral("localSortOrder"));
    CommonDataMO *first = calendar(QStringLiteral("1"), QStringLiteral("Lists"), 3);
    CommonDataMO *second = calendar(QStringLiteral("2"), QStringLiteral("Lists"), 3);
    EXPECT_EQ(related(events), first);  // equal scores: the first
    second->setIntegerValue(45, QStringLiteral("localSortOrder"));
    EXPECT_EQ(related(events), second);
    second->setBoolValue(true, QStringLiteral("localHidden"));
    EXPECT_EQ(related(events), first);
    auto *group = context().insertNewObject(QStringLiteral("CalendarGroup"));
    group->setValue(QStringLiteral("uid"), QStringLiteral("G"));
    events->setObject(QStringLiteral("parentGroup"), group);
    second->setObject(QStringLiteral("parentGroup"), group);
    EXPECT_EQ(related(events), second);
}

TEST_F(RelatedContainerTest, OnlyCalDAVAndExchangeAccountsWithTitles) {
    CommonDataMO *untitled = calendar(QStringLiteral("U"), QString(), 4, true);
    calendar(QStringLiteral("T"), QStringLiteral("Tasks"), 4);
    EXPECT_EQ(related(untitled), nullptr);
    CommonDataMO *web = makeCalendar(
        QStringLiteral("W"),
        makeService(QStringLiteral("WebDAV Subscribe Synchronization"), QStringLiteral("B")));
    web->setStringValue(QStringLiteral("Feed"), QStringLiteral("title"));
    EXPECT_EQ(related(web), nullptr);
}

}  // namespace
