#include <gtest/gtest.h>

#include <QFile>
#include <limits>

#include "model/foundation/Preferences.h"
#include "support/TestSupport.h"

TEST(Preferences, StoredValuesStandOverRegisteredDefaults) {
    TemporaryHome home;
    Preferences &preferences = home.preferences();
    preferences.registerDefaults({{"logLevel", 2}, {"name", "default"}});
    EXPECT_EQ(preferences.integerForKey("logLevel"), 2);
    EXPECT_FALSE(preferences.hasStoredValue("logLevel"));

    preferences.setInteger("logLevel", 4);
    EXPECT_TRUE(preferences.hasStoredValue("logLevel"));
    EXPECT_EQ(preferences.integerForKey("logLevel"), 4);
    // Registering again replaces the default, never the stored value.
    preferences.registerDefaults({{"logLevel", 3}});
    EXPECT_EQ(preferences.integerForKey("logLevel"), 4);

    preferences.removeObjectForKey("logLevel");
    EXPECT_FALSE(preferences.hasStoredValue("logLevel"));
    EXPECT_EQ(preferences.integerForKey("logLevel"), 3);

    preferences.setString("name", "mine");
    EXPECT_EQ(preferences.stringForKey("name"), "mine");
    preferences.setObject("name", QVariant());  // no value removes
    EXPECT_EQ(preferences.stringForKey("name"), "default");
}

TEST(Preferences, MissingValuesReadAsNothing) {
    TemporaryHome home;
    const Preferences &preferences = home.preferences();
    EXPECT_FALSE(preferences.objectForKey("absent").isValid());
    EXPECT_FALSE(preferences.boolForKey("absent"));
    EXPECT_EQ(preferences.integerForKey("absent"), 0);
    EXPECT_EQ(preferences.doubleForKey("absent"), 0.0);
    EXPECT_TRUE(preferences.stringForKey("absent").isNull());
    EXPECT_FALSE(preferences.dateForKey("absent"));
}

TEST(Preferences, TypedReadsOfWhatTheFileKeeps) {
    TemporaryHome home;
    const QString path = home.filePath("typed.conf");
    {
        Preferences writer(path);
        writer.setBool("yes", true);
        writer.setBool("no", false);
        writer.setInteger("big", 9007199254740993);  // not a double
        writer.setInteger("negative", -5);
        writer.setDouble("ratio", 2.75);
        writer.setString("text", "Zürich, a=b; c");
        writer.setDate("lastVacuum", Date(-4.75));
        writer.synchronize();
    }
    const Preferences reader(path);
    EXPECT_TRUE(reader.boolForKey("yes"));
    EXPECT_FALSE(reader.boolForKey("no"));
    EXPECT_EQ(reader.integerForKey("big"), 9007199254740993);
    EXPECT_EQ(reader.integerForKey("negative"), -5);
    EXPECT_TRUE(reader.boolForKey("negative"));
    EXPECT_EQ(reader.doubleForKey("ratio"), 2.75);
    EXPECT_EQ(reader.integerForKey("ratio"), 2);  // whole part
    EXPECT_EQ(reader.stringForKey("text"), "Zürich, a=b; c");
    EXPECT_EQ(reader.stringForKey("negative"), "-5");
    EXPECT_EQ(reader.dateForKey("lastVacuum"), Date(-4.75));
    EXPECT_FALSE(reader.dateForKey("text"));
}

TEST(Preferences, HandWrittenFilesReadSensibly) {
    TemporaryHome home;
    const QString path = home.filePath("edited.conf");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(
        "[General]\n"
        "logLevel = 3\n"
        "offline=true\n"
        "initialSync=0\n"
        "huge=1e300\n"
        "tiny=-1e300\n"
        "word=abc\n");
    file.close();
    const Preferences preferences(path);
    EXPECT_EQ(preferences.integerForKey("logLevel"), 3);
    EXPECT_TRUE(preferences.boolForKey("offline"));
    EXPECT_FALSE(preferences.boolForKey("initialSync"));
    EXPECT_EQ(preferences.integerForKey("huge"), std::numeric_limits<qint64>::max());
    EXPECT_EQ(preferences.integerForKey("tiny"), std::numeric_limits<qint64>::min());
    EXPECT_EQ(preferences.integerForKey("word"), 0);
    EXPECT_FALSE(preferences.boolForKey("word"));
    EXPECT_EQ(preferences.doubleForKey("huge"), 1e300);
}

TEST(Preferences, ListsAndDictionariesSurviveTheFile) {
    TemporaryHome home;
    const QString path = home.filePath("containers.conf");
    const QVariantList one = {QStringLiteral("only")};
    const QVariantList several = {QStringLiteral("a, b"), qint64(2)};
    const QVariantMap map = {{QStringLiteral("k"), QStringLiteral("v")}};
    {
        Preferences writer(path);
        writer.setObject("one", one);
        writer.setObject("several", several);
        writer.setObject("map", map);
        writer.synchronize();
    }
    const Preferences reader(path);
    EXPECT_EQ(reader.objectForKey("one").toList(), one);
    EXPECT_EQ(reader.objectForKey("several").toList(), several);
    EXPECT_EQ(reader.objectForKey("map").toMap(), map);
}
