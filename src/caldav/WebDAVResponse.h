#pragma once

#include <QUrl>
#include <optional>

#include "model/util/HttpLog.h"

// The status line and header fields of an HTTP answer, kept apart from the
// connection so that results can be computed on any thread.
struct WebDAVResponse {
    int statusCode = 0;
    QUrl url;
    HttpHeaders headers;

    // The value of the first header field of that name, in any letter case.
    std::optional<QString> headerValue(const QString &name) const;
    // Announced body length; none when absent or not a number.
    std::optional<qint64> expectedContentLength() const;
};
