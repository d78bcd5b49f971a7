#pragma once

class CommandRegistry;

// "merovan calendars", "merovan calendar add" and "merovan calendar remove".
void registerCalendarCommands(CommandRegistry &registry);
