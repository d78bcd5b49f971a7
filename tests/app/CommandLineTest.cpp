#include <gtest/gtest.h>

#include <QJsonDocument>
#include <QJsonObject>

#include "support/TestSupport.h"

TEST(CommandLine, HelpAndVersion) {
    TemporaryHome home;
    const ProcessResult help = runMerovan({QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.startsWith(QStringLiteral("usage: merovan")));
    EXPECT_TRUE(help.out.contains(QStringLiteral("version")));

    const ProcessResult version = runMerovan({QStringLiteral("version"), QStringLiteral("--json")});
    ASSERT_EQ(version.exitCode, 0) << version.err.toStdString();
    const QJsonDocument document = QJsonDocument::fromJson(version.out.toUtf8());
    EXPECT_EQ(document.object().value(QStringLiteral("name")).toString(), QStringLiteral("Merovan"));
}

TEST(CommandLine, FailuresExitNonZeroWithOneLine) {
    TemporaryHome home;
    const ProcessResult unknown = runMerovan({QStringLiteral("frobnicate")});
    EXPECT_NE(unknown.exitCode, 0);
    EXPECT_TRUE(unknown.out.isEmpty());
    EXPECT_EQ(unknown.err.trimmed().count(QLatin1Char('\n')), 0);

    const ProcessResult badOption = runMerovan({QStringLiteral("version"), QStringLiteral("--bogus")});
    EXPECT_NE(badOption.exitCode, 0);
    EXPECT_TRUE(badOption.err.contains(QStringLiteral("--bogus")));
}
