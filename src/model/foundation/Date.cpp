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
    return QDateTime::fromMSecsSinceEpoch(qint64(msecs), Qt::UTC);
}

QString Date::description() const {
    return toDateTime().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss.zzzZ"));
}
