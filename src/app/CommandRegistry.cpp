#include "app/CommandRegistry.h"

#include <algorithm>

void CommandRegistry::add(Command command) {
    m_commands.append(std::move(command));
}

const Command *CommandRegistry::find(const QStringList &words, int *consumed) const {
    const Command *best = nullptr;
    int bestLength = 0;
    for (const Command &command : m_commands) {
        const QStringList nameWords = command.name.split(QLatin1Char(' '));
        if (nameWords.size() <= bestLength || nameWords.size() > words.size())
            continue;
        if (std::equal(nameWords.begin(), nameWords.end(), words.begin())) {
            best = &command;
            bestLength = int(nameWords.size());
        }
    }
    *consumed = bestLength;
    return best;
}

QString CommandRegistry::usage() const {
    QString text = QStringLiteral(
        "usage: merovan [-reset | -logs | -offline | -fonts | -safe] [COMMAND [ARGS]]\n"
        "\n"
        "Without a command, runs the application in the foreground until it is\n"
        "interrupted or terminated.\n"
        "\n"
        "Commands:\n");
    int width = 0;
    for (const Command &command : m_commands)
        width = std::max(width, int(command.name.size()));
    for (const Command &command : m_commands)
        text += QStringLiteral("  %1  %2\n").arg(command.name, -width).arg(command.summary);
    text += QStringLiteral("\nRun \"merovan help COMMAND\" for the arguments of a command.");
    return text;
}
