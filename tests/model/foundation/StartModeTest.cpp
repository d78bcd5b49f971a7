#include <gtest/gtest.h>

#include "model/foundation/StartMode.h"

TEST(StartModes, EachArgumentNamesItsMode) {
    EXPECT_EQ(StartModes::scan({}), StartMode::Normal);
    EXPECT_EQ(StartModes::scan({"-reset"}), StartMode::Reset);
    EXPECT_EQ(StartModes::scan({"-logs"}), StartMode::Logs);
    EXPECT_EQ(StartModes::scan({"-offline"}), StartMode::Offline);
    EXPECT_EQ(StartModes::scan({"-fonts"}), StartMode::Fonts);
    EXPECT_EQ(StartModes::scan({"-safe"}), StartMode::Safe);
    EXPECT_EQ(int(StartMode::Safe), 5);
}

TEST(StartModes, LaterModesOverrideEarlierOnesAndOthersAreIgnored) {
    EXPECT_EQ(StartModes::scan({"-reset", "-safe"}), StartMode::Safe);
    EXPECT_EQ(StartModes::scan({"-safe", "version", "-logs", "--json"}), StartMode::Logs);
    EXPECT_EQ(StartModes::scan({"-offline", "-reset", "-offline"}), StartMode::Offline);
    // Near misses are not modes.
    EXPECT_EQ(StartModes::scan({"--reset", "reset", "-RESET", "-resets", "-reset=1", ""}),
              StartMode::Normal);
    EXPECT_EQ(StartModes::scan({"-fonts", "--safe"}), StartMode::Fonts);
}

TEST(StartModes, WithoutModesKeepsTheRestInOrder) {
    EXPECT_EQ(StartModes::withoutModes({"-reset", "calendar", "-logs", "add", "--json", "-safe"}),
              (QStringList{"calendar", "add", "--json"}));
    EXPECT_EQ(StartModes::withoutModes({"--reset", "-x"}), (QStringList{"--reset", "-x"}));
    EXPECT_TRUE(StartModes::withoutModes({"-safe"}).isEmpty());
}

TEST(StartModes, TheCurrentModeIsWhatWasSet) {
    const StartMode previous = StartModes::current();
    StartModes::setCurrent(StartMode::Offline);
    EXPECT_EQ(StartModes::current(), StartMode::Offline);
    StartModes::setCurrent(previous);
}
