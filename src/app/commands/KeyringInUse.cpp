#include "app/commands/KeyringInUse.h"

KeyringInUse::KeyringInUse() {
    CredentialStore::setShared(&m_store);
}

KeyringInUse::~KeyringInUse() {
    CredentialStore::setShared(nullptr);
}
