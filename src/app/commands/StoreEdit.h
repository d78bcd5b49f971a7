#pragma once

#include <QString>
#include <functional>

// One change of the store by a command: opens the store, runs `change`,
// saves everything it did in one transaction and closes the store; then
// prints what `change` returned (the uid of what it made) unless that is
// empty. Returns the exit code 0; failures propagate as exceptions.
int runStoreEdit(const std::function<QString()> &change);
