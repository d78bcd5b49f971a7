#pragma once

#include <QByteArray>

// Cheap structural checks of untrusted bytes before libplist reads them, for
// what would make its readers crash, hang or read something else than the
// bytes say. They parse no values; each failure throws PropertyList::Error
// saying what is wrong.
namespace PropertyListGuard {

// The data must be well-formed XML 1.0 in UTF-8 (so no NUL byte, no &#0;, no
// unbalanced tags), declare and refer to no entities, and nest at most
// PropertyList::kMaximumDepth containers inside its <plist> element.
void checkXml(const QByteArray &data);

// "bplist00" data: its trailer, offset table, object lengths and references
// must lie within the data, no object may contain itself, containers nest at
// most PropertyList::kMaximumDepth deep, and reading every reference must not
// expand to more than 32 times the data's size (plus a megabyte), counting
// each value's bytes and a little for the value itself.
void checkBinary(const QByteArray &data);

}  // namespace PropertyListGuard
