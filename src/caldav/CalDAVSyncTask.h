#pragma once

#include <QFuture>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <memory>
#include <optional>

#include "caldav/CalDAVClientDelegate.h"
#include "ical/ICalImporter.h"
#include "model/foundation/Date.h"
#include "model/store/ObjectRef.h"
#include "tasks/RemoteServiceTask.h"

class CalDAVClient;
class CalendarDate;
class CalDAVRemoteObjects;
class CalDAVCalendarGroups;
class WebDAVResponse;
class CommonDataMO;
class ExtraDataMO;
class SyncableObjectMO;

// The sync task of a CalDAV account ("CalDAV Synchronization"). A cycle of an
// account without service URL first discovers it from what the user gave (an
// address, a URL, or nothing but a login): SRV records, then PROPFINDs of
// "current-user-principal" at the well-known path and the usual server paths,
// over the ports and schemes worth trying. Then it reads the principal (homes,
// addresses, inbox and outbox, the server's DAV classes and kind) into the sync
// data, and lists the collections of the calendar homes there ("collections").
// On a server that offers delegation, the principals that made the account
// their read or write proxy follow ("proxies", see CalDAVSyncTaskProxies.cpp),
// and their homes are listed too: their calendars are synced beside the
// account's own, in a calendar group per owner, read-only for a read proxy.
// The calendars of that list are made, updated and deleted locally to match it;
// then the calendars added, renamed, recoloured or deleted here are sent
// (MKCALENDAR in the first home, PROPPATCH of what differs from the listing,
// DELETE), and a calendar deleted here is not made again from the listing
// meanwhile. Whether a calendar's events count as busy time ("blocksTime")
// is its schedule transparency, sent only to a server that schedules. When calendars changed here
// wait to be sent, the list comes first and the items of a new calendar follow it in the same
// cycle. Before that listing (once one was read), the items changed here since the server last
// agreed to them are sent, one request each: a new one created only where its
// href is free, an edit or a deletion only over the ETag last seen; what the
// server refuses is kept in the conflict bin (see CalDAVSyncTaskPush.cpp) and
// the server's copy is downloaded. Then the items of every calendar whose
// contents changed are pulled: a sync-collection report from the last token (a
// full listing when the server refuses it) or an ETag listing, the changed
// resources downloaded with calendar-multiget in chunks, read on a worker
// thread and merged into the store by UID; after a full listing, items the
// server no longer has are deleted.
//
// Last, the attachment files of the account's items that wait for it are
// downloaded, and on a server that manages attachments, files attached here
// are sent on their own (the server names them by an id).
//
// Passwords come from the service's "transPassword" or the credential
// store; a password the server refuses is not offered twice, and the cycle
// ends in the login-failed state with the server's words as its error.
class CalDAVSyncTask : public RemoteServiceTask, public CalDAVClientDelegate {
public:
    static constexpr char kServiceName[] = "CalDAV Synchronization";
    // A port the user typed (no port scan).
    static constexpr int kUserPort = 10;
    // A principal answer slower than this from Google is suspicious.
    static constexpr double kSuspiciousGoogleSeconds = 15.0;
    // Resources asked for per calendar-multiget at first. The chunk of a
    // task is halved (down to 1) whenever a multiget brings no answer, and
    // that smaller chunk stays for the task's later cycles. Within the
    // download of one calendar, a chunk whose answer came back within
    // kQuickBatchSeconds doubles the next one, up to kMaxDownloadChunkSize,
    // as long as no multiget of the task ever failed: a first sync of 3,000
    // items then takes 10 requests instead of 60, which is what the user
    // waits for on a distant server (each request costs the network's round
    // trip and the server's own work per request), while a server slow to
    // answer, or one that failed a batch, keeps getting small ones.
    static constexpr int kDownloadChunkSize = 50;
    static constexpr int kMaxDownloadChunkSize = 400;
    static constexpr double kQuickBatchSeconds = 5.0;
    // The organizer of a placeholder repeating item whose detached instances
    // name none.
    static constexpr char kOrphanedOrganizerAddress[] = "orphaned-organizer@example.com";

    // What the last cycle did to items.
    struct Counts {
        int pulled = 0;        // items stored from the server (new or changed)
        int pushed = 0;        // local changes sent
        int deleted = 0;       // items deleted because the server no longer has them
        int conflicts = 0;     // items moved to the conflict bin
        int filesFetched = 0;  // attachment files downloaded
        int filesStored = 0;   // attachment files uploaded
        // Calendars added, changed or deleted on the server from here.
        int calendarsPushed = 0;
        int requests = 0;  // HTTP requests sent
    };

    // Makes RemoteServiceTask create this task for CalDAV services.
    static void registerKind();
    // Why the server refused to store an item, kept with it in the conflict
    // bin: "Event too large" ("Graphic too large" for a graphic) when the
    // error elements of the answer name the size limit (or Google's
    // "invalid"), else the key of the first error element, else the status.
    static QString reasonForConflict(const QVariantList &errorDicts, const CommonDataMO &event,
                                     int status);

    // Where a calendar first found on the server goes among the others
    // (`localSortOrder`), from the access the account has to it and the
    // item types it takes (`supportedEventTypes`, 0 for all): calendars of
    // events the account may write first (kWritableSortOrder), read-only
    // ones after them (kReadOnlySortOrder); a calendar of to-dos only comes
    // kTasksSortOffset after the event calendars of its access.
    static constexpr qint64 kWritableSortOrder = 100;
    static constexpr qint64 kReadOnlySortOrder = 200;
    static constexpr qint64 kTasksSortOffset = 10;
    static qint64 sortOrderFromAccess(int access, qint64 supportedEventTypes);

    explicit CalDAVSyncTask(ModelObject *service);
    ~CalDAVSyncTask() override;

    void terminate() override;
    // The principal path of the sync data ("current-user-principal").
    QString principalPath() const;
    void setPrincipalPath(const QString &path);
    const QVariantMap &syncData() const { return m_syncData; }
    const Counts &counts() const { return m_counts; }

    // WebDAVClientDelegate
    int webdavClientLoginPassword(WebDAVClient &client, const QUrl &url, QString &login,
                                  QString &password, int retries) override;
    void webdavClientDidFinish(WebDAVClient &client) override;
    void webdavClientRequestDidFailWithError(WebDAVClient &client, const QNetworkRequest &request,
                                             const std::optional<WebDAVError> &error) override;
    // CalDAVClientDelegate
    void caldavClientFoundService(CalDAVClient &client, const QString &host, bool ssl,
                                  quint16 port) override;
    void caldavClientDidNotFindService(CalDAVClient &client) override;

protected:
    void startOfSync() override;
    void cleanup() override;
    void flushCaches() override {}

private:
    CalDAVClient &caldav();
    QString login() const;
    QString serverDomain() const;
    // Discovery steps.
    void lookupService();
    void lookupServiceResponse();
    void bootstrapFromWellKnownURL();
    void bootstrapFromRedirect();
    void bootstrapFromServerRoot();
    void bootstrapFromCalendarDav();
    void bootstrapFromPrincipalsUsers();
    void bootstrapFromCaldav();
    void probe(const char *logText, const QString &path, Step next);
    void bootstrapResponse();
    void bootstrapContinuePortScanOrFail();
    void failDiscovery();
    void setServiceURL(const QString &path);
    QString serviceURLFromPath(const QString &path) const;
    // Principal steps.
    void fetchUserInfo();
    void fetchUserInfoResponse();
    void fetchPrincipalSearch();
    void fetchPrincipalSearchResponse();
    void fetchUserHomeSet();
    void checkDAVOptions();
    void checkDAVOptionsResponse();
    // Lists the homes of `m_collectionsToFetch` into `m_collectionDictArray`,
    // then runs `m_collectionNextState`.
    void fetchCollections();
    // The records linking local objects to the server's, read from the
    // service at their first use in a cycle and kept current by the task
    // until the cycle ends.
    CalDAVRemoteObjects &remoteObjects();
    // Done while the server answers the listing of a calendar home, which
    // costs a server that stamps each calendar over all its items most of a
    // quiet cycle: the records are read (when no item sent before needed
    // them) and those whose local object is gone are deleted, once a cycle.
    void prepareRemoteObjectsDuringListing();
    void fetchCollectionsResponse();
    // Home sync: a server that syncs homes ("calendarserver-home-sync") is
    // asked, once a cycle completed, only for the collections that changed
    // in the account's single home since the home's "sync-token" of the sync
    // data (found with the home's listing); they replace the stored ones, a
    // 404 removes one. A refused report lists the home in full.
    void sendHomeSyncReport(const QString &token);
    void fetchUserHomeCollectionSyncResponse();
    // A home answered 403 or 404: whether the cycle goes on (a Google
    // proxy's vanished home drops that proxy); otherwise it ended.
    bool continueAfterRefusedHome(int status);
    // Delegation steps (see CalDAVSyncTaskProxies.cpp): the principals whose
    // calendars the account reaches as a proxy ("proxies" of the sync data),
    // then the homes of each of them.
    void fetchProxies();
    void fetchProxiesResponse();
    void processGroupMembershipAsProxies();
    void fetchGroupInfo();
    void fetchGroupInfoResponse();
    void fetchProxyUserHomeCollection();
    // The previous cycle's user dictionary of the proxy, or an empty one.
    QVariantMap previousProxyUserDict(const QString &proxyID) const;
    // Shared calendars (see CalDAVSyncTaskShared.cpp): the owners of
    // calendars other principals share with the account ("CS shared" in
    // their "sharing"), in the account's homes and its proxies', are kept in
    // "owners" of the sync data with their "principal-URL", "displayname"
    // and address set as far as the server tells them; each is asked for
    // once (PROPFIND of its principal), and forgotten once it shares nothing
    // with the account.
    void processSharedCalendars();
    static void getSharedOwnersInUserDict(const QVariantMap &userDict, QStringList &sharedOwners);
    void fetchSharedOwnerInfo();
    void fetchSharedOwnerInfoResponse();
    static bool isSharedCollection(const QVariantMap &collection);
    // The principal path of the collection's "owner"; empty when none.
    static QString ownerOfCollection(const QVariantMap &collection);
    // The owner's user dictionary in this cycle, named by the last segment
    // of its path when the server gave no name; empty when not known.
    QVariantMap sharedOwnerDict(const QString &owner) const;
    // Calendar steps.
    void processCalendarList();
    void processCalendars();
    // Makes, updates and marks as seen the local calendars of the collections
    // of one user: the account's own (empty proxy ID) or a proxy's (its
    // principal URL, with its user dictionary).
    void processCalendarsInUserDict(const QVariantList &collections,
                                    const QVariantList &oldCollections, const QString &proxyID,
                                    const QVariantMap &proxyDict);
    void updateCalendar(CommonDataMO *calendar, const QVariantMap &collection,
                        const QVariantMap &oldCollection, bool created);
    // The calendar group of a new calendar of a proxy: its owner's, or the
    // group of to-do calendars.
    void placeProxyCalendarInGroup(CommonDataMO *calendar, const QString &proxyID,
                                   const QVariantMap &proxyDict);
    void garbageCollectCalendars();
    // Steps sending the account's calendars added, changed or deleted here
    // since the server last agreed to them, after the calendar list is read.
    // The calendars to send, newest last; tombstones of calendars never
    // sent are deleted on the way.
    QList<SyncableObjectMO *> changedCalendars();
    void sendChangedCalendars();
    void sendChangedCalendar();
    void sendCalendarAdd(SyncableObjectMO *calendar);
    void sendCalendarChange(SyncableObjectMO *calendar, ModelObject *record);
    void sendCalendarDelete(SyncableObjectMO *calendar, ModelObject *record);
    void sendCalendarResponse();
    void processCalendarResponse(int status);
    void doneWithCalendars();
    // The properties of a calendar on the server: what the latest listing
    // said of that href.
    QVariantMap listedCollection(const QString &href) const;
    // The server schedules by itself ("calendar-auto-schedule" among the
    // DAV classes of this cycle's sync data): calendars' transparency is
    // sent to it.
    bool serverSchedules() const;
    // Steps sending local item changes.
    void findChangedEvents();
    void sendChangedEvent();
    void sendEventChange(SyncableObjectMO *syncable, ModelObject *record);
    // A proxy only reads the calendars of an owner who made it a read
    // proxy: what was changed here is not sent; an edited or new item goes
    // to the conflict bin, and the server's copy of an edited or deleted
    // one is downloaded again.
    static bool isReadOnlyProxyCalendar(const ModelObject *calendarRecord);
    void ignoreChangeInReadOnlyProxyCalendar(ModelObject *record);
    struct ChangedEvent;
    // The item a deleted one became by a move to another calendar of this
    // account that the server knows: the item with its uid there, with the
    // href of that calendar; none otherwise.
    std::optional<ChangedEvent> deletedSyncableEventWasMoved(SyncableObjectMO *syncable);
    // MOVE of the item's resource to the new calendar, never over a resource
    // already there.
    void sendEventMove(ModelObject *record, const ChangedEvent &target);
    // What a MOVE the server answered leaves to send: after a refusal, the
    // item is sent to its new calendar as a new one and the old resource is
    // deleted; when the old resource was gone, only the former.
    void resendRefusedMove(int status);
    void sendEventResponse();
    // A server may refuse an item too large for it by answering before the
    // body is read and closing the connection, so that the client sees the
    // connection break rather than the refusal. An item whose upload broke
    // the connection is sent once more; when it breaks it again, a small
    // request to its calendar tells a server that takes other requests (the
    // item is refused as too large, and the cycle goes on) from one that
    // cannot be reached (the cycle ends in "unable to connect").
    void resendAfterBrokenConnection();
    void brokenConnectionProbeResponse();
    // The status of the answer to a request for one resource (a
    // multi-status answer gives the highest of its responses), with its
    // ETag and error elements, and the whole results; none after ending the
    // cycle: no answer, a lock, a server error or a redirection.
    struct ResultStatus {
        int status = 0;
        std::optional<QString> etag;
        QVariantList errorDicts;
        QVariantMap results;
    };
    std::optional<ResultStatus> resultStatusWithETag();
    void processEventResponse(const ResultStatus &result);
    // The item's local version moved to the conflict bin with the reason,
    // and the server's copy downloaded in its place (a deleted item gives
    // way to the server's copy).
    void keepConflictingVersion(SyncableObjectMO *syncable, const QString &href,
                                const QString &reason);
    // The server's copies of the calendar's items are downloaded again where
    // they differ from what is kept here: the calendar is listed in full in
    // this cycle (or the next one, since its token is dropped).
    void fetchNeededForCalendar(const QString &calendarHREF);
    // The item (and its detached instances) as the server has it now.
    static void noteAgreedWithServer(SyncableObjectMO *syncable, std::optional<Date> modTime);
    // Item steps.
    void fetchChangesFromServer();
    void fetchChangesFromCalendar();
    void sendChangesRequest(const QString &token);
    void markItemsOfCalendar();
    void fetchChangesFromCalendarResponse();
    void processServerChanges();
    // Downloads the next chunk of `m_eventsToFetch` and blocks for it. Once
    // a chunk arrived and more are left, the next one is asked for at once
    // (`m_multigetAhead`), so that the server prepares it while this one is
    // merged; its answer is read after the merge, as if asked for then: a
    // failed one ends the cycle with what was merged kept.
    void fetchChangedEvents();
    void sendMultiget();
    void multigetResponse();
    void processChangedEvents();
    void processEventChange(const QVariantMap &response);
    // Merges a resource into the calendar: its items by UID, the detached
    // instances it no longer holds deleted, the remote objects of the item
    // and its detached instances recorded with the ETag. Detached instances
    // whose repeating item is known neither here nor in the resource get a
    // placeholder one. The item, or nullptr when the data held none (logged).
    CommonDataMO *storeResource(CommonDataMO *calendar, const QString &href, const QString &etag,
                                const QString &data);
    // The placeholder: an item of the calendar under the UID marked
    // `localOrphaned`, occurring once at the original start of the first
    // detached instance, which replaces that occurrence. It is never sent.
    CommonDataMO *createDummyMainEventForOrphanedDetachedEvents(CommonDataMO *calendar,
                                                                const QString &uid,
                                                                const CalendarDate &originalTime);
    // Once its detached instances are read: an organizer copied from the
    // first one's (or the UID and kOrphanedOrganizerAddress), its days and
    // search text.
    static void finishDummyMainEvent(CommonDataMO *placeholder);
    void makeRemoteObjectsForDetachedEventsInEvent(CommonDataMO *item, const QString &href,
                                                   const QString &etag);
    void makeRemoteObjectForDetachedEventWithOriginalID(CommonDataMO *detached, const QString &href,
                                                        const QString &etag);
    void doneWithChangesFromCalendar();
    void deleteReceivedItem(const QString &href);
    void endOfSync();
    // File steps, last in a cycle: the attachment files of the account's
    // items marked for download ("needsToBeFetched") are fetched and
    // written to their place; those marked for upload ("needsToBeStored")
    // are sent to a server that manages attachments. A file that cannot be
    // had is logged and skipped; its marks are cleared all the same, so it
    // is not tried again every cycle. A file not ready yet keeps its marks.
    bool haveFilesToSync();
    void fileSync();
    void findFileToSync();
    // Whether a request went out for the file.
    bool requestFileDownload(ExtraDataMO &record);
    bool createAttachmentRequest(ExtraDataMO &record);
    // False, logged, while the file is still being copied in or its item
    // is not on the server.
    bool fileIsReady(const ExtraDataMO &record);
    void getFileResponse();
    // The file under way when its request succeeded; otherwise why not is
    // logged with `failure` (a format taking the task and the file), the
    // file is done with, and nullptr.
    ExtraDataMO *fileOfSuccessfulAnswer(const char *failure);
    // Writes the data to the file's place on a worker thread, blocking the
    // task until it is written.
    void saveFileDataAndBlock(const QString &path, const QByteArray &data);
    void fileSaved();
    void createAttachmentResponse();
    // The server named the file (its id) and, when it sent the item back,
    // that version and ETag are stored; else the next cycle downloads it.
    void processAttachmentResponse(ExtraDataMO &record, const WebDAVResponse &response);
    // After the item was sent to a server that manages attachments: its
    // files (and those of its detached instances) that the server does not
    // keep yet are marked to be sent on their own ("needsToBeStored").
    void synthesizeAttachmentAddsForEvent(SyncableObjectMO *syncable);
    // A file of this machine (not a web file) the server has no id for.
    static bool isAttachmentToUpload(const ExtraDataMO &record);
    // The URL of the resource of an href (no slash at the end).
    QString resourceURLOfHREF(const QString &href) const;
    void fileSyncComplete();
    // The href of the resource holding the attachment's item, or empty.
    QString hrefOfAttachmentItem(const ExtraDataMO &record) const;
    // The results of a multi-status answer, or none after ending the cycle.
    std::optional<QVariantMap> multiStatusResultsDict(bool longResponseOK = false,
                                                      bool internalServerErrorOK = false);
    void endWithNoAnswer();
    // Ends the cycle; a failure keeps what the server said as its error.
    void finishWithState(qint64 state);
    void noteServerWords(const QString &words);
    // Keeps the text of an HTML answer as the words of the server.
    void noteWebPage(const QVariantMap &results);
    // Blocks until the answer, which runs `next`.
    void awaitAnswer(Step next);
    // The answer to the request under way arrived (or it failed): the
    // task runs on.
    void answerReached();

    std::unique_ptr<CalDAVClient> m_caldav;
    QVariantMap m_syncData;
    QString m_serviceDomain;
    quint16 m_servicePort = 0;
    bool m_serviceSSL = false;
    QString m_serverRoot;
    int m_portScan = 0;
    bool m_triedServerRoot = false;
    bool m_skipWellKnownURL = false;
    bool m_stripDomainFromLogin = false;
    Step m_nextBootstrapState;
    bool m_lastProbe = false;  // the probe under way is the last of the list
    int m_redirects = 0;
    // A cycle of this task completed: the next ones skip the principal's
    // properties and list the calendar homes straight away.
    bool m_fastCalendarSyncOK = false;
    QStringList m_collectionsToFetch;
    // The collections of the account's own homes as listed in this cycle.
    QVariantList m_collections;
    // The listing under way: the collections found so far in the homes of
    // one user, the proxy being listed (-1 for the account itself), and the
    // step after its last home.
    QVariantList m_collectionDictArray;
    qsizetype m_collectionProxyIndex = -1;
    Step m_collectionNextState;
    // Delegation in this cycle: the proxies read ("proxies" of the sync
    // data, each with its homes' "collections"), and those still to be
    // asked about on the group-membership route.
    QVariantList m_proxies;
    // Owners of shared calendars: those kept for "owners", those to ask for.
    QVariantList m_owners;
    QStringList m_ownersToFetch;
    QList<qsizetype> m_groupInfoToFetch;
    // Per cycle: the records linking local objects to the server's (see
    // remoteObjects()) and whether those of vanished objects were dropped,
    // the calendars still marked as gone from the server, and those whose
    // items are to be fetched.
    std::unique_ptr<CalDAVRemoteObjects> m_remoteObjects;
    bool m_orphansDropped = false;
    std::unique_ptr<CalDAVCalendarGroups> m_calendarGroups;
    QSet<SyncableObjectMO *> m_markedCalendars;
    struct CalendarToFetch {
        CommonDataMO *calendar = nullptr;
        QString href;
        bool webdavSync = false;
    };
    QList<CalendarToFetch> m_calendarsToFetch;
    // Hrefs of calendars to list in full this cycle, whatever their stamps.
    QSet<QString> m_calendarsToRelist;
    // The calendar whose items are being fetched.
    CalendarToFetch m_fetching;
    bool m_fullSync = false;
    bool m_takeAllContent = false;
    // Listed resources: href and ETag (none for a deletion).
    QList<std::pair<QString, std::optional<QString>>> m_serverChanges;
    QStringList m_eventsToFetch;
    // The items of the calendar being fetched by UID, read from the store
    // once when more than kItemsLookedUpOneByOne resources are to be
    // downloaded (a first sync), instead of a lookup per resource.
    static constexpr int kItemsLookedUpOneByOne = 64;
    std::optional<ICalImporter::ItemsByUID> m_fetchedItems;
    QSet<QString> m_markedHREFs;  // items not yet seen in a full listing
    std::optional<QString> m_newSyncToken;
    QVariantList m_eventResponseDicts;
    int m_downloadChunkSize = kDownloadChunkSize;
    // The chunk of the calendar being fetched: grown from the task's.
    int m_fetchChunkSize = kDownloadChunkSize;
    int m_requestedChunk = 0;
    // The next answer's results are computed on a worker thread.
    bool m_resultsInBackground = false;
    // A multiget went out ahead of the merge and its answer (results
    // computed) or failure has not reached the task yet.
    bool m_multigetAhead = false;
    // Items to send, newest last, with the href of their calendar; a
    // deleted item that moved is sent as a DELETE all the same when
    // `plainDelete`.
    struct ChangedEvent {
        SyncableObjectMO *syncable = nullptr;
        QString calendarHREF;
        bool plainDelete = false;
    };
    QList<ChangedEvent> m_changedSyncableEvents;
    // The change sent: what it was, its href and the stamp of what was sent;
    // for a move, where the item went and its href there.
    enum class ChangeOp { Add, Delete, Change, Move };
    ChangeOp m_changeOp = ChangeOp::Add;
    ChangedEvent m_sending;
    QString m_sendingHREF;
    ChangedEvent m_moveTarget;
    QString m_moveHREF;
    std::optional<Date> m_sentModTime;
    // The item whose upload broke the connection once in this cycle.
    SyncableObjectMO *m_brokenUpload = nullptr;
    // Calendars: whether the list comes before the items this cycle, and
    // whether it was read already; the calendars to send, newest last, and
    // the one sent now with the property values sent.
    bool m_syncCalendarsFirst = false;
    bool m_calendarListRefreshed = false;
    QList<SyncableObjectMO *> m_changedCalendars;
    struct CalendarSend {
        SyncableObjectMO *calendar = nullptr;
        ChangeOp op = ChangeOp::Add;
        QString href;
        QVariantMap values;
        std::optional<Date> modTime;
    };
    CalendarSend m_sendingCalendar;
    Counts m_counts;
    // The attachment files to download or upload in this cycle, and the one
    // under way (with what became of its written data).
    QList<ObjectRef<ExtraDataMO>> m_filesToSync;
    ObjectRef<ExtraDataMO> m_syncingFile;
    QString m_syncingFileURL;
    QFuture<QString> m_fileSave;
    QString m_fileSaveError;
    // What the failed requests of this cycle said, for its error text.
    std::optional<QString> m_serverWords;
    std::optional<QString> m_connectionError;
};
