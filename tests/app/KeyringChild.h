#pragma once

#include <QStringList>

#include "support/TestSupport.h"

// Command tests that keep passwords run in a child routine of the test binary
// on the private session bus of a keyring (tests/tasks/run-with-keyring.sh),
// against a real CalDAV server whose host:port the child finds in its
// environment.

// Runs the child routine `name` on its own keyring, with `serverPort` as the
// CalDAV server at 127.0.0.1.
ProcessResult runChildWithKeyring(const char *name, int serverPort);
// In the child: the server's host:port.
QString childCalDAVServer();
// Runs the merovan executable with `input` on its standard input.
ProcessResult merovanWithInput(const QStringList &arguments, const QByteArray &input);

// The checks of a child routine: each failure is kept with the command's exit
// code and output, and `exitCode` prints them on standard error, one a line.
class ChildChecks {
public:
    void check(bool ok, const QString &what, const ProcessResult &result);
    int exitCode() const;

private:
    QStringList m_failures;
};

// In the child: adds the CalDAV account of the child's server (login and
// password "test") with "account add"; its uid, empty (and a failed check)
// when it could not be added.
QString addChildAccount(ChildChecks &checks);
// An iCalendar text of one timed event.
QByteArray childEventText(const QByteArray &uid, const QByteArray &summary);
