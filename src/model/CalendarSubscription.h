#pragma once

class CommonDataMO;
class ModelObject;

// Whether the user subscribes to a calendar of a service (its
// `localSubscription`): only subscribed calendars are synced and shown. A
// calendar without owner is always subscribed. Main thread only.
class CalendarSubscription {
public:
    // `localSubscription` != 0 for a calendar with an owner; true without.
    static bool subscribedTo(const CommonDataMO &calendar);

    // Changes the subscription of a calendar owned by a service; nothing for
    // a calendar without owner, or when the state stays.
    // Subscribing (refused while another service's copy of the calendar is
    // subscribed): `localSubscription` 1, logged "Subscribe to %@", the
    // calendar published to the services that republish new calendars
    // (autoRepublishJustSubscribed(), just subscribed), and the owner asked
    // to sync unless the application is offline.
    // Unsubscribing (only where serviceSupportsUnsubscribing()):
    // `localSubscription` 0, logged "Unsubscribe from %@", the calendar
    // withdrawn from every service it is published to, its items and
    // attachment files purged, its subscribe password, `localHidden` and
    // `localTitle` cleared, its received time touched; a calendar of a peer
    // on the local network has the peer's list refreshed.
    static void setSubscribedTo(CommonDataMO &calendar, bool subscribed);

    // Subscribes the calendar unless it was deleted meanwhile.
    static void autoSubscribe(CommonDataMO &calendar);
    // autoSubscribe() right after the current event of the event loop (for
    // a calendar a sync is creating); nothing when the calendar or its
    // context is gone by then.
    static void scheduleAutoSubscribe(CommonDataMO *calendar);

    // Publishes the calendar to every service with `autoPublishContainers`
    // (the local-network publisher included); `justSubscribed` lets a
    // subscribed calendar be published (CalendarPublishing::setIsPublished).
    static void autoRepublishJustSubscribed(CommonDataMO &calendar, bool justSubscribed);

    // Whether the user may stop subscribing to `container` of `service`: not
    // without a service, not for web calendar subscriptions or birthdays,
    // not for an Exchange folder of the kind that always stays subscribed;
    // otherwise yes.
    static bool serviceSupportsUnsubscribing(const ModelObject *service,
                                             const CommonDataMO &container);
};
