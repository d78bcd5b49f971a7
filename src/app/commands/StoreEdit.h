#pragma once

#include <QString>
#include <functional>

class CommonDataMO;
struct CommandContext;

// One change of the store by a command: opens the store, runs `change`,
// saves everything it did in one transaction and closes the store; then
// prints what `change` returned (the uid of what it made) unless that is
// empty. Returns the exit code 0; failures propagate as exceptions.
int runStoreEdit(const std::function<QString()> &change);

// A command that deletes what its UID argument names: the calendar or item
// `lookup` finds, left as a tombstone (deleteObject), in one save.
int runStoreDeletion(const CommandContext &context, CommonDataMO *(*lookup)(const QString &uid));
