#include "caldav/WebDAVClientDelegate.h"

WebDAVClientDelegate::~WebDAVClientDelegate() = default;

void WebDAVClientDelegate::webdavClientAddCookiesToRequest(WebDAVClient &, QNetworkRequest &) {}

void WebDAVClientDelegate::webdavClientSaveCookiesFromResponse(WebDAVClient &,
                                                               const WebDAVResponse &) {}

void WebDAVClientDelegate::webdavClientOAuthWithHandler(WebDAVClient &,
                                                        const OAuthHandler &handler) {
    handler(nullptr, std::nullopt);
}
