#pragma once

#include <QByteArray>
#include <QNetworkReply>
#include <QNetworkRequest>

class QNetworkAccessManager;

// The HTTP connections of the network tasks. They all go through one network
// access manager that lives on the main thread, so that every callback of a
// connection (header, data, challenge, certificate errors, completion) comes
// on the main thread's event loop between two task slices, never during one.
namespace TaskManagerConnection {
// The shared manager (made on first use, on the main thread): no cookie jar
// use, no cache, no automatic redirects; the requests say so themselves too.
QNetworkAccessManager &networkAccessManager();

// Starts `method` for `request` with `body` (none when empty) and returns the
// connection; the caller owns it (deleteLater() once finished).
QNetworkReply *connectionWithRequest(const QNetworkRequest &request, const QByteArray &method,
                                     const QByteArray &body);
}  // namespace TaskManagerConnection
