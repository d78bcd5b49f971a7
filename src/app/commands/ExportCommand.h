#pragma once

class CommandRegistry;

// "merovan export [--calendar UID] [-o FILE]": the calendar (every calendar
// without --calendar, one VCALENDAR each) as iCalendar, to the file or to
// standard output.
void registerExportCommand(CommandRegistry &registry);
