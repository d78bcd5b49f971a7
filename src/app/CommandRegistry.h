#pragma once

#include <QList>

#include "app/Command.h"

// Every subcommand of the command line. Each folder's commands are added by
// a registration function called from Application.
class CommandRegistry {
public:
    void add(Command command);
    // The command named by the first words of `words` (the longest name wins);
    // *consumed is set to the number of words of its name.
    const Command *find(const QStringList &words, int *consumed) const;
    const QList<Command> &commands() const { return m_commands; }

    QString usage() const;

private:
    QList<Command> m_commands;
};
