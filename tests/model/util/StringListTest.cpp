#include <gtest/gtest.h>

#include "QtPrinters.h"
#include "model/util/StringList.h"
#include "support/TestSupport.h"

namespace {

TEST(StringList, JoiningDropsTrailingEmptiesButKeepsInnerOnes) {
    EXPECT_EQ(stringListFromArray({"a", "", "b", "", ""}), QString("a|&||&|b"));
    EXPECT_EQ(stringListFromArray({"", "x"}), QString("|&|x"));
    EXPECT_EQ(stringListFromArray({"only"}), QString("only"));
    EXPECT_EQ(stringListFromArray({"", ""}), std::nullopt);
    EXPECT_EQ(stringListFromArray({}), std::nullopt);
    EXPECT_EQ(arrayByRemovingEmptiesInStringList({"", "a", "", "b", ""}), QString("a|&|b"));
    EXPECT_EQ(arrayByRemovingEmptiesInStringList({"", ""}), std::nullopt);
}

TEST(StringList, SplittingRoundTripsInnerEmptyEntriesAndSeparatorLookalikes) {
    const QStringList entries{"Work", "", "R&D | Team", "a|b&c"};
    const std::optional<QString> stored = stringListFromArray(entries);
    ASSERT_TRUE(stored);
    EXPECT_EQ(arrayFromStringList(*stored), entries);
    EXPECT_EQ(arrayFromStringList("a|&||&|b"), QStringList({"a", "", "b"}));
    EXPECT_TRUE(arrayFromStringList(QString()).isEmpty());
    EXPECT_TRUE(arrayFromStringList("").isEmpty());
}

TEST(StringList, EntryAtIndexIsNoneWhenEmptyOrOutOfRange) {
    const QString stored = "a|&||&|b";
    EXPECT_EQ(stringListEntryAtIndex(stored, 0), QString("a"));
    EXPECT_EQ(stringListEntryAtIndex(stored, 1), std::nullopt);
    EXPECT_EQ(stringListEntryAtIndex(stored, 2), QString("b"));
    EXPECT_EQ(stringListEntryAtIndex(stored, 3), std::nullopt);
    EXPECT_EQ(stringListEntryAtIndex(stored, -1), std::nullopt);
    EXPECT_EQ(stringListEntryAtIndex(QString(), 0), std::nullopt);
}

TEST(StringList, SeparatedForDisplay) {
    EXPECT_EQ(stringListSeparatedByString("a|&|b|&|c", ", "), "a, b, c");
    EXPECT_EQ(stringListSeparatedByString("single", ", "), "single");
}

TEST(StringList, EditingPadsWithEmptyEntriesSoPositionsStay) {
    QStringList entries;
    addStringListEntry(entries, std::nullopt);
    addStringListEntry(entries, QString("x"));
    EXPECT_EQ(entries, QStringList({"", "x"}));

    insertStringListEntry(entries, QString("late"), 4);
    EXPECT_EQ(entries, QStringList({"", "x", "", "", "late"}));
    insertStringListEntry(entries, QString("first"), 0);
    EXPECT_EQ(entries, QStringList({"first", "", "x", "", "", "late"}));
    insertStringListEntry(entries, std::nullopt, 1);
    EXPECT_EQ(entries, QStringList({"first", "", "", "x", "", "", "late"}));

    QStringList replaced{"a"};
    replaceStringListEntryAtIndex(replaced, 2, QString("c"));
    EXPECT_EQ(replaced, QStringList({"a", "", "c"}));
    replaceStringListEntryAtIndex(replaced, 0, std::nullopt);
    EXPECT_EQ(replaced, QStringList({"", "", "c"}));
    EXPECT_EQ(stringListFromArray(replaced), QString("|&||&|c"));

    removeEmptiesInStringList(entries);
    EXPECT_EQ(entries, QStringList({"first", "x", "late"}));
}

TEST(StringList, NegativeIndexIsLoggedAndIgnored) {
    LogCapture log;
    QStringList entries{"a"};
    insertStringListEntry(entries, QString("b"), -1);
    replaceStringListEntryAtIndex(entries, -3, QString("c"));
    EXPECT_EQ(entries, QStringList({"a"}));
    EXPECT_EQ(log.messages().size(), 2u);
}

TEST(StringList, SplitAtAnyCharacterOfASetWithoutEmpties) {
    EXPECT_EQ(
        componentsSeparatedByCharactersInSetWithoutEmpties(",,a, b;;c ,", CharacterSet::of(u", ;")),
        QStringList({"a", "b", "c"}));
    EXPECT_EQ(componentsSeparatedByCharactersInSetWithoutEmpties(
                  "  one\ttwo\n\u00A0three  ", CharacterSet::whitespaceAndNewlines()),
              QStringList({"one", "two", "three"}));
    EXPECT_TRUE(componentsSeparatedByCharactersInSetWithoutEmpties(";;;", CharacterSet::of(u";"))
                    .isEmpty());
    EXPECT_EQ(componentsSeparatedByCharactersInSetWithoutEmpties("abc", CharacterSet::of(u";")),
              QStringList({"abc"}));
}

}  // namespace
