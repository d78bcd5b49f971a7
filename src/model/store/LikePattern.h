#pragma once

#include <QString>

// The wildcard match of LIKE: in `pattern`, "?" matches one character (code
// point), "*" any run of them, and a backslash makes the character after it
// literal ("\*" is a star). The whole text must match. Runs in time
// proportional to the product of the lengths at worst.
bool likeMatches(const QString &text, const QString &pattern);
