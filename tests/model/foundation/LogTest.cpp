#include <gtest/gtest.h>

#include <vector>

#include "model/foundation/Log.h"
#include "support/TestSupport.h"

namespace {

// A sink that records what is written and leaves the mask alone.
class RecordingSink : public LogSink {
public:
    void logMessage(const LogMessage &message) override {
        messages.push_back(message);
        if (onMessage)
            onMessage(message);
    }
    void flush() override { ++flushes; }

    std::vector<int> flags() const {
        std::vector<int> result;
        for (const LogMessage &message : messages)
            result.push_back(message.flag);
        return result;
    }

    std::vector<LogMessage> messages;
    std::function<void(const LogMessage &)> onMessage;
    int flushes = 0;
};

// Installs a recording sink and restores the mask afterwards.
class LogTest : public ::testing::Test {
protected:
    LogTest() : m_previousMask(Log::mask()) { Log::addSink(&sink); }
    ~LogTest() override {
        Log::removeSink(&sink);
        Log::setMask(m_previousMask);
    }

    static void logAtEveryLevel() {
        logError("e");
        logWarning("w");
        logInfo("i");
        logDebug("d");
        logVerbose("v");
        logTaskTrace("t");
    }

    RecordingSink sink;

private:
    int m_previousMask;
};

}  // namespace

TEST_F(LogTest, LogLevelSetsTheMask) {
    const std::pair<int, int> table[] = {{0, 3}, {1, 7}, {2, 15}, {3, 31}, {4, 63}};
    for (const auto &[level, mask] : table) {
        Log::setMask(Log::kBuiltInMask);
        Log::setLogLevel(level);
        EXPECT_EQ(Log::mask(), mask) << "level " << level;
    }
    // Any other level leaves the mask as it is, whatever it is.
    for (int level : {-1, 5, 7, 100}) {
        Log::setMask(Log::kBuiltInMask);
        Log::setLogLevel(level);
        EXPECT_EQ(Log::mask(), 15) << "level " << level;
        Log::setMask(3);
        Log::setLogLevel(level);
        EXPECT_EQ(Log::mask(), 3) << "level " << level;
    }
    EXPECT_EQ(Log::kBuiltInMask, 15);
}

TEST_F(LogTest, OnlyMessagesWhoseFlagIsInTheMaskAreWritten) {
    Log::setLogLevel(0);
    logAtEveryLevel();
    EXPECT_EQ(sink.flags(), (std::vector<int>{LogFlagError, LogFlagWarning}));

    sink.messages.clear();
    Log::setMask(Log::kBuiltInMask);
    logAtEveryLevel();
    EXPECT_EQ(sink.flags(), (std::vector<int>{1, 2, 4, 8}));

    sink.messages.clear();
    Log::setLogLevel(3);
    logAtEveryLevel();
    EXPECT_EQ(sink.flags(), (std::vector<int>{1, 2, 4, 8, 16}));

    sink.messages.clear();
    Log::setLogLevel(4);
    logAtEveryLevel();
    EXPECT_EQ(sink.flags(), (std::vector<int>{1, 2, 4, 8, 16, 32}));
    EXPECT_TRUE(Log::isEnabled(LogFlagTaskTrace));
}

TEST_F(LogTest, MessagesCarryTheFormattedTextAndTheClocksTime) {
    ScopedManualClock clock{Date(12345.5)};
    Log::setMask(Log::kBuiltInMask);
    logInfo("Starting %@ %@ (%@)", "Merovan", QStringLiteral("1.0"), 7);
    ASSERT_EQ(sink.messages.size(), 1u);
    EXPECT_EQ(sink.messages[0].flag, LogFlagInfo);
    EXPECT_EQ(sink.messages[0].text, QStringLiteral("Starting Merovan 1.0 (7)"));
    EXPECT_EQ(sink.messages[0].timestamp, Date(12345.5));
}

TEST_F(LogTest, EverySinkGetsEachMessageAndMayLogWhileWriting) {
    Log::setMask(Log::kBuiltInMask);
    RecordingSink second;
    Log::addSink(&second);
    // A sink that logs from inside logMessage (as rolling log files do)
    // neither deadlocks nor loses the message.
    sink.onMessage = [&](const LogMessage &message) {
        if (message.text == QLatin1String("roll"))
            logInfo("rolled");
    };
    logWarning("roll");
    Log::flush();
    Log::removeSink(&second);
    logInfo("after");

    ASSERT_EQ(sink.messages.size(), 3u);
    EXPECT_EQ(sink.messages[0].text, QStringLiteral("roll"));
    EXPECT_EQ(sink.messages[1].text, QStringLiteral("rolled"));
    EXPECT_EQ(sink.messages[2].text, QStringLiteral("after"));
    ASSERT_EQ(second.messages.size(), 2u);  // both, whichever first
    EXPECT_NE(second.messages[0].text, second.messages[1].text);
    EXPECT_EQ(sink.flushes, 1);
    EXPECT_EQ(second.flushes, 1);
}
