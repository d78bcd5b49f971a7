#include "model/foundation/Log.h"

#include <QMutex>
#include <algorithm>
#include <atomic>
#include <vector>

#include "model/foundation/Clock.h"

namespace {
std::atomic<int> g_mask{Log::kBuiltInMask};

struct Sinks {
    QRecursiveMutex mutex;  // a sink may log while writing (rolling)
    std::vector<LogSink *> list;
};

Sinks &sinks() {
    static Sinks instance;
    return instance;
}
}  // namespace

LogSink::~LogSink() = default;

namespace Log {

int mask() {
    return g_mask.load(std::memory_order_relaxed);
}

void setMask(int mask) {
    g_mask.store(mask, std::memory_order_relaxed);
}

void setLogLevel(int level) {
    static constexpr int kMasks[] = {3, 7, 15, 31, 63};
    if (level >= 0 && level < int(std::size(kMasks)))
        setMask(kMasks[level]);
}

void addSink(LogSink *sink) {
    QMutexLocker lock(&sinks().mutex);
    sinks().list.push_back(sink);
}

void removeSink(LogSink *sink) {
    QMutexLocker lock(&sinks().mutex);
    std::erase(sinks().list, sink);
}

void write(int flag, const QString &text) {
    const LogMessage message{flag, Clock::shared().now(), text};
    QMutexLocker lock(&sinks().mutex);
    for (LogSink *sink : std::vector<LogSink *>(sinks().list))
        sink->logMessage(message);
}

void flush() {
    QMutexLocker lock(&sinks().mutex);
    for (LogSink *sink : sinks().list)
        sink->flush();
}

}  // namespace Log
