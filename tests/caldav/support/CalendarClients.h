#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include "support/TestSupport.h"

// Other CalDAV clients from Debian on the calendars of one account:
// vdirsyncer mirrors every calendar of the server into a local folder (a
// vdir, one folder per calendar named after the last segment of its URL),
// khal reads and writes one of those folders, python3-icalendar reads its
// files. Everything they keep (configuration, sync status, khal's cache)
// lives in a temporary folder that is also their HOME; they talk only to
// the server given. A missing program is an error naming its package.
class CalendarClients {
public:
    // `serverURL`: where vdirsyncer starts looking for the calendars.
    CalendarClients(const QString &serverURL, const QString &login, const QString &password);

    // vdirsyncer finds the server's calendars (making their local folders,
    // the first time) and syncs them both ways; empty when it succeeded,
    // else what it said.
    QString sync();
    // Without the discovery of the calendars (made by an earlier sync()).
    QString syncOnly();
    QString discover();

    // The vdir folder of the server calendar named `collection`.
    QString collectionFolder(const QString &collection) const;

    // One line per VEVENT or VTODO of the folder's files, sorted:
    // UID|kind|recurrence id|summary|start|end|due|rule|exception dates, each
    // time as wall clock and zone name ("2026-12-01T10:00:00 Europe/Berlin",
    // "... floating" without a zone, "... UTC", "2026-12-02 date").
    ProcessResult componentLines(const QString &collection);

    // khal with the folder as its calendar "interop" and UTC as its zone.
    ProcessResult khal(const QString &collection, const QStringList &arguments);

private:
    static bool writeClientFile(const QString &path, const QString &text);
    ProcessResult runClient(const QString &program, const QStringList &arguments,
                            const QByteArray &input = {});

    QTemporaryDir m_dir;
    QProcessEnvironment m_environment;
    bool m_discovered = false;
};
