#include "app/Application.h"

#include <QFile>
#include <QJsonObject>

#include "app/BackgroundTasks.h"
#include "app/FileLogger.h"
#include "app/InfoCommand.h"
#include "app/LogFileManager.h"
#include "app/RunningInstance.h"
#include "app/SignalWatcher.h"
#include "app/StoreSession.h"
#include "app/commands/AccountCommands.h"
#include "app/commands/AccountsCommand.h"
#include "app/commands/AgendaCommand.h"
#include "app/commands/CalendarCommands.h"
#include "app/commands/EventCommands.h"
#include "app/commands/ExportCommand.h"
#include "app/commands/ImportCommand.h"
#include "app/commands/ShowCommand.h"
#include "app/commands/SyncCommand.h"
#include "caldav/CalDAVSyncTask.h"
#include "model/foundation/Log.h"
#include "model/foundation/Paths.h"
#include "model/foundation/Preferences.h"
#include "model/foundation/PropertyList.h"
#include "model/foundation/StartMode.h"
#include "time/CalendarDates.h"
#include "time/TimeZoneUtilities.h"
#include "time/recurrence/ItemRecurrence.h"

namespace {

// Qt's own messages (a TLS backend that cannot load, …) belong in the log,
// not between a command's output and its one-line errors.
void logQtMessage(QtMsgType type, const QMessageLogContext & /*context*/, const QString &text) {
    switch (type) {
        case QtDebugMsg:
        case QtInfoMsg:
            logDebug("Qt: %@", text);
            break;
        case QtWarningMsg:
            logWarning("Qt: %@", text);
            break;
        case QtCriticalMsg:
        case QtFatalMsg:
            logError("Qt: %@", text);
            break;
    }
}

}  // namespace

#ifndef MEROVAN_VERSION
#define MEROVAN_VERSION "0.0.0"
#endif
#ifndef MEROVAN_BUILD
#define MEROVAN_BUILD "dev"
#endif

Application::Application(int &argc, char **argv) : m_app(argc, argv) {
    Q_INIT_RESOURCE(app);  // the resources live in a static library
    qInstallMessageHandler(logQtMessage);
    // Stored dates name their zones as the files and servers they came from
    // did: Windows and display names resolve from the first read on, and
    // adding an interval to a calendar date keeps its zone.
    TimeZoneUtilities::installNameTranslation();
    CalendarDates::fixDateByAddingTimeInterval();
    // The days an item shows on follow every change of its dates.
    ItemRecurrence::installDaysMaintenance();
    QCoreApplication::setApplicationName(QLatin1String(Paths::kProductName));
    QCoreApplication::setApplicationVersion(version());
}

Application::~Application() {
    if (m_fileLogger) {
        Log::removeSink(m_fileLogger.get());
        m_fileLogger->flush();
    }
}

QString Application::version() {
    return QStringLiteral(MEROVAN_VERSION);
}

QString Application::build() {
    return QStringLiteral(MEROVAN_BUILD);
}

void Application::setupDefaults() {
    QFile resource(QStringLiteral(":/UserDefaults.plist"));
    if (!resource.open(QIODevice::ReadOnly))
        return;
    QString error;
    const QVariant defaults = PropertyList::fromData(resource.readAll(), &error);
    Preferences::shared().registerDefaults(defaults.toMap());
}

void Application::setupLogging() {
    Log::setLogLevel(int(Preferences::shared().integerForKey(QStringLiteral("logLevel"))));
    m_logFileManager = std::make_unique<LogFileManager>(Paths::logsFolder());
    m_fileLogger = std::make_unique<FileLogger>(m_logFileManager.get());
    Log::addSink(m_fileLogger.get());
}

void Application::registerCommands() {
    m_registry.add({QStringLiteral("help"),
                    QStringLiteral("[COMMAND]"),
                    QStringLiteral("show the commands, or the arguments of one"),
                    {},
                    {},
                    false,
                    [this](CommandContext &context) {
                        const QStringList &words = context.arguments.positional();
                        if (words.isEmpty()) {
                            CommandOutput::printLine(m_registry.usage());
                            return 0;
                        }
                        int consumed = 0;
                        const Command *command = m_registry.find(words, &consumed);
                        if (!command || consumed != words.size())
                            throw CommandError(
                                QStringLiteral("unknown command: %1").arg(words.join(' ')), 2);
                        CommandOutput::printLine(QStringLiteral("usage: ") + command->usage());
                        CommandOutput::printLine(QStringLiteral("\n") + command->summary);
                        return 0;
                    }});
    m_registry.add({QStringLiteral("version"),
                    QString(),
                    QStringLiteral("show the program's version"),
                    {},
                    {},
                    true,
                    [](CommandContext &context) {
                        if (context.json) {
                            CommandOutput::printJson(QJsonObject{
                                {QStringLiteral("name"), QLatin1String(Paths::kProductName)},
                                {QStringLiteral("version"), version()},
                                {QStringLiteral("build"), build()}});
                        } else {
                            CommandOutput::printLine(
                                QStringLiteral("%1 %2 (%3)")
                                    .arg(QLatin1String(Paths::kProductName), version(), build()));
                        }
                        return 0;
                    }});
    registerInfoCommand(m_registry);
    registerCalendarCommands(m_registry);
    registerEventCommands(m_registry);
    registerShowCommand(m_registry);
    registerAgendaCommand(m_registry);
    registerAccountsCommand(m_registry);
    registerAccountCommands(m_registry);
    registerSyncCommand(m_registry);
    registerExportCommand(m_registry);
    registerImportCommand(m_registry);
}

int Application::exec() {
    const QStringList arguments = m_app.arguments().mid(1);
    StartModes::setCurrent(StartModes::scan(arguments));
    const QStringList words = StartModes::withoutModes(arguments);

    registerCommands();
    if (!words.isEmpty() &&
        (words[0] == QLatin1String("--help") || words[0] == QLatin1String("-h"))) {
        CommandOutput::printLine(m_registry.usage());
        return 0;
    }
    setupDefaults();
    setupLogging();
    // In the foreground, SIGINT and SIGTERM are watched from the start, so that
    // one arriving while the store opens still ends the run cleanly.
    std::unique_ptr<SignalWatcher> watcher;
    if (words.isEmpty())
        watcher = std::make_unique<SignalWatcher>();
    logInfo("Starting %@ %@ (%@)", Paths::kProductName, version(), build());
    return watcher ? runForeground(*watcher) : runCommand(words);
}

int Application::runCommand(const QStringList &words) {
    try {
        int consumed = 0;
        const Command *command = m_registry.find(words, &consumed);
        if (!command)
            throw CommandError(
                QStringLiteral("unknown command: %1 (see merovan --help)").arg(words[0]), 2);
        QStringList flags = command->flags;
        if (command->acceptsJson)
            flags << QStringLiteral("--json");
        CommandContext context{
            CommandArguments(words.mid(consumed), flags, command->valuedOptions)};
        context.json = context.arguments.has(QStringLiteral("--json"));
        const int status = command->run(context);
        Log::flush();
        return status;
    } catch (const CommandError &error) {
        logError("%@", error.reason());
        CommandOutput::message(QStringLiteral("merovan: ") + error.reason());
        Log::flush();
        return error.exitCode();
    } catch (const std::exception &error) {
        // An internal failure (the store cannot be opened, …): already
        // logged where it happened.
        CommandOutput::message(QStringLiteral("merovan: ") + QString::fromUtf8(error.what()));
        Log::flush();
        return 1;
    }
}

int Application::runForeground(SignalWatcher &watcher) {
    // "-offline": the network tasks stay stopped for this run.
    if (StartModes::current() == StartMode::Offline)
        Preferences::shared().setBool(QStringLiteral("offline"), true);
    // One application per store.
    if (RunningInstance::isRunning()) {
        CommandOutput::message(QStringLiteral("merovan: the application is already running"));
        Log::flush();
        return 1;
    }
    CalDAVSyncTask::registerKind();
    RunningInstance instance;
    BackgroundTasks tasks(&instance);
    StoreSession session;
    session.setRunningApplication();
    session.setTaskControl(&tasks.control());
    try {
        session.open();
    } catch (const std::exception &error) {
        CommandOutput::message(QStringLiteral("merovan: ") + QString::fromUtf8(error.what()));
        Log::flush();
        return 1;
    }
    if (StartModes::current() == StartMode::Reset) {
        // "-reset" alone: the store was reset and made anew; nothing more to do.
        session.close();
        return 0;
    }
    // Commands run meanwhile hold the application while they use the store;
    // edits made while it was not running are synced soon.
    instance.listen();
    RunningInstance::notePendingLocalChanges();
    QObject::connect(&watcher, &SignalWatcher::terminationRequested, &m_app, [](int signalNumber) {
        logInfo("Received signal %d, shutting down", signalNumber);
        QCoreApplication::quit();
    });
    const int status = QCoreApplication::exec();
    session.close();
    logInfo("Stopped");
    Log::flush();
    return status;
}
