#pragma once

class CommandRegistry;

// "merovan info": where the store is and what it holds.
void registerInfoCommand(CommandRegistry &registry);
