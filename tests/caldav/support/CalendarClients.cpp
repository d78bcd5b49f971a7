#include "caldav/support/CalendarClients.h"

#include <QFile>
#include <QProcess>

namespace {

// Prints the lines of CalendarClients::componentLines for the folder given.
constexpr char kVdirReader[] = R"(
import datetime, glob, sys, icalendar
def when(prop):
    if prop is None:
        return ''
    value = prop.dt
    if isinstance(value, datetime.datetime):
        if value.tzinfo is None:
            zone = 'floating'
        else:
            zone = str(prop.params.get('TZID') or
                       ('UTC' if value.utcoffset() == datetime.timedelta(0) else value.tzinfo))
        return value.strftime('%Y-%m-%dT%H:%M:%S') + ' ' + zone
    return value.isoformat() + ' date'
def exdates(component):
    found = component.get('EXDATE')
    if found is None:
        return ''
    texts = []
    for each in (found if isinstance(found, list) else [found]):
        for day in each.dts:
            day.params = each.params
            texts.append(when(day))
    return ','.join(sorted(texts))
lines = []
for path in glob.glob(sys.argv[1] + '/*.ics'):
    with open(path, 'rb') as file:
        calendar = icalendar.Calendar.from_ical(file.read())
    for component in calendar.walk():
        if component.name not in ('VEVENT', 'VTODO'):
            continue
        rule = component.get('RRULE')
        lines.append('|'.join([
            str(component.get('UID')), component.name, when(component.get('RECURRENCE-ID')),
            str(component.get('SUMMARY')), when(component.get('DTSTART')),
            when(component.get('DTEND')), when(component.get('DUE')),
            rule.to_ical().decode() if rule else '', exdates(component)]))
print('\n'.join(sorted(lines)))
)";

constexpr int kClientTimeoutMs = 120000;

}  // namespace

CalendarClients::CalendarClients(const QString &serverURL, const QString &login,
                                 const QString &password) {
    m_environment = QProcessEnvironment::systemEnvironment();
    for (const char *name :
         {"http_proxy", "https_proxy", "HTTP_PROXY", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
        m_environment.remove(QLatin1String(name));
    m_environment.insert(QStringLiteral("NO_PROXY"), QStringLiteral("127.0.0.1"));
    m_environment.insert(QStringLiteral("HOME"), m_dir.path());
    m_environment.insert(QStringLiteral("XDG_CONFIG_HOME"),
                         m_dir.filePath(QStringLiteral("config")));
    m_environment.insert(QStringLiteral("XDG_DATA_HOME"), m_dir.filePath(QStringLiteral("data")));
    m_environment.insert(QStringLiteral("XDG_CACHE_HOME"), m_dir.filePath(QStringLiteral("cache")));
    m_environment.insert(QStringLiteral("TZ"), QStringLiteral("UTC"));
    writeClientFile(
        m_dir.filePath(QStringLiteral("vdirsyncer.conf")),
        QStringLiteral("[general]\nstatus_path = \"%1/status/\"\n\n"
                       "[pair interop]\na = \"local\"\nb = \"server\"\n"
                       "collections = [\"from b\"]\nconflict_resolution = \"b wins\"\n\n"
                       "[storage local]\ntype = \"filesystem\"\npath = \"%1/vdir/\"\n"
                       "fileext = \".ics\"\n\n"
                       "[storage server]\ntype = \"caldav\"\nurl = \"%2\"\n"
                       "username = \"%3\"\npassword = \"%4\"\n")
            .arg(m_dir.path(), serverURL, login, password));
}

QString CalendarClients::discover() {
    const ProcessResult found =
        runClient(QStringLiteral("vdirsyncer"),
                  {QStringLiteral("-c"), m_dir.filePath(QStringLiteral("vdirsyncer.conf")),
                   QStringLiteral("discover"), QStringLiteral("interop")},
                  QByteArray("y\n").repeated(10));
    if (found.exitCode != 0)
        return QStringLiteral("vdirsyncer discover: ") + found.err;
    m_discovered = true;
    return {};
}

QString CalendarClients::syncOnly() {
    const ProcessResult synced =
        runClient(QStringLiteral("vdirsyncer"),
                  {QStringLiteral("-c"), m_dir.filePath(QStringLiteral("vdirsyncer.conf")),
                   QStringLiteral("sync")});
    return synced.exitCode == 0 ? QString() : QStringLiteral("vdirsyncer sync: ") + synced.err;
}

QString CalendarClients::sync() {
    if (!m_discovered) {
        const QString error = discover();
        if (!error.isEmpty())
            return error;
    }
    return syncOnly();
}

QString CalendarClients::collectionFolder(const QString &collection) const {
    return m_dir.filePath(QStringLiteral("vdir/") + collection);
}

ProcessResult CalendarClients::componentLines(const QString &collection) {
    return runClient(
        QStringLiteral("/usr/bin/python3"),
        {QStringLiteral("-c"), QLatin1String(kVdirReader), collectionFolder(collection)});
}

ProcessResult CalendarClients::khal(const QString &collection, const QStringList &arguments) {
    const QString conf = m_dir.filePath(QStringLiteral("khal.conf"));
    if (!writeClientFile(conf, QStringLiteral("[calendars]\n[[interop]]\npath = %1/\n"
                                              "type = calendar\n\n[locale]\n"
                                              "timeformat = %H:%M\ndateformat = %Y-%m-%d\n"
                                              "longdateformat = %Y-%m-%d\n"
                                              "datetimeformat = %Y-%m-%d %H:%M\n"
                                              "longdatetimeformat = %Y-%m-%d %H:%M\n"
                                              "local_timezone = UTC\ndefault_timezone = UTC\n\n"
                                              "[sqlite]\npath = %2\n")
                                   .arg(collectionFolder(collection),
                                        m_dir.filePath(QStringLiteral("khal.db")))))
        return {-1, {}, QStringLiteral("cannot write ") + conf};
    return runClient(QStringLiteral("khal"), QStringList{QStringLiteral("-c"), conf} + arguments);
}

bool CalendarClients::writeClientFile(const QString &path, const QString &text) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return false;
    return file.write(text.toUtf8()) >= 0;
}

ProcessResult CalendarClients::runClient(const QString &program, const QStringList &arguments,
                                         const QByteArray &input) {
    QProcess process;
    process.setProcessEnvironment(m_environment);
    process.setWorkingDirectory(m_dir.path());
    process.start(program, arguments);
    if (!process.waitForStarted())
        return {-1,
                {},
                program + QStringLiteral(" did not start: install the Debian packages vdirsyncer, "
                                         "khal and python3-icalendar (scripts/test-packages.txt "
                                         "lists them)")};
    process.write(input);
    process.closeWriteChannel();
    return finishProcess(process, kClientTimeoutMs);
}
