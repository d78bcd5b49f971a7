#pragma once

#include <QString>

#include "model/foundation/Date.h"
#include "model/foundation/Format.h"

// Message flags; a message carries exactly one.
enum LogFlag : int {
    LogFlagError = 1,
    LogFlagWarning = 2,
    LogFlagInfo = 4,
    LogFlagDebug = 8,
    LogFlagVerbose = 16,
    LogFlagTaskTrace = 32,
};

struct LogMessage {
    int flag = LogFlagInfo;
    Date timestamp;
    QString text;
};

// Where written messages go (the rolling log files, a test's capture).
// logMessage() may be called from any thread, never concurrently.
class LogSink {
public:
    virtual ~LogSink();
    virtual void logMessage(const LogMessage &message) = 0;
    virtual void flush() {}
};

// The process-wide log: a mask of the flags that are written, and the sinks
// they are written to, in order.
namespace Log {
constexpr int kBuiltInMask = 15;

int mask();
void setMask(int mask);
// Sets the mask from the "logLevel" preference: 0 errors and warnings, 1 and
// info, 2 and debug, 3 and verbose, 4 and task trace; any other level leaves
// the mask as it is.
void setLogLevel(int level);
inline bool isEnabled(int flag) {
    return (mask() & flag) != 0;
}

void addSink(LogSink *sink);
void removeSink(LogSink *sink);
void write(int flag, const QString &text);
void flush();
}  // namespace Log

template <typename... Args>
void logAt(int flag, const char *formatText, const Args &...args) {
    if (Log::isEnabled(flag))
        Log::write(flag, format(formatText, args...));
}
template <typename... Args>
void logError(const char *formatText, const Args &...args) {
    logAt(LogFlagError, formatText, args...);
}
template <typename... Args>
void logWarning(const char *formatText, const Args &...args) {
    logAt(LogFlagWarning, formatText, args...);
}
template <typename... Args>
void logInfo(const char *formatText, const Args &...args) {
    logAt(LogFlagInfo, formatText, args...);
}
template <typename... Args>
void logDebug(const char *formatText, const Args &...args) {
    logAt(LogFlagDebug, formatText, args...);
}
template <typename... Args>
void logVerbose(const char *formatText, const Args &...args) {
    logAt(LogFlagVerbose, formatText, args...);
}
template <typename... Args>
void logTaskTrace(const char *formatText, const Args &...args) {
    logAt(LogFlagTaskTrace, formatText, args...);
}
