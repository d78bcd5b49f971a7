#include "caldav/support/FaultProxy.h"

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

constexpr QByteArrayView kHeaderEnd = "\r\n\r\n";

// The name of a header line, in lower case, and its value.
QByteArray headerNameOf(const QByteArray &line) {
    return line.left(line.indexOf(':')).trimmed().toLower();
}
QByteArray headerValueOf(const QByteArray &line) {
    return line.mid(line.indexOf(':') + 1).trimmed();
}

// The word at `index` of a request or status line.
QByteArray wordOfLine(const QByteArray &line, int index) {
    return line.split(' ').value(index);
}

// The head with `davClass` added to its "DAV" header lines.
QByteArray headWithDAVClass(const QByteArray &head, const QByteArray &davClass) {
    QList<QByteArray> lines = head.split('\n');
    for (qsizetype i = 1; i < lines.size(); ++i)
        if (headerNameOf(lines[i].trimmed()) == "dav")
            lines[i] = lines[i].trimmed() + ", " + davClass + "\r";
    return lines.join('\n');
}

// The header lines without those named (case-insensitive), then
// "Connection: close".
QByteArray headersClosingConnection(const QByteArray &head) {
    QList<QByteArray> lines = head.split('\n');
    QByteArray rewritten;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QByteArray line = lines[i].trimmed();
        if (line.isEmpty())
            continue;
        const QByteArray name = headerNameOf(line);
        if (i > 0 && (name == "connection" || name == "keep-alive"))
            continue;
        rewritten += line + "\r\n";
    }
    return rewritten + "Connection: close\r\n\r\n";
}

qsizetype contentLengthOf(const QByteArray &head) {
    for (const QByteArray &line : head.split('\n')) {
        if (headerNameOf(line) == "content-length")
            return headerValueOf(line).toLongLong();
    }
    return 0;
}

QByteArray reasonOfStatus(int status) {
    switch (status) {
        case 500:
            return "Internal Server Error";
        case 502:
            return "Bad Gateway";
        case 503:
            return "Service Unavailable";
        default:
            return "Error";
    }
}

}  // namespace

struct FaultProxy::Connection {
    QTcpSocket *client = nullptr;
    QTcpSocket *upstream = nullptr;
    QByteArray request;
    QByteArray answer;
    qsizetype exchange = -1;
    bool handled = false;
};

FaultProxy::FaultProxy(quint16 upstreamPort)
    : m_server(new QTcpServer(this)), m_upstreamPort(upstreamPort) {
    connect(m_server, &QTcpServer::newConnection, this, &FaultProxy::accept);
}

FaultProxy::~FaultProxy() = default;

QString FaultProxy::listen() {
    if (m_server->listen(QHostAddress::LocalHost, 0))
        return {};
    return QStringLiteral("the proxy cannot listen: %1").arg(m_server->errorString());
}

quint16 FaultProxy::port() const {
    return m_server->serverPort();
}

QString FaultProxy::url(const QString &path) const {
    return QStringLiteral("http://127.0.0.1:%1%2").arg(port()).arg(path);
}

int FaultProxy::faultsApplied(const QByteArray &method) const {
    if (method.isEmpty())
        return int(m_faulted.size());
    return int(m_faulted.count(method));
}

void FaultProxy::accept() {
    while (QTcpSocket *client = m_server->nextPendingConnection()) {
        auto *connection = new Connection;
        connection->client = client;
        client->setParent(this);
        connect(client, &QTcpSocket::readyRead, this,
                [this, connection] { readRequest(connection); });
        connect(client, &QTcpSocket::disconnected, this,
                [this, connection] { finish(connection); });
    }
}

void FaultProxy::readRequest(Connection *connection) {
    if (connection->handled)
        return;
    connection->request += connection->client->readAll();
    const qsizetype headEnd = connection->request.indexOf(kHeaderEnd);
    if (headEnd < 0)
        return;
    const qsizetype bodyStart = headEnd + kHeaderEnd.size();
    if (connection->request.size() - bodyStart < contentLengthOf(connection->request.left(headEnd)))
        return;
    connection->handled = true;
    handle(connection);
}

const FaultProxy::Rule *FaultProxy::matchingRule(const QByteArray &method,
                                                 const QByteArray &request) {
    for (qsizetype i = 0; i < m_rules.size(); ++i) {
        const Rule &rule = m_rules[i];
        if ((!rule.method.isEmpty() && rule.method != method) ||
            (!rule.bodyContains.isEmpty() && !request.contains(rule.bodyContains)))
            continue;
        const int seen = m_ruleSeen[i]++;
        if (seen >= rule.skip && (rule.times < 0 || seen < rule.skip + rule.times))
            return &rule;
    }
    return nullptr;
}

void FaultProxy::handle(Connection *connection) {
    const QByteArray firstLine = connection->request.left(connection->request.indexOf('\r'));
    Exchange exchange{wordOfLine(firstLine, 0), wordOfLine(firstLine, 1), 0};
    connection->exchange = m_exchanges.size();
    m_exchanges.append(exchange);
    if (m_onRequest)
        m_onRequest(exchange, connection->request);
    const Rule *rule = matchingRule(exchange.method, connection->request);
    if (rule)
        m_faulted.append(exchange.method);
    if (!rule) {
        forward(connection, false);
        return;
    }
    switch (rule->fault) {
        case Fault::Status:
            answerWithStatus(connection, *rule);
            return;
        case Fault::CutAnswer:
            forward(connection, true);
            return;
        case Fault::NoAnswer:
            finish(connection);
            return;
    }
}

void FaultProxy::answerWithStatus(Connection *connection, const Rule &rule) {
    const QByteArray body = reasonOfStatus(rule.status) + "\n";
    QByteArray answer =
        "HTTP/1.1 " + QByteArray::number(rule.status) + ' ' + reasonOfStatus(rule.status) +
        "\r\nContent-Type: text/plain\r\nContent-Length: " + QByteArray::number(body.size()) +
        "\r\n";
    if (rule.retryAfter > 0)
        answer += "Retry-After: " + QByteArray::number(rule.retryAfter) + "\r\n";
    answer += "Connection: close\r\n\r\n" + body;
    m_exchanges[connection->exchange].status = rule.status;
    connection->client->write(answer);
    connection->client->disconnectFromHost();
}

void FaultProxy::forward(Connection *connection, bool cut) {
    const qsizetype headEnd = connection->request.indexOf(kHeaderEnd);
    const QByteArray request = headersClosingConnection(connection->request.left(headEnd)) +
                               connection->request.mid(headEnd + kHeaderEnd.size());
    connection->upstream = new QTcpSocket(this);
    QTcpSocket *upstream = connection->upstream;
    connect(upstream, &QTcpSocket::connected, this,
            [upstream, request] { upstream->write(request); });
    connect(upstream, &QTcpSocket::readyRead, this,
            [this, connection, cut] { relayAnswer(connection, cut, false); });
    connect(upstream, &QTcpSocket::disconnected, this,
            [this, connection, cut] { relayAnswer(connection, cut, true); });
    // The server is gone: the client gets no answer.
    connect(upstream, &QTcpSocket::errorOccurred, this,
            [this, connection](QAbstractSocket::SocketError error) {
                if (error != QAbstractSocket::RemoteHostClosedError)
                    finish(connection);
            });
    upstream->connectToHost(QHostAddress::LocalHost, m_upstreamPort);
}

void FaultProxy::relayAnswer(Connection *connection, bool cut, bool finished) {
    if (!connection->upstream)
        return;
    connection->answer += connection->upstream->readAll();
    if (!finished)
        return;
    const qsizetype headEnd = connection->answer.indexOf(kHeaderEnd);
    if (headEnd < 0) {
        finish(connection);
        return;
    }
    const QByteArray head =
        m_addedDAVClass.isEmpty()
            ? connection->answer.left(headEnd)
            : headWithDAVClass(connection->answer.left(headEnd), m_addedDAVClass);
    const QByteArray body = connection->answer.mid(headEnd + kHeaderEnd.size());
    QTcpSocket *client = connection->client;
    connection->upstream->deleteLater();
    connection->upstream = nullptr;
    if (cut) {
        // Half of what the server said: inside the body, or inside the
        // headers when the body is short.
        const QByteArray answer = headersClosingConnection(head) + body;
        client->write(answer.left(answer.size() / 2));
        client->flush();
        finish(connection);
        return;
    }
    m_exchanges[connection->exchange].status = wordOfLine(head.left(head.indexOf('\r')), 1).toInt();
    client->write(headersClosingConnection(head) + body);
    client->disconnectFromHost();
}

void FaultProxy::finish(Connection *connection) {
    if (connection->upstream) {
        connection->upstream->disconnect(this);
        connection->upstream->abort();
        connection->upstream->deleteLater();
        connection->upstream = nullptr;
    }
    connection->client->disconnect(this);
    connection->client->abort();
    connection->client->deleteLater();
    delete connection;
}
