#include "caldav/TaskManagerConnection.h"

#include <QCoreApplication>
#include <QNetworkAccessManager>

namespace TaskManagerConnection {

QNetworkAccessManager &networkAccessManager() {
    static QNetworkAccessManager *manager = [] {
        auto *made = new QNetworkAccessManager(QCoreApplication::instance());
        made->setRedirectPolicy(QNetworkRequest::ManualRedirectPolicy);
        return made;
    }();
    return *manager;
}

QNetworkReply *connectionWithRequest(const QNetworkRequest &request, const QByteArray &method,
                                     const QByteArray &body) {
    return networkAccessManager().sendCustomRequest(request, method, body);
}

}  // namespace TaskManagerConnection
