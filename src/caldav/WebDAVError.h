#pragma once

#include <QString>

// Why a request could not be made or did not complete.
struct WebDAVError {
    // The URL loading errors the owners tell apart.
    static constexpr char kURLDomain[] = "URLLoading";
    static constexpr int kUserCancelledAuthentication = -1012;
    static constexpr int kServerCertificateUntrusted = -1202;
    static constexpr int kCannotConnectToHost = -1004;
    // Errors of the OAuth2 sign-in.
    static constexpr char kOAuth2Domain[] = "OAuth2";
    static constexpr int kOAuth2WindowClosed = -1000;
    static constexpr int kOAuth2AuthorizationFailed = -1001;
    // Any other failure of the connection: the code is a QNetworkReply::NetworkError.
    static constexpr char kNetworkDomain[] = "Network";

    QString domain;
    int code = 0;
    QString description;

    bool is(const char *errorDomain, int errorCode) const {
        return domain == QLatin1String(errorDomain) && code == errorCode;
    }
    bool isUserCancelledAuthentication() const {
        return is(kURLDomain, kUserCancelledAuthentication);
    }
    // "description (domain code)", for logs.
    QString text() const;
};
