#pragma once

#include <QString>

class CommonDataMO;
class ModelObject;

// Where a calendar is published: this machine's Bonjour publisher and the
// services listed in its syncable object's `publishedTo`. Withdrawing from
// the publisher leaves an UnpublishedContainer record so that subscribers
// learn of it. Main thread only.
class CalendarPublishing {
public:
    // A calendar this machine may offer on the local network: not one it
    // subscribes to from another copy on the network.
    static bool canBePublishedViaBonjour(const CommonDataMO &calendar);
    // A calendar may go to any service but its owner.
    static bool canBePublishedToService(const CommonDataMO &calendar, const ModelObject *service);
    static bool isPublishedToService(const CommonDataMO &calendar, const ModelObject *service);

    // Publishing adds the publisher to `publishedTo`, drops any withdrawal
    // record of the calendar and touches its received time; withdrawing
    // removes it, records the withdrawal (uid, entity name, now, publisher)
    // and tickles the publisher. Nothing happens when the state stays.
    static void setIsPublishedViaBonjour(CommonDataMO &calendar, bool published);
    // The Bonjour publisher is handled as above. Otherwise, when the state
    // changes, the service joins or leaves `publishedTo`, and a service that
    // publishes changes at once (other than the one syncing) is logged
    // "autoPublishTo: %@" and noted as having pending changes. A calendar
    // subscribed from its owner is published only when just subscribed.
    static void setIsPublished(CommonDataMO &calendar, bool published, ModelObject *service,
                               bool justSubscribed);
    // Withdraws the calendar from every service it is published to.
    static void unpublishEverywhere(CommonDataMO &calendar);
};
