#include "model/foundation/Date.h"

#include <cmath>

#include "model/foundation/Clock.h"

Date Date::fromDateTime(const QDateTime &dateTime) {
    if (!dateTime.isValid())
        return Date();
    return fromSecondsSince1970(double(dateTime.toMSecsSinceEpoch()) / 1000.0);
}

Date Date::now() {
    return Clock::shared().now();
}

QDateTime Date::toDateTime() const {
    const double msecs = std::round(secondsSince1970() * 1000.0);
    // Beyond a 64-bit count of milliseconds (about 292 million years), or
    // not a number at all: no time.
    if (!(std::abs(msecs) < 9.2e18))
        return QDateTime();
    return QDateTime::fromMSecsSinceEpoch(qint64(msecs), Qt::UTC);
}

QString Date::description() const {
    const QDateTime time = toDateTime();
    if (!time.isValid())
        return QStringLiteral("(%1 s from 2001-01-01)").arg(m_seconds);
    return time.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzzZ"));
}
