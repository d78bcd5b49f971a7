#pragma once

#include <QStringList>

#include "caldav/support/TestServer.h"

// dnsmasq on 127.0.0.1 answering for made-up names only: the SRV records
// given before start(), nothing forwarded anywhere.
class DNSServer : public TestServer {
public:
    // One SRV record: `name` ("_caldav._tcp.example.test") served by
    // `target` on `port` with the priority and weight.
    void addSRVRecord(const QString &name, const QString &target, quint16 port,
                      quint16 priority = 0, quint16 weight = 0);

protected:
    QString prepare(QString &program, QStringList &arguments) override;

private:
    QStringList m_records;
};
