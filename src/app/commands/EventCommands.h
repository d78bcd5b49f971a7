#pragma once

class CommandRegistry;

// "merovan event add" and "merovan event delete".
void registerEventCommands(CommandRegistry &registry);
