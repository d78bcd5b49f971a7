#pragma once

#include <QString>
#include <QVariantMap>
#include <optional>

#include "caldav/WebDAVResponse.h"
#include "model/CalDAVEngine.h"

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
inline constexpr char kOracleName[] = "oracle";

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
bool isOracleCalDAV(const ModelObject *service);
bool isICloudCalDAV(const ModelObject *service);
// Tests of the server kind in the sync data ("server").
bool isDAViCalCalDAV(const ModelObject *service);
bool isLionServerCalDAV(const ModelObject *service);
// "iCalServer" or "LionServer".
bool isICalServerCalDAV(const ModelObject *service);
// The provider of the service by its "url" (its "urlAlternate" when it has
// no URL yet).
CalDAVEngine::ServerType serverType(const ModelObject *service);

// What the account's server supports, from the provider and the DAV classes
// it announced ("dav" of the sync data); none of them asks the server.
bool supportsFreeBusy(const ModelObject *service);         // not iCloud
bool supportsScheduleAgent(const ModelObject *service);    // iCloud
bool supportsAttachments(const ModelObject *service);      // not Google, Yahoo or Oracle
bool serverIssuesEmailAlarms(const ModelObject *service);  // Google
bool supportsPublishing(const ModelObject *service);       // fruux or iCloud
bool supportsProxies(const ModelObject *service);  // "calendar-proxy", not Google, Yahoo, fruux
bool supportsAutoScheduling(const ModelObject *service);  // "calendar-auto-schedule"
bool supportsOldScheduling(const ModelObject *service);   // "calendar-schedule"
bool supportsAnyScheduling(const ModelObject *service);
bool supportsWebDAVSubscription(const ModelObject *service);  // "calendarserver-subscribed"
bool supportsSharing(const ModelObject *service);             // "calendarserver-sharing"
bool supportsAvailability(const ModelObject *service);        // "calendar-availability"
bool supportsManagedAttachments(const ModelObject *service);  // "calendar-managed-attachments"
// Google always; otherwise outbox scheduling without implicit scheduling;
// false when the server announced no DAV classes.
bool attendeeMustMatchUser(const ModelObject *service);
bool oldOutboxBrokenForCancel(const ModelObject *service);  // Google

// The stored DAV classes, comma-separated.
QString davHeaderForService(const ModelObject *service);
// The principal path ("current-user-principal" of the sync data).
QString principalPathForService(const ModelObject *service);
// The user's addresses ("calendar-user-address-set" of the sync data).
QStringList userAddressesForCalDAVService(const ModelObject *service);
// The host of the service's "url".
QString serverDomainForCalDAVService(const ModelObject *service);

// One address of `addresses` for the user; the first rule that yields one
// wins: (1) with a preference (a login, or empty for none in particular),
// the first "mailto:" address that contains it, else the first "mailto:"
// address; (2) the first "urn:uuid:" or "urn:x-uid:" address; (3) the first
// "mailto:" address; (4) the first address starting with "/". A candidate in
// `omit` (any letter case) gives none at once. A "mailto:" address comes
// without its "mailto:".
std::optional<QString> bestUserAddressFromSet(const QStringList &addresses, const QStringList &omit,
                                              const std::optional<QString> &preferMailToWithLogin);
// The best of the account's addresses, preferring the login on iCloud.
std::optional<QString> bestUserAddressForCalDAVService(const ModelObject *service);
}  // namespace CalDAVServiceInfo
