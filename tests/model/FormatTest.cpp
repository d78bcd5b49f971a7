#include <gtest/gtest.h>

#include "model/foundation/Format.h"

TEST(Format, ConversionsAsWritten) {
    EXPECT_EQ(format("Upgrading database from %@ to %@", QStringLiteral("4.1"), "4.5"),
              QStringLiteral("Upgrading database from 4.1 to 4.5"));
    EXPECT_EQ(format("Vacuuming database... %.2f MB", 12.3456),
              QStringLiteral("Vacuuming database... 12.35 MB"));
    EXPECT_EQ(format("%06ld", 42L), QStringLiteral("000042"));
    EXPECT_EQ(format("HTTP %ld\n", 207), QStringLiteral("HTTP 207\n"));
    EXPECT_EQ(format("%s:%s", "eth0", QStringLiteral("10.0.0.1")), QStringLiteral("eth0:10.0.0.1"));
    EXPECT_EQ(format("#%.2X%.2X%.2X%s", 2, 0x52, 0xD4, "FF"), QStringLiteral("#0252D4FF"));
    EXPECT_EQ(format("-%c-", '1'), QStringLiteral("-1-"));
    EXPECT_EQ(format("100%% of %@", nullptr), QStringLiteral("100% of (null)"));
    EXPECT_EQ(format("{{%.4f,%.4f},{%.4f,%.4f}}", 0, 1.5, 2, 3),
              QStringLiteral("{{0.0000,1.5000},{2.0000,3.0000}}"));
}

TEST(Format, MissingArgumentsAndStrayPercents) {
    EXPECT_EQ(format("%@ and %@", "one"), QStringLiteral("one and (null)"));
    EXPECT_EQ(format("50%"), QStringLiteral("50%"));
    EXPECT_EQ(format("%y stays"), QStringLiteral("%y stays"));
}

TEST(Format, DescribesValues) {
    EXPECT_EQ(format("%@", 0.1), QStringLiteral("0.1"));
    EXPECT_EQ(format("%@", QVariant(QVariantList{1, QStringLiteral("a")})),
              QStringLiteral("(1, a)"));
    EXPECT_EQ(format("%@", Date(0)), QStringLiteral("2001-01-01T00:00:00.000Z"));
    EXPECT_EQ(format("%@", std::optional<QString>()), QStringLiteral("(null)"));
    EXPECT_EQ(format("%5s|%-5s|", "ab", "cd"), QStringLiteral("   ab|cd   |"));
}
