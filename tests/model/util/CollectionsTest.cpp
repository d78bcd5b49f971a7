#include <gtest/gtest.h>

#include <QHash>
#include <QSet>

#include "QtPrinters.h"
#include "model/util/Collections.h"

namespace {

TEST(Collections, AdditionsSkipMissingValues) {
    QVariantMap map;
    setObjectIfNotNil(map, "a", QVariant());
    setObjectIfNotNil(map, "b", QVariant(QString()));  // an empty string is a value
    setObjectIfNotNil(map, "c", QVariant(0));
    EXPECT_EQ(map.keys(), QStringList({"b", "c"}));

    QHash<QString, int> counts;
    setObjectIfNotNil(counts, "x", std::optional<int>());
    setObjectIfNotNil(counts, "y", std::optional<int>(0));
    EXPECT_EQ(counts, (QHash<QString, int>{{"y", 0}}));

    QVariantList list;
    addObjectIfNotNil(list, QVariant());
    addObjectIfNotNil(list, QVariant(false));
    EXPECT_EQ(list, QVariantList({false}));
    QStringList strings;
    addObjectIfNotNil(strings, std::optional<QString>());
    addObjectIfNotNil(strings, std::optional<QString>("s"));
    EXPECT_EQ(strings, QStringList({"s"}));
}

TEST(Collections, CaseInsensitiveContainsInListsAndSets) {
    const QStringList list{"Work", "Home"};
    EXPECT_TRUE(caseInsensitiveContainsString(list, "WORK"));
    EXPECT_FALSE(caseInsensitiveContainsString(list, "Wor"));
    const QSet<QString> set{"Bob@Example.org"};
    EXPECT_TRUE(caseInsensitiveContainsString(set, "bob@example.ORG"));
    EXPECT_FALSE(caseInsensitiveContainsString(QSet<QString>(), ""));
}

TEST(Collections, CaseInsensitiveKeyPrefersTheExactKey) {
    QVariantMap headers{{"content-type", "lower"}, {"Content-Type", "exact"}, {"ETag", "\"1\""}};
    EXPECT_EQ(objectForCaseInsensitiveKey(headers, "Content-Type"), QVariant("exact"));
    EXPECT_EQ(objectForCaseInsensitiveKey(headers, "etag"), QVariant("\"1\""));
    EXPECT_EQ(objectForCaseInsensitiveKey(headers, "Location"), std::nullopt);
    headers.remove("Content-Type");
    EXPECT_EQ(objectForCaseInsensitiveKey(headers, "CONTENT-TYPE"), QVariant("lower"));

    const QHash<QString, int> hash{{"Depth", 1}};
    EXPECT_EQ(objectForCaseInsensitiveKey(hash, "depth"), 1);
}

TEST(Collections, IntersectionAndDifferenceKeepTheOrderAndDuplicatesOfTheFirstList) {
    const QStringList serverUIDs{"c", "a", "b", "a", "d"};
    const QStringList localUIDs{"a", "d", "x"};
    EXPECT_EQ(arrayByIntersectingArray(serverUIDs, localUIDs), QStringList({"a", "a", "d"}));
    EXPECT_EQ(arrayByRemovingObjectsInArray(serverUIDs, localUIDs), QStringList({"c", "b"}));
    EXPECT_EQ(arrayByRemovingObjectsInArray(serverUIDs, QStringList()), serverUIDs);
    EXPECT_TRUE(arrayByIntersectingArray(QStringList(), localUIDs).isEmpty());

    // Values compare as QVariant does: numbers by value across types.
    const QVariantList values{1, 2.5, "x"};
    EXPECT_EQ(arrayByIntersectingArray(values, QVariantList({1.0, "x"})), QVariantList({1, "x"}));
    EXPECT_EQ(arrayByRemovingObjectsInArray(values, QVariantList({1.0, "x"})), QVariantList({2.5}));
}

}  // namespace
