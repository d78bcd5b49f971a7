#pragma once

class CommandRegistry;

// "agenda [--from YYYY-MM-DD] [--to YYYY-MM-DD] [--calendar UID] [--json]":
// the occurrences overlapping the range, in start order. The dates are days
// of the local zone (TZ); --from defaults to today, --to (exclusive) to seven
// days after --from.
void registerAgendaCommand(CommandRegistry &registry);
