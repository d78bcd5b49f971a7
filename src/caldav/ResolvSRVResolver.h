#pragma once

#include <QHostAddress>
#include <optional>

#include "caldav/SRVResolver.h"

// SRV lookups through the C library's resolver: the system's name servers
// (resolv.conf), or one given IPv4 name server on any port.
class ResolvSRVResolver : public SRVResolver {
public:
    static constexpr int kAnswerBufferSize = 2048;
    static constexpr int kMaximumTargetLength = 1024;

    // The system's name servers.
    ResolvSRVResolver() = default;
    // Only the name server at `server` (IPv4) and `port`.
    ResolvSRVResolver(const QHostAddress &server, quint16 port);

    QList<SRVRecord> lookupSRV(const QString &name) const override;
    // The SRV records in the answer section of a DNS answer (wire format);
    // malformed answers give the records read before the fault.
    static QList<SRVRecord> recordsOfAnswer(const unsigned char *answer, int length);

private:
    std::optional<QHostAddress> m_server;
    quint16 m_port = 53;
};
