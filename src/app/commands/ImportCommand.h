#pragma once

class CommandRegistry;

// "merovan import FILE.ics... [--calendar UID | --new-calendar TITLE]":
// iCalendar files read into a calendar (without either option, a new one per
// file named by the file's X-WR-CALNAME, else by its file name). Items are
// matched by UID within the calendar and updated in place. Each skipped
// component is reported on standard error; the counts of stored, updated and
// skipped items on standard output (an object under --json). A file that is
// not iCalendar stops the command before anything is stored.
void registerImportCommand(CommandRegistry &registry);
