#pragma once

#include <QJsonValue>
#include <QMap>
#include <QStringList>
#include <functional>
#include <stdexcept>

// A failure of a command, reported on standard error as one line; the process
// exits with exitCode().
class CommandError : public std::runtime_error {
public:
    explicit CommandError(const QString &reason, int exitCode = 1);
    QString reason() const { return QString::fromUtf8(what()); }
    int exitCode() const { return m_exitCode; }

private:
    int m_exitCode;
};

// The words after a command's name: the options the command names ("--name",
// "--name VALUE", or a short one such as "-o FILE") and positional
// arguments. Unknown "--" options are usage errors.
class CommandArguments {
public:
    CommandArguments(const QStringList &words, const QStringList &flags,
                     const QStringList &valuedOptions);

    bool has(const QString &option) const { return m_options.contains(option); }
    QString value(const QString &option, const QString &fallback = QString()) const {
        return m_options.value(option, fallback);
    }
    const QStringList &positional() const { return m_positional; }
    // The positional argument at index, or a usage error naming `what`.
    QString required(int index, const char *what) const;

private:
    QMap<QString, QString> m_options;
    QStringList m_positional;
};

struct CommandContext {
    CommandArguments arguments;
    bool json = false;  // --json: print exactly one JSON document
};

// A subcommand of the command line: "merovan NAME ...". Names may have two
// words ("calendar add").
struct Command {
    QString name;
    QString synopsis;  // the arguments after the name, for the usage text
    QString summary;   // one line
    QStringList flags;
    QStringList valuedOptions;
    bool acceptsJson = false;
    std::function<int(CommandContext &)> run;

    QString usage() const;
};

// Output helpers for commands: results on standard output, messages on
// standard error.
namespace CommandOutput {
void printLine(const QString &text);
void printJson(const QJsonValue &value);
void message(const QString &text);
}  // namespace CommandOutput
