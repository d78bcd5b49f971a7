#include "app/LogFileFormatter.h"

#include <QLocale>

QChar LogFileFormatter::levelCharacter(int flag) {
    switch (flag) {
        case LogFlagError:
        case LogFlagWarning:
            return QLatin1Char('0');
        case LogFlagInfo:
            return QLatin1Char('1');
        case LogFlagDebug:
            return QLatin1Char('2');
        case LogFlagVerbose:
            return QLatin1Char('3');
        case LogFlagTaskTrace:
            return QLatin1Char('4');
        default:
            return QLatin1Char('?');
    }
}

QString LogFileFormatter::formatLogMessage(const LogMessage &message) {
    static const QLocale posix(QLocale::C);
    const QString stamp = posix.toString(message.timestamp.toDateTime().toLocalTime(),
                                         QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    QString line = format("%@ -%c- %@", stamp, levelCharacter(message.flag), message.text);
    if (!m_wroteFirstLine) {
        m_wroteFirstLine = true;
        line.prepend(QStringLiteral("-----------------------\n\n"));
    }
    return line;
}
