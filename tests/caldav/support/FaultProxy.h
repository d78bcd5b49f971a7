#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <functional>

class QTcpServer;
class QTcpSocket;

// An HTTP proxy on 127.0.0.1 in the test process that forwards each request
// to a real server and can make chosen requests fail: answered with an error
// status (with "Retry-After"), cut off in the middle of the server's answer,
// or not forwarded at all (the connection is closed without an answer). Each
// request is forwarded on a new connection and answered with "Connection:
// close", so that a fault touches one request only. Runs on the event loop of
// the test's thread.
class FaultProxy : public QObject {
    Q_OBJECT
public:
    enum class Fault {
        Status,     // answer `status` without asking the server
        CutAnswer,  // forward, then close after half of the server's answer
        NoAnswer,   // close the connection without answering
    };
    struct Rule {
        QByteArray method;        // empty: any method
        QByteArray bodyContains;  // empty: any body
        int skip = 0;             // matching requests let through before the fault applies
        int times = 1;            // requests the fault applies to; -1: every one after `skip`
        Fault fault = Fault::Status;
        int status = 503;
        int retryAfter = 0;  // seconds for "Retry-After"; 0: no header
    };
    // What went through: method, path and the status the client was given
    // (0 when it got no full answer).
    struct Exchange {
        QByteArray method;
        QByteArray path;
        int status = 0;
    };

    explicit FaultProxy(quint16 upstreamPort);
    ~FaultProxy() override;

    // Empty once it listens; otherwise why not.
    QString listen();
    quint16 port() const;
    // "http://127.0.0.1:PORT" followed by `path`.
    QString url(const QString &path) const;
    void setUpstreamPort(quint16 port) { m_upstreamPort = port; }

    void addRule(const Rule &rule) {
        m_rules.append(rule);
        m_ruleSeen.append(0);
    }
    // Forwards everything again.
    void clearRules() {
        m_rules.clear();
        m_ruleSeen.clear();
    }
    // Called with each request (and its whole text) before it is forwarded
    // or failed; a test may stop the server there.
    using RequestCallback = std::function<void(const Exchange &, const QByteArray &)>;
    void setOnRequest(RequestCallback callback) { m_onRequest = std::move(callback); }

    // Adds a DAV class to the "DAV" header of every answer that has one, as
    // if the server announced it (none: leaves the header as it is).
    void addDAVClass(const QByteArray &davClass) { m_addedDAVClass = davClass; }

    const QList<Exchange> &exchanges() const { return m_exchanges; }
    // How many requests of that method (any when empty) a fault was applied to.
    int faultsApplied(const QByteArray &method = {}) const;
    void clearExchanges() { m_exchanges.clear(); }

private:
    struct Connection;
    void accept();
    void readRequest(Connection *connection);
    void handle(Connection *connection);
    void forward(Connection *connection, bool cut);
    void relayAnswer(Connection *connection, bool cut, bool finished);
    void answerWithStatus(Connection *connection, const Rule &rule);
    void finish(Connection *connection);
    const Rule *matchingRule(const QByteArray &method, const QByteArray &request);

    QTcpServer *m_server;
    quint16 m_upstreamPort;
    QList<Rule> m_rules;
    QList<int> m_ruleSeen;  // matching requests seen per rule
    QList<Exchange> m_exchanges;
    QList<QByteArray> m_faulted;  // the method of each request a fault touched
    RequestCallback m_onRequest;
    QByteArray m_addedDAVClass;
};
