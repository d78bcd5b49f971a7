#include <gtest/gtest.h>

#include <QTimeZone>
#include <cmath>
#include <limits>

#include "model/foundation/Date.h"
#include "support/TestSupport.h"

TEST(Date, CountsSecondsFrom2001InUTC) {
    EXPECT_EQ(Date::fromSecondsSince1970(978307200.0), Date(0));
    EXPECT_EQ(Date(0).toDateTime(), QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC));
    EXPECT_EQ(Date(-4.75).toDateTime(),
              QDateTime(QDate(2000, 12, 31), QTime(23, 59, 55, 250), Qt::UTC));
    const QDateTime berlin(QDate(2024, 7, 1), QTime(12, 0), QTimeZone("Europe/Berlin"));
    EXPECT_EQ(Date::fromDateTime(berlin).toDateTime(), berlin);
    EXPECT_EQ(Date::fromDateTime(berlin).secondsSince1970(), double(berlin.toSecsSinceEpoch()));
    EXPECT_EQ(Date::fromDateTime(QDateTime()), Date());
    EXPECT_EQ(Date(10).addingSeconds(-2.5), Date(7.5));
    EXPECT_EQ(Date(10).secondsSince(Date(12.5)), -2.5);
    EXPECT_LT(Date(-1), Date(0));
}

TEST(Date, DescribesToTheMillisecond) {
    EXPECT_EQ(Date(0).description(), "2001-01-01T00:00:00.000Z");
    EXPECT_EQ(Date(-4.75).description(), "2000-12-31T23:59:55.250Z");
    EXPECT_EQ(Date(0.0004).description(), "2001-01-01T00:00:00.000Z");
    EXPECT_EQ(Date(0.0006).description(), "2001-01-01T00:00:00.001Z");
    EXPECT_EQ(Date(63113904000.0).description(), "4001-01-01T00:00:00.000Z");
}

TEST(Date, InstantsNoTimeCanHoldHaveNone) {
    for (double seconds : {1e16, -1e16, 1e300, std::numeric_limits<double>::infinity(),
                           std::numeric_limits<double>::quiet_NaN()}) {
        EXPECT_FALSE(Date(seconds).toDateTime().isValid()) << seconds;
        EXPECT_TRUE(Date(seconds).description().endsWith(" s from 2001-01-01)")) << seconds;
    }
    EXPECT_EQ(Date(1e300).description(), "(1e+300 s from 2001-01-01)");
}

TEST(Date, NowIsTheSharedClocksNow) {
    ScopedManualClock clock{Date(42.5)};
    EXPECT_EQ(Date::now(), Date(42.5));
    clock.advance(1);
    EXPECT_EQ(Date::now(), Date(43.5));
}
