#pragma once

#include <memory>

#include "caldav/support/FaultProxy.h"
#include "caldav/support/SyncTestSuite.h"

// A sync suite whose account reaches the server through a FaultProxy of the
// test, which counts the requests and fails the chosen ones.
template <typename Server>
class ProxiedSyncTestSuite : public SyncTestSuite<Server> {
protected:
    void SetUp() override {
        SyncTestSuite<Server>::SetUp();
        if (this->HasFatalFailure())
            return;
        proxy = std::make_unique<FaultProxy>(this->server->port());
        ASSERT_EQ(proxy->listen(), QString());
    }
    QString serviceAddress() const override {
        return proxy->url(QLatin1String(SyncAccount<Server>::principal));
    }
    std::unique_ptr<FaultProxy> proxy;
};
