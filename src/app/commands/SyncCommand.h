#pragma once

class CommandRegistry;

// "sync [ACCOUNT-UID]": one full sync cycle of an account, or of every
// CalDAV account, run to its end; prints each account's resulting state and
// what the cycle did to items, and fails when any cycle failed.
void registerSyncCommand(CommandRegistry &registry);
