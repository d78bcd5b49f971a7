#include "caldav/ResolvSRVResolver.h"

#include <arpa/inet.h>
#include <arpa/nameser.h>
#include <netinet/in.h>
#include <resolv.h>

#include <algorithm>
#include <cstring>

#include "model/foundation/Log.h"

QList<SRVRecord> ResolvSRVResolver::recordsOfAnswer(const unsigned char *answer, int length) {
    QList<SRVRecord> records;
    ns_msg message;
    if (ns_initparse(answer, length, &message) < 0)
        return records;
    const int count = ns_msg_count(message, ns_s_an);
    for (int index = 0; index < count; ++index) {
        ns_rr record;
        if (ns_parserr(&message, ns_s_an, index, &record) < 0)
            break;
        if (ns_rr_type(record) != ns_t_srv || ns_rr_rdlen(record) < 7)
            continue;
        const unsigned char *data = ns_rr_rdata(record);
        char target[kMaximumTargetLength + 1];
        if (ns_name_uncompress(ns_msg_base(message), ns_msg_end(message), data + 6, target,
                               sizeof target) < 0)
            continue;
        SRVRecord srv;
        srv.priority = ns_get16(data);
        srv.weight = ns_get16(data + 2);
        srv.port = ns_get16(data + 4);
        srv.target = QString::fromUtf8(target);
        if (srv.target.endsWith(QLatin1Char('.')))
            srv.target.chop(1);
        records.append(srv);
    }
    return records;
}

ResolvSRVResolver::ResolvSRVResolver(const QHostAddress &server, quint16 port)
    : m_server(server), m_port(port) {}

QList<SRVRecord> ResolvSRVResolver::lookupSRV(const QString &name) const {
    struct __res_state state;
    std::memset(&state, 0, sizeof state);
    if (res_ninit(&state) != 0) {
        logWarning("ResolvSRVResolver: cannot initialise the resolver");
        return {};
    }
    if (m_server) {
        sockaddr_in address;
        std::memset(&address, 0, sizeof address);
        address.sin_family = AF_INET;
        address.sin_port = htons(m_port);
        address.sin_addr.s_addr = htonl(m_server->toIPv4Address());
        state.nsaddr_list[0] = address;
        state.nscount = 1;
    }
    unsigned char answer[kAnswerBufferSize];
    const QByteArray query = name.toUtf8();
    const int length =
        res_nquery(&state, query.constData(), ns_c_in, ns_t_srv, answer, sizeof answer);
    res_nclose(&state);
    if (length < 0)
        return {};
    return recordsOfAnswer(answer, std::min(length, int(sizeof answer)));
}
