#pragma once

#include <QString>

#include "model/foundation/Log.h"

// The log line: "%@ -%c- %@", time stamp (local time, to the millisecond), a
// level character and the text. The first line a formatter writes is preceded
// by a separator, which tells runs apart within one file.
class LogFileFormatter {
public:
    QString formatLogMessage(const LogMessage &message);

    static QChar levelCharacter(int flag);

private:
    bool m_wroteFirstLine = false;
};
