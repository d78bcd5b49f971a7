#pragma once

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include "caldav/WebDAVResponse.h"

class PropertyValueParser;

// The results dictionary of one HTTP exchange, what the owners of a WebDAV
// client read:
//   "status"       the status code (always);
//   "headers"      every header field, name → value (always);
//   "url"          the URL of the response (always);
//   "multistatus"  for a 207 that parses: the response dictionaries in
//                  document order (PropertyValueParser::responseDictionary());
//   "responsedescription", "sync-token"
//                  for such a 207: the text of the first top-level element;
//   "error"        for 400–499 with a body: a list of one-entry dictionaries
//                  {element key: value}; for an HTML page, one dictionary
//                  whose key is the page's text and whose value is "";
//   (root key)     for a 200 of a REPORT, or any 200 when XML is expected:
//                  the value of the root element under its own key.
// Bodies that do not parse are logged and leave their keys out. The
// multi-status is read as a stream, one response at a time. Safe to run on
// any thread.
namespace WebDAVResults {
QVariantMap calcResultsDict(const WebDAVResponse &response, const QString &method,
                            bool expectXMLResponse, const QByteArray &body,
                            const PropertyValueParser &parser);
// Every property of a response dictionary that came back with status 200
// (a propstat without status has the response's), by key; the first
// propstat holding a key wins.
QVariantMap foundProperties(const QVariantMap &response);
// The first response dictionary of a results dictionary's multi-status; an
// empty one when there is none.
QVariantMap firstResponse(const QVariantMap &results);
}  // namespace WebDAVResults
