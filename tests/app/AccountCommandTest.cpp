#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include "KeyringChild.h"
#include "caldav/support/DAVServers.h"
#include "support/TestSupport.h"
#include "tasks/SecretServiceCredentialStore.h"

// "account add caldav", "accounts" and "account remove" of the real program
// against a real Radicale, with the passwords in a private keyring of the
// Secret Service.
namespace {

std::optional<QString> storedPassword() {
    SecretServiceCredentialStore keyring;
    return keyring.password(QStringLiteral("merovan - 127.0.0.1 (test)"), QStringLiteral("test"));
}

// Runs on the private session bus of the keyring; each failure is a line on
// standard error and makes the exit code 1.
MEROVAN_CHILD_ROUTINE(accountLifecycle) {
    QTemporaryDir home;
    qputenv("MEROVAN_HOME", home.path().toUtf8());
    ChildChecks checks;
    const QString server = childCalDAVServer();

    const ProcessResult refused = merovanWithInput(
        {"account", "add", "caldav", "--server", server, "--login", "test", "--password-stdin"},
        "wrong\n");
    checks.check(refused.exitCode == 1, "a wrong password fails", refused);
    checks.check(refused.err.trimmed().count('\n') == 0 &&
                     refused.err.contains("login failed: The server refused the login \"test\": "
                                          "Access to the requested resource forbidden."),
                 "one line naming the refusal", refused);

    const ProcessResult added = merovanWithInput({"account", "add", "caldav", "--server", server,
                                                  "--login", "test", "--password-stdin", "--json"},
                                                 "test\n");
    checks.check(added.exitCode == 0, "the account is added", added);
    const QJsonObject account = QJsonDocument::fromJson(added.out.toUtf8()).object();
    const QString uid = account.value("uid").toString();
    checks.check(!uid.isEmpty(), "the account has a uid", added);
    checks.check(account.value("principal").toString() == "/test/", "the principal is found",
                 added);
    checks.check(account.value("homes").toArray().contains(QJsonValue("/test/")),
                 "the home is found", added);
    checks.check(account.value("capabilities").toArray().contains(QJsonValue("calendar-access")),
                 "the DAV classes are read", added);
    const QJsonArray calendars = account.value("calendars").toArray();
    checks.check(calendars.size() == 1 &&
                     calendars[0].toObject().value("href").toString() == "/test/calendar/",
                 "the calendar is listed", added);
    checks.check(storedPassword() == QStringLiteral("test"), "the password is in the keyring",
                 added);

    // The same account again is refused, and the first one is kept.
    const ProcessResult twice = merovanWithInput(
        {"account", "add", "caldav", "--server", server, "--login", "test", "--password-stdin"},
        "test\n");
    checks.check(twice.exitCode == 1 && twice.err.contains("exists already: " + uid),
                 "the same account is not added twice", twice);

    const ProcessResult listed = runMerovan({"accounts", "--json"});
    const QJsonArray accounts = QJsonDocument::fromJson(listed.out.toUtf8()).array();
    checks.check(listed.exitCode == 0 && accounts.size() == 1 &&
                     accounts[0].toObject().value("uid").toString() == uid &&
                     accounts[0].toObject().value("state").toString() == "idle",
                 "only the added account is listed, synced", listed);

    const ProcessResult removed = runMerovan({"account", "remove", uid});
    checks.check(removed.exitCode == 0 && removed.out.trimmed() == "removed " + uid,
                 "the account is removed", removed);
    checks.check(!storedPassword(), "the password left the keyring", removed);
    const ProcessResult after = runMerovan({"accounts", "--json"});
    checks.check(QJsonDocument::fromJson(after.out.toUtf8()).array().isEmpty(),
                 "no account is left", after);
    const ProcessResult again = runMerovan({"account", "remove", uid});
    checks.check(again.exitCode == 1 && again.err.contains("no account with uid " + uid),
                 "removing it again names the uid", again);

    return checks.exitCode();
}

TEST(AccountCommandTest, AddListAndRemoveACalDAVAccountWithItsPasswordInTheKeyring) {
    RadicaleServer radicale;
    const QString error = radicale.start();
    ASSERT_TRUE(error.isEmpty()) << error.toStdString();
    const ProcessResult result = runChildWithKeyring("accountLifecycle", radicale.port());
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
}

TEST(AccountCommandTest, DeadPortsAndMissingPasswordsFailWithOneLine) {
    TemporaryHome home;
    const ProcessResult dead =
        merovanWithInput({"account", "add", "caldav", "--server",
                          QStringLiteral("127.0.0.1:%1").arg(TestServer::freePort()), "--login",
                          "test", "--password-stdin"},
                         "test\n");
    EXPECT_EQ(dead.exitCode, 1);
    EXPECT_TRUE(dead.err.startsWith("merovan: cannot add the account at 127.0.0.1:"))
        << dead.err.toStdString();
    EXPECT_TRUE(dead.err.contains(": unable to connect: Connection refused"))
        << dead.err.toStdString();
    EXPECT_EQ(dead.err.trimmed().count('\n'), 0) << dead.err.toStdString();

    // Without --password-stdin and without a terminal there is nobody to ask.
    const ProcessResult noTerminal = merovanWithInput(
        {"account", "add", "caldav", "--server", "127.0.0.1:1", "--login", "test"}, "test\n");
    EXPECT_EQ(noTerminal.exitCode, 2);
    EXPECT_TRUE(noTerminal.err.contains("--password-stdin")) << noTerminal.err.toStdString();
    EXPECT_TRUE(runMerovan({"accounts", "--json"}).out.contains("[\n]"));
}

// On a terminal the password is asked for and what is typed is not shown.
TEST(AccountCommandTest, AsksForThePasswordOnATerminalWithoutEcho) {
    TemporaryHome home;
    const QString server = QStringLiteral("127.0.0.1:%1").arg(TestServer::freePort());
    // python3 runs the program on a new pseudo-terminal, types the password
    // once the prompt is there and prints everything the terminal showed.
    const char *script = R"(
import os, pty, sys
pid, fd = pty.fork()
if pid == 0:
    os.execv(sys.argv[1], sys.argv[1:])
seen = b""
typed = False
while True:
    try:
        data = os.read(fd, 1024)
    except OSError:
        break
    if not data:
        break
    seen += data
    if not typed and b"Password for test at " in seen:
        os.write(fd, b"sesame-typed\n")
        typed = True
_, status = os.waitpid(pid, 0)
sys.stdout.write(seen.decode(errors="replace"))
sys.exit(os.waitstatus_to_exitcode(status))
)";
    QProcess process;
    process.start("/usr/bin/python3", {"-c", script, merovanExecutable(), "account", "add",
                                       "caldav", "--server", server, "--login", "test"});
    const ProcessResult result = finishProcess(process, 120000);
    EXPECT_EQ(result.exitCode, 1) << result.out.toStdString() << result.err.toStdString();
    EXPECT_TRUE(result.out.contains("Password for test at " + server + ": "))
        << result.out.toStdString();
    EXPECT_FALSE(result.out.contains("sesame-typed")) << result.out.toStdString();
    EXPECT_TRUE(result.out.contains("unable to connect")) << result.out.toStdString();
}

}  // namespace
