#pragma once

#include <QString>
#include <optional>

struct sockaddr;

// Strings that describe this computer in diagnostics and bug reports.

// "<system> <version> (<kernel release>) <processor> (<hardware model>)", for
// example "Debian GNU/Linux 12 (6.1.0-18-amd64) Intel 64-bit (ThinkPad X1)".
// The system and version come from os-release (NAME and VERSION_ID, else the
// kernel's name and nothing); the model is "Unknown" when it cannot be read.
QString systemDescriptionString();
// The same from the given files, for tests.
QString systemDescriptionString(const QString &osReleasePath, const QString &productNamePath);
// The processor family for a kernel machine name: "Intel 64-bit" for x86_64,
// "Intel 32-bit" for i386 to i686, "ARM 64-bit" for aarch64 and arm64,
// "ARM 32-bit" for other names starting with "arm", else the name itself.
QString processorDescription(const QString &machine);

// "name:address" for every address (IPv4 and IPv6) of every interface that is
// up and not a loopback interface, joined by ", ".
QString interfaceAddressesString();
// The numeric text of an IPv4 or IPv6 socket address. Throws
// std::invalid_argument("Cannot convert address to string.") for a null
// address, another family, or one that cannot be converted.
QString addressStringFromSocketAddress(const sockaddr *address);
// The hardware address of the first interface (in the system's order) that is
// not a loopback interface and has one, as lower-case hexadecimal byte pairs
// joined by ":"; none when there is no such interface.
std::optional<QString> primaryMACAddressString();
