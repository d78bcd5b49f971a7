#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <csignal>

#include "support/TestSupport.h"

namespace {

// Every file and folder below `folder`, relative to it, hidden ones included.
QStringList entriesBelow(const QString &folder) {
    QStringList entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        entries << QDir(folder).relativeFilePath(it.next());
    entries.sort();
    return entries;
}

QString firstLog(const QString &home) {
    QFile file(QDir(home).filePath(QStringLiteral("Logs/log-000000.txt")));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

QProcessEnvironment homeAt(const QString &home) {
    QProcessEnvironment environment;
    environment.insert(QStringLiteral("MEROVAN_HOME"), home);
    return environment;
}

// Standard error of a failure: exactly one line, naming the program.
::testing::AssertionResult isOneErrorLine(const QString &err) {
    if (err.endsWith(u'\n') && err.count(u'\n') == 1 && err.startsWith(QLatin1String("merovan: ")))
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "standard error is \"" << err.toStdString() << "\"";
}

}  // namespace

TEST(CommandLine, HelpAndVersion) {
    TemporaryHome home;
    const ProcessResult help = runMerovan({QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.startsWith(QStringLiteral("usage: merovan")));
    EXPECT_TRUE(help.out.contains(QStringLiteral("version")));

    const ProcessResult version = runMerovan({QStringLiteral("version"), QStringLiteral("--json")});
    ASSERT_EQ(version.exitCode, 0) << version.err.toStdString();
    const QJsonDocument document = QJsonDocument::fromJson(version.out.toUtf8());
    EXPECT_EQ(document.object().value(QStringLiteral("name")).toString(),
              QStringLiteral("Merovan"));
}

TEST(CommandLine, FailuresExitNonZeroWithOneLine) {
    TemporaryHome home;
    const ProcessResult unknown = runMerovan({QStringLiteral("frobnicate")});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_TRUE(unknown.out.isEmpty());
    EXPECT_TRUE(isOneErrorLine(unknown.err));
    EXPECT_TRUE(unknown.err.contains(QStringLiteral("frobnicate")));
    // The failure is in the log too.
    EXPECT_TRUE(firstLog(home.path()).contains(QStringLiteral(" -0- unknown command: frobnicate")));

    const ProcessResult badOption =
        runMerovan({QStringLiteral("version"), QStringLiteral("--bogus")});
    EXPECT_NE(badOption.exitCode, 0);
    EXPECT_TRUE(isOneErrorLine(badOption.err));
    EXPECT_TRUE(badOption.err.contains(QStringLiteral("--bogus")));
}

TEST(CommandLine, HelpForOneCommand) {
    TemporaryHome home;
    const ProcessResult help = runMerovan({QStringLiteral("help"), QStringLiteral("version")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.out,
              QStringLiteral("usage: merovan version [--json]\n\nshow the program's version\n"));
    EXPECT_TRUE(help.err.isEmpty());

    const ProcessResult all = runMerovan({QStringLiteral("help")});
    EXPECT_EQ(all.exitCode, 0);
    EXPECT_TRUE(all.out.startsWith(QStringLiteral("usage: merovan [-reset | -logs")));

    for (const QStringList &words :
         {QStringList{"help", "frobnicate"}, QStringList{"help", "version", "extra"}}) {
        const ProcessResult unknown = runMerovan(words);
        EXPECT_EQ(unknown.exitCode, 2) << words.join(' ').toStdString();
        EXPECT_TRUE(unknown.out.isEmpty());
        EXPECT_TRUE(isOneErrorLine(unknown.err));
    }
}

TEST(CommandLine, JsonOutputIsExactlyOneDocument) {
    TemporaryHome home;
    for (const QString &command : {QStringLiteral("version"), QStringLiteral("info")}) {
        const ProcessResult result = runMerovan({command, QStringLiteral("--json")});
        ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(result.out.toUtf8(), &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError)
            << command.toStdString() << ": " << error.errorString().toStdString();
        EXPECT_TRUE(document.isObject());
        EXPECT_TRUE(result.err.isEmpty());
    }
}

TEST(CommandLine, WritesItsLogBelowMerovanHomeAndNowhereElse) {
    QTemporaryDir home, elsewhere;
    QProcessEnvironment environment = homeAt(home.path());
    // Wherever else the program might write, for this child.
    environment.insert(QStringLiteral("HOME"), elsewhere.filePath(QStringLiteral("home")));
    for (const char *name :
         {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME"})
        environment.insert(QLatin1String(name), elsewhere.filePath(QLatin1String(name)));

    const ProcessResult version =
        runMerovan({QStringLiteral("-reset"), QStringLiteral("version")}, environment);
    ASSERT_EQ(version.exitCode, 0) << version.err.toStdString();
    EXPECT_TRUE(version.out.startsWith(QStringLiteral("Merovan ")));
    EXPECT_EQ(entriesBelow(home.path()),
              (QStringList{QStringLiteral("Logs"), QStringLiteral("Logs/log-000000.txt")}));
    EXPECT_EQ(entriesBelow(elsewhere.path()), QStringList());
    const QString log = firstLog(home.path());
    EXPECT_TRUE(log.startsWith(QStringLiteral("-----------------------\n\n"))) << log.toStdString();
    EXPECT_TRUE(log.contains(QStringLiteral(" -1- Starting Merovan "))) << log.toStdString();

    // A second run goes on in the same file after its own separator; asking
    // for help writes nothing at all.
    ASSERT_EQ(runMerovan({QStringLiteral("version")}, environment).exitCode, 0);
    ASSERT_EQ(runMerovan({QStringLiteral("--help")}, environment).exitCode, 0);
    EXPECT_EQ(entriesBelow(home.path()),
              (QStringList{QStringLiteral("Logs"), QStringLiteral("Logs/log-000000.txt")}));
    EXPECT_EQ(firstLog(home.path()).count(QStringLiteral("-----------------------\n\n")), 2);
    EXPECT_EQ(entriesBelow(elsewhere.path()), QStringList());
}

TEST(CommandLine, WithoutACommandRunsUntilInterruptedOrTerminated) {
    for (int signalNumber : {SIGTERM, SIGINT}) {
        QTemporaryDir home;
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(homeAt(home.path()));
        process.setProcessEnvironment(environment);
        process.start(merovanExecutable(), {});
        ASSERT_TRUE(process.waitForStarted(30000));

        // Up once its log says so (or 30 s have passed, or it ended first).
        QDeadlineTimer deadline(30000);
        while (!firstLog(home.path()).contains(QStringLiteral("Starting")) &&
               process.state() == QProcess::Running && !deadline.hasExpired())
            process.waitForFinished(20);
        ASSERT_EQ(process.state(), QProcess::Running)
            << process.readAllStandardError().toStdString();

        ASSERT_EQ(::kill(pid_t(process.processId()), signalNumber), 0);
        ASSERT_TRUE(process.waitForFinished(30000)) << "still running 30 s after the signal";
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit) << "signal " << signalNumber;
        EXPECT_EQ(process.exitCode(), 0);
        const QString log = firstLog(home.path());
        EXPECT_TRUE(
            log.contains(QStringLiteral("Received signal %1, shutting down").arg(signalNumber)))
            << log.toStdString();
        EXPECT_TRUE(log.trimmed().endsWith(QStringLiteral(" -1- Stopped"))) << log.toStdString();
    }
}
