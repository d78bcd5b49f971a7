#pragma once

class CommandRegistry;

// "account add caldav": finds a CalDAV account on its server and keeps it;
// "account remove": deletes an account with its password.
void registerAccountCommands(CommandRegistry &registry);
