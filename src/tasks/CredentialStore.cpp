#include "tasks/CredentialStore.h"

#include "tasks/MemoryCredentialStore.h"

namespace {
CredentialStore *g_installed = nullptr;
}

CredentialStore::~CredentialStore() = default;

CredentialStore &CredentialStore::shared() {
    static MemoryCredentialStore processOnly;
    return g_installed ? *g_installed : processOnly;
}

void CredentialStore::setShared(CredentialStore *store) {
    g_installed = store;
}
