#pragma once

class CommandRegistry;

// "merovan accounts": the remote services with their kind, title, sync
// state, last sync time and last error.
void registerAccountsCommand(CommandRegistry &registry);
