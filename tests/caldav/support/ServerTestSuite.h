#pragma once

#include <gtest/gtest.h>

#include "caldav/support/ClientProbe.h"

// A test suite whose tests share one server of type `Server`, started before
// the first test and stopped after the last. A server that did not start
// fails every test with the reason.
template <typename Server>
class ServerTestSuite : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        server = new Server;
        startError = server->start();
    }
    static void TearDownTestSuite() {
        delete server;
        server = nullptr;
    }
    void SetUp() override { ASSERT_TRUE(startError.isEmpty()) << startError.toStdString(); }

    static inline Server *server = nullptr;
    static inline QString startError;
    ClientProbe probe;
};
