#pragma once

#include <QFuture>
#include <QString>
#include <memory>

#include "caldav/WebDAVClient.h"

class CalDAVClientDelegate;
class SRVResolver;

// The WebDAV client of CalDAV accounts: reads the CalDAV and calendar-server
// properties, and finds the CalDAV service of a domain through DNS SRV
// records on a worker thread.
class CalDAVClient : public WebDAVClient {
    Q_OBJECT

public:
    static constexpr char kCalDAVNamespace[] = "urn:ietf:params:xml:ns:caldav";
    static constexpr char kCalendarServerNamespace[] = "http://calendarserver.org/ns/";
    static constexpr char kICalNamespace[] = "http://apple.com/ns/ical/";
    static constexpr char kGoogleDataNamespace[] = "http://schemas.google.com/g/2005";
    // The public name server asked when the system's resolver found nothing.
    static constexpr char kPublicNameServer[] = "8.8.8.8";

    // The key of `name` in the CalDAV namespace ("urn:ietf:params:xml:ns:caldav NAME"),
    // and in the calendar-server one.
    static QString caldavKey(const char *name);
    static QString calendarServerKey(const char *name);

    explicit CalDAVClient(CalDAVClientDelegate *delegate = nullptr);
    // Waits for a running service discovery.
    ~CalDAVClient() override;

    using WebDAVClient::post;
    using WebDAVClient::put;

    // --- CalDAV requests; each ends like every WebDAV request ---
    // MKCALENDAR with the property values written as in PROPPATCH.
    void mkcalendar(const QString &url, const QVariantMap &propertyValues);
    // PUT of iCalendar data with the ETag condition of put(); with a schedule
    // tag, "If-Schedule-Tag-Match" carries it instead of "If-Match".
    void put(const QString &url, const std::optional<QString> &etag,
             const std::optional<QString> &scheduleTag, const QByteArray &vcalendarData);
    // REPORT calendar-query at `depth`: DAV:prop with the property
    // dictionaries and a CalDAV filter with the filter dictionaries (each
    // when any; see XMLBodyWriter::writePropertyDicts()).
    void calendarQueryReport(const QString &url, int depth, const QVariantList &propertyDicts,
                             const QVariantList &filterDicts);
    // REPORT calendar-multiget without "Depth": the properties (when any)
    // and one DAV:href per URL.
    void calendarMultigetReport(const QString &url, const QStringList &properties,
                                const QStringList &urls);
    // REPORT free-busy-query for the UTC range [start, end).
    void freeBusyQueryReport(const QString &url, int depth, Date start, Date end);
    // POST of an empty CS publish-calendar / unpublish-calendar document.
    void publishCalendar(const QString &url);
    void unpublishCalendar(const QString &url);
    // POST CS share: a CS set per user to add (its "href", "CS common-name"
    // and "CS summary" when present, and its "CS access" as an empty
    // element, e.g. "CS read-write"), a CS remove per user to remove.
    void shareCalendar(const QString &url, const QVariantList &setUsers,
                       const QVariantList &removeUsers);
    // POST CS invite-reply answering the invitation dictionary (its "CS uid",
    // "href", "CS hosturl" and "CS summary").
    void replyToInvitation(const QString &url, const QVariantMap &invite, bool accept);
    // PROPPATCH of the resource type to a plain calendar (no longer shared).
    void stopSharingCalendar(const QString &url);
    // PROPPATCH of the inbox's schedule-default-calendar-URL.
    void setDefaultSchedulingCalendar(const QString &inboxURL, const QString &href);
    // POST as WebDAVClient::post() with the bodies logged as told.
    void post(const QString &url, const QString &type, const QByteArray &data,
              const HeadersAndKeys &headersAndKeys, bool detailedLogging);

    // --- Service discovery ---
    // Looks up, on a worker thread: "_caldavs._tcp.DOMAIN" with the system's
    // resolver (found: SSL), then "_caldav._tcp.DOMAIN" with it (no SSL),
    // then "_caldav._tcp.DOMAIN" with the public name server, twice (found
    // the first time: reported as SSL; the second time: no SSL). The best
    // record (SRVResolver::bestRecord()) is reported on the main thread to
    // caldavClientFoundService(), or caldavClientDidNotFindService() when
    // none answered. A name that cannot have SRV records (an IP address, a
    // host with a port) is reported as not found without a lookup. Ignored
    // while a discovery runs.
    void serviceDiscoveryForDomain(const QString &domain);
    bool serviceDiscoveryRunning() const { return m_serviceDiscoveryRunning; }
    // The resolvers of every client made afterwards: the system's and the
    // public one. nullptr restores the real ones.
    static void setSharedResolvers(std::shared_ptr<const SRVResolver> system,
                                   std::shared_ptr<const SRVResolver> publicServer);

    // Waits until a running discovery has finished, then forgets the request
    // as WebDAVClient::cleanup() does; a discovery result still on its way
    // is dropped.
    void cleanup();

    // The CalDAV and calendar-server properties, falling back to WebDAV's:
    //   calendar-home-set, calendar-user-address-set: the DAV:href texts;
    //   schedule-inbox-URL, schedule-outbox-URL, recipient,
    //   managed-attachments-server-URL, CS notification-URL: the first href;
    //   supported-calendar-component-set: the "name" of each "comp" child;
    //   supported-calendar-component-sets: the value of each such set;
    //   schedule-calendar-transp, CS access: the key of the first child;
    //   CS allowed-sharing-modes: the child keys;
    //   CS changes: the "name" of each "changed-property" child;
    //   GD error: the text of its GD "code" child;
    //   calendar-data: {"ics": the text};
    //   CS calendar-proxy-write-for, -read-for: the DAV:response dictionaries;
    //   CS push-transports: each "transport" child's "type" → its value;
    //   CS transport: each child's key → its value;
    //   CS notificationtype, created-by, updated-by: each child's key → its text;
    //   CS invite: the values of its "user" children;
    //   schedule-response: per CalDAV "response" child, each child's key → its value;
    //   CS user, organizer, the notification and change records: each
    //       child's key → its value ("" for an empty child).
    QVariant valueForElement(const XMLElement &element, const QString &property) const override;
    // A notification resource: each child of its root, key → value; none
    // (and a warning) when the body does not parse.
    std::optional<QVariantMap> notificationDictFromXMLData(const QByteArray &data) const;
    // The name to show for a changed-by record: its common name, else first
    // and last name, else its e-mail address, else a name made from its href
    // (without "mailto:", or the last part of its path).
    static QString userNameFromChangedByDict(const QVariantMap &changedBy);

protected:
    // calendar-description with "xml:lang" (the user's first language);
    // schedule-calendar-transp with an empty child named by the value;
    // supported-calendar-component-set with a "comp" per component (its
    // "name" in upper case); CS source and schedule-default-calendar-URL
    // with a DAV:href holding the value; others as WebDAV writes them.
    void writeElementForProperty(XMLBodyWriter &writer, const QString &key,
                                 const QVariant &value) const override;
    QStringList keysOfPropertyValues(const QVariantMap &propertyValues) const override;

private:
    struct FoundService {
        bool found = false;
        QString host;
        bool ssl = false;
        quint16 port = 0;
    };
    // The calendar-server properties of valueForElement(); none for others.
    std::optional<QVariant> calendarServerValue(const XMLElement &element,
                                                const QString &property) const;
    static FoundService lookupService(const QString &domain, const SRVResolver &system,
                                      const SRVResolver &publicServer);
    void serviceDiscoveryFinished(const FoundService &result, int generation);

    std::shared_ptr<const SRVResolver> m_systemResolver;
    std::shared_ptr<const SRVResolver> m_publicResolver;
    bool m_serviceDiscoveryRunning = false;
    int m_discoveryGeneration = 0;
    QFuture<void> m_lookup;
};
