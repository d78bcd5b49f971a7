#include "model/util/OwnAddresses.h"

#include <QMutex>

namespace {
QMutex g_addressMutex;
OwnAddresses::Provider g_addressProvider;
}  // namespace

bool OwnAddresses::contains(const QString &address) {
    return !address.isEmpty() && addresses().contains(address, Qt::CaseInsensitive);
}

QStringList OwnAddresses::addresses() {
    Provider provider;
    {
        QMutexLocker lock(&g_addressMutex);
        provider = g_addressProvider;
    }
    return provider ? provider() : QStringList();
}

void OwnAddresses::setProvider(Provider provider) {
    QMutexLocker lock(&g_addressMutex);
    g_addressProvider = std::move(provider);
}
