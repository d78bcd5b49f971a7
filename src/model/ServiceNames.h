#pragma once

#include <QString>

class ModelObject;

// How an account (a RemoteService record) is named to the user. Provider
// names come from the CalDAV and Exchange engines (ServiceEngines); without
// an engine an account is named as a plain server of its kind. Main thread
// only.
class ServiceNames {
public:
    // Subscriptions to other copies on the network count as added by hand
    // only when they have a direct address (`urlAlternate`); birthday
    // calendars never; every other kind always.
    static bool serviceWasAddedManually(const ModelObject *service);
    // "LAN" for the Bonjour publisher; the account's `title` when set; else
    // by kind: CalDAV: the provider ("iCloud", "Google", "Fruux", "Yahoo!"),
    // else the login, else "CalDAV"; Exchange: "Office 365" or "Exchange";
    // a subscription to another copy: its peer name, with "/<address>" when
    // a direct address is known; "WebDAV"; "Contacts"; any other kind
    // "<kind>".
    static QString nameForService(const ModelObject *service);
    // "Last updated: %@" for web subscriptions, "Last synced: %@" for the
    // others: `lastSyncTime` as "today", "yesterday", "tomorrow" or the short
    // date, with the short time, in lower case; "never" without a sync in
    // the last 1000 days.
    static QString lastSyncString(const ModelObject *service);

private:
    static QString providerName(const ModelObject *service);
    static QString peerName(const ModelObject *service);
};
