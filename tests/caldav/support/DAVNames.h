#pragma once

#include <QString>

// Namespaces the tests name properties in.
inline const QString kCalDAV = QStringLiteral("urn:ietf:params:xml:ns:caldav");
inline const QString kICal = QStringLiteral("http://apple.com/ns/ical/");
