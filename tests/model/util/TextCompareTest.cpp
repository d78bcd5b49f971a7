#include <gtest/gtest.h>

#include <QLocale>

#include "QtPrinters.h"
#include "model/RichText.h"
#include "model/util/OwnAddresses.h"
#include "model/util/TextCompare.h"

namespace {

TEST(TextCompare, NormalizedStringFoldsCaseDiacriticsAndWidth) {
    EXPECT_EQ(normalizedString("Crème Brûlée"), normalizedString("CREME BRULEE"));
    EXPECT_EQ(normalizedString("Ｚｏｏｍ　Ｃａｌｌ"), "zoom call");  // full-width letters and space
    EXPECT_EQ(normalizedString("ｶﾞｽ"), normalizedString("ガス"));    // half-width katakana
    EXPECT_EQ(normalizedString("Straße"), normalizedString("STRASSE"));
    EXPECT_NE(normalizedString("Resume"), normalizedString("Resumes"));
    // The result is decomposed and has no combining marks left.
    const QString folded = normalizedString("Ångström");
    EXPECT_EQ(folded, folded.normalized(QString::NormalizationForm_D));
    EXPECT_EQ(folded, "angstrom");
}

TEST(TextCompare, DiacriticsRemovedKeepCaseAndComposition) {
    EXPECT_EQ(stringWithDiacriticsRemoved("Crème Brûlée"), "Creme Brulee");
    EXPECT_EQ(stringWithDiacriticsRemoved("Ｃafe\u0301"), "Ｃafe");  // width is not folded
    EXPECT_TRUE(isEqualToCaseAndDiacriticalInsensitiveString("São Paulo", "SAO PAULO"));
    EXPECT_TRUE(isEqualToCaseAndDiacriticalInsensitiveString("e\u0301", "\u00C9"));
    EXPECT_FALSE(isEqualToCaseAndDiacriticalInsensitiveString("Sao Paulo", "Sao Paolo"));
}

TEST(TextCompare, LocalizedAndSmartOrdering) {
    EXPECT_EQ(localizedCaseAndDiacriticInsensitiveCompare("école", "ECOLE"), 0);
    EXPECT_LT(localizedCaseAndDiacriticInsensitiveCompare("apple", "Banana"), 0);
    EXPECT_GT(localizedCaseAndDiacriticInsensitiveCompare("Zürich", "zebra"), 0);
    EXPECT_LT(caseInsensitiveSmartCompare("Week 9", "week 10"), 0);
    EXPECT_GT(caseInsensitiveSmartCompare("Room 100", "room 20"), 0);
    EXPECT_EQ(caseInsensitiveSmartCompare("HOME", "home"), 0);
}

TEST(TextCompare, FuzzyCompareIsTheEditDistanceOnCodeUnits) {
    EXPECT_EQ(fuzzyCompare("Work", "work"), 1);
    EXPECT_EQ(fuzzyCompare("", "abc"), 3);
    EXPECT_EQ(fuzzyCompare("abc", ""), 3);
    EXPECT_EQ(fuzzyCompare("same", "same"), 0);
    EXPECT_EQ(fuzzyCompare("kitten", "sitting"), 3);
    EXPECT_EQ(fuzzyCompare("sitting", "kitten"), 3);
    EXPECT_EQ(fuzzyCompare("flaw", "lawn"), 2);
    EXPECT_EQ(fuzzyCompare("John Smith", "Jon Smyth"), 2);
    // An emoji is two code units, so replacing it costs two.
    EXPECT_EQ(fuzzyCompare("a😀", "ab"), 2);
    EXPECT_EQ(fuzzyCompare("ab", "ba"), 2);  // no transpositions
}

TEST(TextCompare, StringEqualityTreatsMissingAsEmpty) {
    EXPECT_TRUE(stringsEqual(QString(), ""));
    EXPECT_FALSE(stringsEqual("a", "A"));
    EXPECT_TRUE(stringsEqualIgnoringCase("Bob@Example.org", "bob@example.ORG"));
    EXPECT_FALSE(stringsEqualIgnoringCase("bob", "bobby"));
    EXPECT_TRUE(stringsEqualIgnoringCase(QString(), ""));
    EXPECT_TRUE(arraysEqual({}, {}));
    EXPECT_FALSE(arraysEqual({1, 2}, {2, 1}));
}

TEST(TextCompare, ValuesEqualIsChosenByTheFirstValue) {
    const QVariant none;
    const QVariant empty = QString("");
    EXPECT_FALSE(valuesEqual(none, empty));
    EXPECT_TRUE(valuesEqual(empty, none));
    EXPECT_TRUE(valuesEqual(none, none));
    EXPECT_FALSE(valuesEqual(QString("x"), none));
    EXPECT_TRUE(valuesEqual(QString("x"), QString("x")));
    EXPECT_FALSE(valuesEqual(QString("1"), 1));

    EXPECT_TRUE(valuesEqual(QVariantList(), none));
    EXPECT_TRUE(valuesEqual(QStringList({"a", "b"}), QVariantList({"a", "b"})));
    EXPECT_FALSE(valuesEqual(QStringList({"a"}), none));
    EXPECT_FALSE(valuesEqual(QVariantList(), QString("")));

    EXPECT_TRUE(valuesEqual(QVariant(3), QVariant(3.0)));
    EXPECT_FALSE(valuesEqual(QVariant(3), none));
    EXPECT_FALSE(valuesEqual(none, QVariant(0)));
}

TEST(TextCompare, RichTextComparesTextAndRuns) {
    const QVariantList bold{QVariantMap{{"location", 0}, {"length", 4}, {"bold", true}}};
    const QVariant plain = QVariant::fromValue(RichText("Note"));
    const QVariant formatted = QVariant::fromValue(RichText("Note", bold));
    EXPECT_TRUE(valuesEqual(formatted, QVariant::fromValue(RichText("Note", bold))));
    EXPECT_FALSE(valuesEqual(formatted, plain));
    EXPECT_FALSE(valuesEqual(plain, QVariant::fromValue(RichText("Nope"))));
    EXPECT_FALSE(valuesEqual(plain, QString("Note")));
    EXPECT_FALSE(valuesEqual(plain, QVariant()));
    // Empty rich text equals a missing value and other empty rich text, whatever its runs.
    EXPECT_TRUE(valuesEqual(QVariant::fromValue(RichText()), QVariant()));
    EXPECT_TRUE(
        valuesEqual(QVariant::fromValue(RichText("", bold)), QVariant::fromValue(RichText())));
}

class TextCompareOwnAddresses : public testing::Test {
protected:
    ~TextCompareOwnAddresses() override { OwnAddresses::setProvider({}); }
};

TEST_F(TextCompareOwnAddresses, AddressesOfTheUserAreEqualToEachOther) {
    EXPECT_FALSE(addressesEqual("me@work.example", "me@home.example"));
    EXPECT_TRUE(addressesEqual("Bob@Example.org", "bob@example.org"));

    OwnAddresses::setProvider([] { return QStringList{"me@work.example", "Me@Home.example"}; });
    EXPECT_TRUE(addressesEqual("me@work.example", "ME@home.example"));
    EXPECT_FALSE(addressesEqual("me@work.example", "boss@work.example"));
    EXPECT_TRUE(OwnAddresses::contains("ME@WORK.EXAMPLE"));

    OwnAddresses::setProvider({});
    EXPECT_FALSE(addressesEqual("me@work.example", "me@home.example"));
}

}  // namespace
