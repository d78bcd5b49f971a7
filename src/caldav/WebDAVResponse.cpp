#include "caldav/WebDAVResponse.h"

std::optional<QString> WebDAVResponse::headerValue(const QString &name) const {
    for (const auto &[field, value] : headers)
        if (field.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    return std::nullopt;
}

std::optional<qint64> WebDAVResponse::expectedContentLength() const {
    const std::optional<QString> length = headerValue(QStringLiteral("Content-Length"));
    bool ok = false;
    const qint64 value = length ? length->trimmed().toLongLong(&ok) : 0;
    return ok ? std::optional<qint64>(value) : std::nullopt;
}
