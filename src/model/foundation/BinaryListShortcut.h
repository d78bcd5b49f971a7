#pragma once

#include <QByteArray>
#include <QVariant>
#include <optional>

// The small binary property lists the store reads most, read without the
// general reader: a string, or an array or dictionary that holds only
// strings (the archives of plain text and of tag lists), once
// PropertyListGuard::checkBinary() has passed the data. Anything else,
// damaged data included, answers none and is left to the general reader of
// PropertyList::fromData(); what this reader answers is what that one would.
namespace BinaryListShortcut {

std::optional<QVariant> read(const QByteArray &data);

}  // namespace BinaryListShortcut
