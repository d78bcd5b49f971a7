#pragma once

#include <QByteArray>

// Cheap structural checks of untrusted bytes before libplist reads them, for
// what would make its readers crash, hang or read something else than the
// bytes say. They parse no values; each failure throws PropertyList::Error
// saying what is wrong.
namespace PropertyListGuard {

// The data must be well-formed XML 1.0 in UTF-8 (so no NUL byte, no &#0;, no
// unbalanced tags), declare and refer to no entities, and nest at most
// PropertyList::kMaximumDepth containers (and what the deepest holds) inside
// its <plist> element.
void checkXml(const QByteArray &data);

// "bplist00" data: its trailer, offset table, object lengths and references
// must lie within the data, no object may contain itself, containers nest at
// most PropertyList::kMaximumDepth deep, and reading every reference (libplist
// copies shared objects) must make no more values than the data has bytes,
// and no more than 32 times its size plus 4 MiB of objects.
void checkBinary(const QByteArray &data);

}  // namespace PropertyListGuard
