#pragma once

#include <QStringList>
#include <QVariant>
#include <QVariantMap>

struct XMLElement;

// Turns the XML of a WebDAV property into its value. The base class knows
// the properties every WebDAV client reads; clients of richer protocols
// derive and fall back to it for the keys they do not know. Parsing runs on
// worker threads: implementations must not change any state.
class PropertyValueParser {
public:
    virtual ~PropertyValueParser();

    // The value of `element`, read as the property `property`:
    //   "resourcetype": the keys of the child elements;
    //   "group-membership": the texts of the DAV:href children;
    //   "group-member-set": the response dictionaries of the DAV:response children;
    //   "current-user-privilege-set": the keys of the children of each DAV:privilege;
    //   "principal-search-property-set": the keys in DAV:prop of each
    //       DAV:principal-search-property;
    //   "supported-report-set": the keys in DAV:report of each DAV:supported-report;
    //   "need-privileges": {"href", "privilege"} for each href and privilege
    //       of each DAV:resource;
    //   any other: the element's text.
    virtual QVariant valueForElement(const XMLElement &element, const QString &property) const;

    // One DAV:response (or DAV:sync-response) as a dictionary: every child's
    // text under its key, but "status" as the code of its status line and
    // "propstat" as a list of dictionaries of the properties in its DAV:prop
    // with "property status" and "responsedescription" when present.
    QVariantMap responseDictionary(const XMLElement &response) const;

    // The dictionaries of the DAV:response children of `element`.
    QVariantList responseDictionaries(const XMLElement &element) const;
    // The texts of the DAV:href children of `element`.
    static QStringList hrefTexts(const XMLElement &element);
};
