#pragma once

#include <QNetworkRequest>
#include <functional>
#include <optional>

#include "caldav/WebDAVError.h"

// What a WebDAV client needs of an account's OAuth2 authorization: it signs
// requests, refreshing an expired access token first.
class OAuth2Authentication {
public:
    using Completion = std::function<void(const std::optional<WebDAVError> &error)>;
    virtual ~OAuth2Authentication();
    // Adds the bearer token to `request`; then calls `done` (later, on the
    // main thread) with no error, or with the error that stopped it.
    virtual void authorizeRequest(QNetworkRequest &request, Completion done) = 0;
};
