#pragma once

#include <QString>
#include <optional>

// Reading a password for a command: one line from standard input, or a
// prompt on the terminal with echo switched off.
namespace PasswordInput {
// The first line of standard input without its line end; none at its end.
std::optional<QString> readLineFromStandardInput();
// Asks on the terminal (prompt on standard error, typing not shown). None
// when standard input is not a terminal or nothing was typed before its end.
std::optional<QString> promptOnTerminal(const QString &prompt);
}  // namespace PasswordInput
