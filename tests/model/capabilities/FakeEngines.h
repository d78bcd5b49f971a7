#pragma once

#include <QString>
#include <QStringList>
#include <memory>
#include <optional>

#include "model/CalDAVEngine.h"
#include "model/ExchangeEngine.h"
#include "model/ServiceEngines.h"

// A CalDAV engine whose answers the test sets; it records the event type it
// was asked about for location alarms.
class FakeCalDAVEngine : public CalDAVEngine {
public:
    ServerType serverType(const ModelObject *) const override { return type; }
    int typeOfCalendar(const CommonDataMO *, const ModelObject *) const override {
        return calendarType;
    }
    bool supportsAttachments(const ModelObject *) const override { return attachments; }
    QList<ModelObject *> childServices(const ModelObject *) const override { return children; }
    bool supportsAutoScheduling(const ModelObject *) const override { return autoScheduling; }
    bool supportsOldScheduling(const ModelObject *) const override { return oldScheduling; }
    bool supportsScheduleAgent(const ModelObject *) const override { return scheduleAgent; }
    bool oldOutboxBrokenForCancel(const ModelObject *) const override { return brokenCancel; }
    bool attendeeMustMatchUser(const ModelObject *) const override { return mustMatchUser; }
    QStringList userAddressesForCalendar(const CommonDataMO *, const std::optional<QString> &,
                                         const ModelObject *) const override {
        return userAddresses;
    }
    std::optional<QString> bestUserAddressForCalendar(const CommonDataMO *, QString *userName,
                                                      const ModelObject *,
                                                      std::optional<bool>) const override {
        if (userName)
            *userName = bestName;
        return bestAddress;
    }
    bool supportsProximityAlarmsForEventType(int eventType, const CommonDataMO *,
                                             const ModelObject *) const override {
        askedProximityType = eventType;
        return proximityAlarms;
    }
    bool serverIssuesEmailAlarms(const ModelObject *) const override { return emailAlarms; }
    bool supportsMeetingsOnCalendar(const CommonDataMO *, const ModelObject *) const override {
        return meetings;
    }
    bool supportsPrivateEventsOnCalendar(const CommonDataMO *, const ModelObject *) const override {
        return privateEvents;
    }

    ServerType type = ServerType::Generic;
    int calendarType = 0;
    bool attachments = true;
    QList<ModelObject *> children;
    bool autoScheduling = false;
    bool oldScheduling = false;
    bool scheduleAgent = false;
    bool brokenCancel = false;
    bool mustMatchUser = false;
    QStringList userAddresses;
    std::optional<QString> bestAddress;
    QString bestName;
    bool proximityAlarms = false;
    bool emailAlarms = false;
    bool meetings = false;
    bool privateEvents = false;
    mutable std::optional<int> askedProximityType;
};

// An Exchange engine whose answers the test sets; it counts the items it
// was asked to give defaults.
class FakeExchangeEngine : public ExchangeEngine {
public:
    ServerType serverType(const ModelObject *) const override { return type; }
    int typeOfContainer(const CommonDataMO *, const ModelObject *) const override {
        return containerType;
    }
    bool supportsAttachments(const ModelObject *) const override { return attachments; }
    std::optional<QString> bestUserAddressForContainer(const CommonDataMO *, QString *userName,
                                                       const ModelObject *) const override {
        if (userName)
            *userName = bestName;
        return bestAddress;
    }
    void setDefaultsForNewEvent(CommonDataMO *) const override { ++defaultsSet; }

    ServerType type = ServerType::OnPremises;
    int containerType = 0;
    bool attachments = true;
    std::optional<QString> bestAddress;
    QString bestName;
    mutable int defaultsSet = 0;
};

// Installs a registry of its own for the test's lifetime.
class ScopedEngineRegistry {
public:
    ScopedEngineRegistry() { ServiceEngines::setShared(&registry); }
    ~ScopedEngineRegistry() { ServiceEngines::setShared(nullptr); }
    ScopedEngineRegistry(const ScopedEngineRegistry &) = delete;
    ScopedEngineRegistry &operator=(const ScopedEngineRegistry &) = delete;

    std::shared_ptr<FakeCalDAVEngine> registerCalDAV() {
        auto engine = std::make_shared<FakeCalDAVEngine>();
        registry.registerEngine(QStringLiteral("CalDAV Synchronization"), engine);
        return engine;
    }
    std::shared_ptr<FakeExchangeEngine> registerExchange() {
        auto engine = std::make_shared<FakeExchangeEngine>();
        registry.registerEngine(QStringLiteral("Exchange Synchronization"), engine);
        return engine;
    }

    ServiceEngines registry;
};
