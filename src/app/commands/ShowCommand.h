#pragma once

class CommandRegistry;

// "merovan show UID": every stored attribute of an item, of its syncable
// side and of each of its extra records.
void registerShowCommand(CommandRegistry &registry);
