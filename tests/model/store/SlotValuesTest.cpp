#include <gtest/gtest.h>

#include <stdexcept>

#include "model/store/SlotValues.h"

// Values set in an order unlike that of their slots, more of them than the
// room first made holds, each read back from its own slot; overwriting or
// clearing one leaves the others alone.
TEST(SlotValuesTest, EachSlotKeepsItsOwnValueWhateverOrderTheyAreSetIn) {
    constexpr int kSlots = 40;
    SlotValues values;
    values.reset(kSlots);
    // 17 and 40 have no common factor: i * 17 % 40 visits the slots out of order.
    for (int i = 0; i < 30; ++i) {
        const int slot = i * 17 % kSlots;
        values.valueToSet(slot) = QVariant(qint64(1000 + slot));
    }
    std::vector<bool> isSet(kSlots, false);
    for (int i = 0; i < 30; ++i)
        isSet[std::size_t(i * 17 % kSlots)] = true;
    for (int slot = 0; slot < kSlots; ++slot) {
        if (isSet[std::size_t(slot)])
            EXPECT_EQ(values.value(slot), QVariant(qint64(1000 + slot))) << slot;
        else
            EXPECT_FALSE(values.value(slot).isValid()) << slot;
    }

    values.valueToSet(17) = QStringLiteral("seventeen");
    values.valueToSet(34) = QVariant();
    EXPECT_EQ(values.value(17), QVariant(QStringLiteral("seventeen")));
    EXPECT_FALSE(values.value(34).isValid());
    EXPECT_EQ(values.value(11), QVariant(qint64(1011)));
    EXPECT_EQ(values.value(0), QVariant(qint64(1000)));
    EXPECT_EQ(values.slotCount(), std::size_t(kSlots));
}

TEST(SlotValuesTest, ResetAndClearDropEveryValue) {
    SlotValues values;
    values.reset(5);
    values.valueToSet(3) = QStringLiteral("x");
    values.reset(5);
    EXPECT_FALSE(values.value(3).isValid());
    values.valueToSet(4) = true;
    EXPECT_EQ(values.value(4), QVariant(true));

    values.clear();
    EXPECT_EQ(values.slotCount(), 0u);
    values.reset(3);
    EXPECT_FALSE(values.value(2).isValid());
    values.valueToSet(2) = 2.5;
    EXPECT_EQ(values.value(2), QVariant(2.5));
}

TEST(SlotValuesTest, MoreSlotsThanAnObjectCanNumberAreRefused) {
    SlotValues values;
    EXPECT_THROW(values.reset(70000), std::length_error);
    values.reset(65535);
    values.valueToSet(65534) = QStringLiteral("last");
    EXPECT_EQ(values.value(65534), QVariant(QStringLiteral("last")));
}

// The slots set are walked in the order they were first set, each once,
// with its current value, a cleared one included; reset starts over.
TEST(SlotValuesTest, TheSetSlotsAreWalkedInTheOrderTheyWereFirstSet) {
    SlotValues values;
    values.reset(30);
    for (const int slot : {29, 3, 17, 0, 3, 8, 17, 12, 21, 4, 26})
        values.valueToSet(slot) = QVariant(slot * 10);
    values.valueToSet(8) = QVariant();
    const std::vector<int> order{29, 3, 17, 0, 8, 12, 21, 4, 26};
    ASSERT_EQ(values.setCount(), order.size());
    for (std::size_t i = 0; i < order.size(); ++i) {
        EXPECT_EQ(values.setSlot(i), order[i]) << i;
        EXPECT_EQ(values.setValue(i), order[i] == 8 ? QVariant() : QVariant(order[i] * 10)) << i;
        EXPECT_EQ(&values.setValue(i), &values.value(order[i])) << i;
    }
    values.reset(5);
    EXPECT_EQ(values.setCount(), 0u);
    values.valueToSet(4) = 1;
    ASSERT_EQ(values.setCount(), 1u);
    EXPECT_EQ(values.setSlot(0), 4);
}
