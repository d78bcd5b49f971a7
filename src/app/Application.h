#pragma once

#include <QCoreApplication>
#include <memory>

#include "app/CommandRegistry.h"

class FileLogger;
class LogFileManager;
class SignalWatcher;

// The process: scans the start modes, registers the preference defaults,
// starts logging, then runs one subcommand, or, without one, the application
// in the foreground until SIGINT or SIGTERM.
class Application {
public:
    Application(int &argc, char **argv);
    ~Application();

    int exec();

    static QString version();
    static QString build();

private:
    void setupDefaults();
    void setupLogging();
    void registerCommands();
    int runCommand(const QStringList &words);
    int runForeground(SignalWatcher &watcher);

    QCoreApplication m_app;
    CommandRegistry m_registry;
    std::unique_ptr<LogFileManager> m_logFileManager;
    std::unique_ptr<FileLogger> m_fileLogger;
};
