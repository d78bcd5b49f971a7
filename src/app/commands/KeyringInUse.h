#pragma once

#include "tasks/SecretServiceCredentialStore.h"

// The keyring of the Secret Service holds the passwords while a command
// runs: it is the shared credential store from construction to destruction.
class KeyringInUse {
public:
    KeyringInUse();
    ~KeyringInUse();
    KeyringInUse(const KeyringInUse &) = delete;
    KeyringInUse &operator=(const KeyringInUse &) = delete;

private:
    SecretServiceCredentialStore m_store;
};
