#include "app/Command.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cstdio>

CommandError::CommandError(const QString &reason, int exitCode)
    : std::runtime_error(reason.toStdString()), m_exitCode(exitCode) {}

CommandArguments::CommandArguments(const QStringList &words, const QStringList &flags,
                                   const QStringList &valuedOptions) {
    for (int i = 0; i < words.size(); ++i) {
        const QString &word = words[i];
        if (flags.contains(word)) {
            m_options.insert(word, QString());
        } else if (valuedOptions.contains(word)) {
            if (i + 1 >= words.size())
                throw CommandError(QStringLiteral("option %1 needs a value").arg(word), 2);
            m_options.insert(word, words[++i]);
        } else if (word.startsWith(QLatin1String("--")) && word != QLatin1String("--")) {
            throw CommandError(QStringLiteral("unknown option %1").arg(word), 2);
        } else {
            m_positional << word;
        }
    }
}

QString CommandArguments::required(int index, const char *what) const {
    if (index >= m_positional.size())
        throw CommandError(QStringLiteral("missing %1").arg(QLatin1String(what)), 2);
    return m_positional[index];
}

QString Command::usage() const {
    QString text = QStringLiteral("merovan ") + name;
    if (!synopsis.isEmpty())
        text += QLatin1Char(' ') + synopsis;
    if (acceptsJson)
        text += QStringLiteral(" [--json]");
    return text;
}

namespace CommandOutput {

void printLine(const QString &text) {
    std::fputs(text.toUtf8().constData(), stdout);
    std::fputc('\n', stdout);
}

void printJson(const QJsonValue &value) {
    QJsonDocument document;
    if (value.isArray())
        document.setArray(value.toArray());
    else if (value.isObject())
        document.setObject(value.toObject());
    else  // a lone scalar: JSON documents hold only arrays and objects here
        document.setArray(QJsonArray{value});
    std::fputs(document.toJson(QJsonDocument::Indented).constData(), stdout);
}

void message(const QString &text) {
    std::fputs(text.toUtf8().constData(), stderr);
    std::fputc('\n', stderr);
}

}  // namespace CommandOutput
