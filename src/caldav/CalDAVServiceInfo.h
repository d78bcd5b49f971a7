#pragma once

#include <QString>
#include <QVariantMap>
#include <optional>

#include "caldav/WebDAVResponse.h"

class ModelObject;

// What is known of a CalDAV account without asking its server: the address
// the user gave, the service URL and the per-account sync data that
// discovery stored, and what they say about the server.
namespace CalDAVServiceInfo {
// Provider hosts and domains.
inline constexpr char kICloudDomain[] = "icloud.com";
inline constexpr char kICloudCalDAVHost[] = "caldav.icloud.com";
inline constexpr char kLegacyAppleMailDomain[] = "me.com";
inline constexpr char kGoogleDomain[] = "google.com";
inline constexpr char kGoogleCalendarHost[] = "calendar.google.com";
inline constexpr char kGoogleAPIHost[] = "www.googleapis.com";
inline constexpr char kGoogleCalDAVHost[] = "apidata.googleusercontent.com";
inline constexpr char kYahooDomain[] = "yahoo.com";
inline constexpr char kFruuxDomain[] = "fruux.com";

// The sync data ("syncData", an archived dictionary); empty when none.
QVariantMap syncDataForService(const ModelObject *service);
void setArchivedSyncData(const QVariantMap &syncData, ModelObject *service);

// The address the user gave ("urlAlternate"); one that does not start with
// "http" but holds a "/" gets "https://" in front. None when empty.
std::optional<QString> serverAddress(const ModelObject *service);

// `path` unchanged when it starts with "http" (any letter case); otherwise
// "SCHEME://DOMAIN[:PORT]PATH", the port left out when it is the scheme's own.
QString urlForDomain(const QString &domain, const QString &path, quint16 port, bool ssl);

// The server kind of a principal's answer: "DAViCal", "LionServer" or
// "iCalServer"; none for any other server.
std::optional<QString> serverKindOfResponse(const WebDAVResponse &response);

// The DAV classes of `header` added to the comma-separated `stored` ones:
// spaces removed, each class once, in order; "calendar-schedule" dropped
// for Yahoo accounts.
QString appendToDAVHeader(const QString &stored, const QString &header, bool yahoo);

// Case-insensitive tests of the service's "url".
bool isGoogleCalDAV(const ModelObject *service);
bool isYahooCalDAV(const ModelObject *service);
bool isICloudCalDAV(const ModelObject *service);
}  // namespace CalDAVServiceInfo
