#include <gtest/gtest.h>

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>

#include "support/TestSupport.h"

namespace {
QJsonObject info(const QStringList &arguments, const QProcessEnvironment &environment) {
    const ProcessResult result = runMerovan(
        arguments + QStringList{QStringLiteral("info"), QStringLiteral("--json")}, environment);
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    return QJsonDocument::fromJson(result.out.toUtf8()).object();
}
}  // namespace

TEST(InfoCommand, ShowsTheStoreAndResetMakesANewOne) {
    QTemporaryDir home;
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("MEROVAN_HOME"), home.path());

    const QJsonObject first = info({}, environment);
    EXPECT_EQ(first.value(QStringLiteral("path")).toString(),
              QDir(home.path()).filePath(QStringLiteral("Merovan.bsql")));
    EXPECT_EQ(first.value(QStringLiteral("databaseVersion")).toString(), QStringLiteral("4.5"));
    EXPECT_FALSE(first.value(QStringLiteral("crashRecovery")).toBool());
    EXPECT_EQ(first.value(QStringLiteral("entities"))
                  .toObject()
                  .value(QStringLiteral("BonjourPublisher"))
                  .toInt(),
              1);
    const QString uid = first.value(QStringLiteral("databaseUID")).toString();
    EXPECT_EQ(uid.size(), 36);

    EXPECT_EQ(info({}, environment).value(QStringLiteral("databaseUID")).toString(), uid);
    const QJsonObject reset = info({QStringLiteral("-reset")}, environment);
    EXPECT_NE(reset.value(QStringLiteral("databaseUID")).toString(), uid);
    EXPECT_FALSE(QFileInfo::exists(QDir(home.path()).filePath(QStringLiteral("_running"))));
}

TEST(InfoCommand, AnUnreadableStoreFailsWithOneLine) {
    QTemporaryDir home;
    QFile store(QDir(home.path()).filePath(QStringLiteral("Merovan.bsql")));
    ASSERT_TRUE(store.open(QIODevice::WriteOnly));
    store.write(QByteArray(8192, 'x'));
    store.close();
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("MEROVAN_HOME"), home.path());
    const ProcessResult result = runMerovan({QStringLiteral("info")}, environment);
    EXPECT_NE(result.exitCode, 0);
    EXPECT_TRUE(result.err.contains(QStringLiteral("unable to open database")))
        << result.err.toStdString();
    EXPECT_TRUE(result.out.isEmpty());
}
