#pragma once

#include <QByteArray>
#include <QStringList>
#include <optional>

// Answers to HTTP authentication challenges, computed for one request at a
// time: the network layer neither caches nor reuses credentials, so every
// request carries only what its owner supplied for it.
namespace HTTPAuthentication {
// The "WWW-Authenticate" challenges of an answer, one per entry, from the
// header values as received (several challenges may share one value, one a
// line).
QStringList challengesOf(const QStringList &headerValues);
// Whether one of the challenges is of a scheme answered here (Digest, Basic).
bool canAnswer(const QStringList &challenges);
// The "Authorization" value answering the strongest supported challenge
// (Digest with MD5, MD5-sess or SHA-256, with or without qop "auth"; else
// Basic) for `method` on `uri` (path and query, as sent); none when no
// challenge is supported. `clientNonce` is the client's nonce for Digest.
std::optional<QByteArray> authorization(const QStringList &challenges, const QByteArray &method,
                                        const QByteArray &uri, const QString &login,
                                        const QString &password, const QByteArray &clientNonce);
// "Basic base64(login:password)".
QByteArray basicAuthorization(const QString &login, const QString &password);
}  // namespace HTTPAuthentication
