#include "model/util/OwnAddresses.h"

#include <QMutex>

namespace {
QMutex g_mutex;
OwnAddresses::Provider g_provider;
}  // namespace

bool OwnAddresses::contains(const QString &address) {
    return !address.isEmpty() && addresses().contains(address, Qt::CaseInsensitive);
}

QStringList OwnAddresses::addresses() {
    Provider provider;
    {
        QMutexLocker lock(&g_mutex);
        provider = g_provider;
    }
    return provider ? provider() : QStringList();
}

void OwnAddresses::setProvider(Provider provider) {
    QMutexLocker lock(&g_mutex);
    g_provider = std::move(provider);
}
