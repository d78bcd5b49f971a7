#pragma once

#include <QString>
#include <QVariantMap>

// Namespaces the tests name properties in.
inline const QString kCalDAV = QStringLiteral("urn:ietf:params:xml:ns:caldav");
inline const QString kICal = QStringLiteral("http://apple.com/ns/ical/");

// The properties of the first propstat of the `index`th response of a
// results dictionary (empty when there is none).
inline QVariantMap firstPropstatOf(const QVariantMap &results, qsizetype index = 0) {
    return results.value(QStringLiteral("multistatus"))
        .toList()
        .value(index)
        .toMap()
        .value(QStringLiteral("propstat"))
        .toList()
        .value(0)
        .toMap();
}
