#include "app/PasswordInput.h"

#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <string>

namespace {

std::optional<QString> readPasswordLine() {
    std::string line;
    int character = 0;
    bool any = false;
    while ((character = std::fgetc(stdin)) != EOF) {
        any = true;
        if (character == '\n')
            break;
        line.push_back(char(character));
    }
    if (!any)
        return std::nullopt;
    if (!line.empty() && line.back() == '\r')
        line.pop_back();
    return QString::fromStdString(line);
}

}  // namespace

namespace PasswordInput {

std::optional<QString> readLineFromStandardInput() {
    return readPasswordLine();
}

std::optional<QString> promptOnTerminal(const QString &prompt) {
    if (!isatty(STDIN_FILENO))
        return std::nullopt;
    termios saved;
    if (tcgetattr(STDIN_FILENO, &saved) != 0)
        return std::nullopt;
    termios silent = saved;
    silent.c_lflag &= ~tcflag_t(ECHO);
    // Echo goes off before the prompt shows, so that nothing typed after it
    // is flushed away or shown.
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    std::fputs(prompt.toLocal8Bit().constData(), stderr);
    std::fflush(stderr);
    const std::optional<QString> password = readPasswordLine();
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved);
    std::fputc('\n', stderr);
    return password;
}

}  // namespace PasswordInput
