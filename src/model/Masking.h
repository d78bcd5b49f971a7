#pragma once

#include <QByteArray>

// The reversible byte masking of stored secrets (passwords, logins): it keeps
// them from being readable at a glance in the store file, nothing more. The
// operation is its own inverse: maskedData(maskedData(x)) == x.
namespace Masking {
QByteArray maskedData(const QByteArray &data);
}
