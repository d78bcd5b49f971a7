#pragma once

#include <QString>

#include "caldav/WebDAVClientDelegate.h"

class CalDAVClient;

// The owner of a CalDAV client: a WebDAV owner that also hears the outcome
// of DNS service discovery. Every callback comes on the main thread.
class CalDAVClientDelegate : public WebDAVClientDelegate {
public:
    ~CalDAVClientDelegate() override;

    // An SRV record named the CalDAV service of the domain.
    virtual void caldavClientFoundService(CalDAVClient &client, const QString &host, bool ssl,
                                          quint16 port) = 0;
    virtual void caldavClientDidNotFindService(CalDAVClient &client) = 0;
};
