#include "caldav/HTTPAuthentication.h"

#include <QCryptographicHash>
#include <QHash>
#include <QRegularExpression>

namespace {

struct Challenge {
    QString scheme;                   // lower case
    QHash<QString, QString> options;  // names in lower case
};

// Parses `scheme name=value, name="quoted value", ...`.
Challenge parseChallenge(const QString &text) {
    static const QRegularExpression option(
        QStringLiteral("([A-Za-z0-9_-]+)\\s*=\\s*(\"((?:[^\"\\\\]|\\\\.)*)\"|[^,\\s]*)"));
    Challenge challenge;
    const QString trimmed = text.trimmed();
    const qsizetype space = trimmed.indexOf(QLatin1Char(' '));
    challenge.scheme = trimmed.left(space < 0 ? trimmed.size() : space).toLower();
    if (space < 0)
        return challenge;
    for (const QRegularExpressionMatch &match : option.globalMatch(trimmed.mid(space + 1))) {
        QString value = match.captured(3);
        if (match.capturedLength(3) == 0 && !match.captured(2).startsWith(QLatin1Char('"')))
            value = match.captured(2);
        value.replace(QRegularExpression(QStringLiteral("\\\\(.)")), QStringLiteral("\\1"));
        challenge.options.insert(match.captured(1).toLower(), value);
    }
    return challenge;
}

std::optional<QCryptographicHash::Algorithm> digestAlgorithm(const QString &name) {
    const QString upper = name.toUpper();
    if (upper.isEmpty() || upper == QLatin1String("MD5") || upper == QLatin1String("MD5-SESS"))
        return QCryptographicHash::Md5;
    if (upper == QLatin1String("SHA-256") || upper == QLatin1String("SHA-256-SESS"))
        return QCryptographicHash::Sha256;
    return std::nullopt;
}

QByteArray quoted(const QString &value) {
    QString escaped = value;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    escaped.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return '"' + escaped.toUtf8() + '"';
}

std::optional<QByteArray> digestAuthorization(const Challenge &challenge, const QByteArray &method,
                                              const QByteArray &uri, const QString &login,
                                              const QString &password,
                                              const QByteArray &clientNonce) {
    const QString algorithmName = challenge.options.value(QStringLiteral("algorithm"));
    const std::optional<QCryptographicHash::Algorithm> algorithm = digestAlgorithm(algorithmName);
    if (!algorithm)
        return std::nullopt;
    const auto hash = [&](const QByteArray &data) {
        return QCryptographicHash::hash(data, *algorithm).toHex();
    };
    const QString realm = challenge.options.value(QStringLiteral("realm"));
    const QByteArray nonce = challenge.options.value(QStringLiteral("nonce")).toUtf8();
    const QStringList qops =
        challenge.options.value(QStringLiteral("qop")).split(QLatin1Char(','), Qt::SkipEmptyParts);
    const bool auth = std::any_of(qops.cbegin(), qops.cend(), [](const QString &qop) {
        return qop.trimmed().compare(QLatin1String("auth"), Qt::CaseInsensitive) == 0;
    });
    if (!qops.isEmpty() && !auth)
        return std::nullopt;  // only integrity protection offered
    const QByteArray count = "00000001";
    QByteArray ha1 = hash(login.toUtf8() + ':' + realm.toUtf8() + ':' + password.toUtf8());
    if (algorithmName.endsWith(QLatin1String("-sess"), Qt::CaseInsensitive))
        ha1 = hash(ha1 + ':' + nonce + ':' + clientNonce);
    const QByteArray ha2 = hash(method + ':' + uri);
    const QByteArray response =
        auth ? hash(ha1 + ':' + nonce + ':' + count + ':' + clientNonce + ":auth:" + ha2)
             : hash(ha1 + ':' + nonce + ':' + ha2);
    QByteArray value = "Digest username=" + quoted(login) + ", realm=" + quoted(realm) +
                       ", nonce=" + quoted(QString::fromUtf8(nonce)) +
                       ", uri=" + quoted(QString::fromUtf8(uri)) + ", response=\"" + response + '"';
    if (!algorithmName.isEmpty())
        value += ", algorithm=" + algorithmName.toUtf8();
    if (challenge.options.contains(QStringLiteral("opaque")))
        value += ", opaque=" + quoted(challenge.options.value(QStringLiteral("opaque")));
    if (auth)
        value += ", qop=auth, nc=" + count + ", cnonce=\"" + clientNonce + '"';
    return value;
}

}  // namespace

namespace HTTPAuthentication {

QStringList challengesOf(const QStringList &headerValues) {
    // A value may hold several challenges: a new one starts where a scheme
    // name stands alone before its first parameter.
    static const QRegularExpression start(
        QStringLiteral("(?:^|,)\\s*(?=[A-Za-z0-9_-]+(?:\\s+[A-Za-z0-9_-]+\\s*=|\\s*(?:,|$)))"));
    QStringList challenges;
    for (const QString &value : headerValues) {
        for (const QString &line : value.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
            qsizetype begin = -1;
            // Parameters look like "name=value": only a word followed by a
            // space and a parameter, or standing alone, starts a challenge.
            for (const QRegularExpressionMatch &match : start.globalMatch(line)) {
                if (begin >= 0)
                    challenges.append(line.mid(begin, match.capturedStart() - begin).trimmed());
                begin = match.capturedEnd();
            }
            if (begin >= 0)
                challenges.append(line.mid(begin).trimmed());
        }
    }
    challenges.removeAll(QString());
    return challenges;
}

bool canAnswer(const QStringList &challenges) {
    return std::any_of(challenges.cbegin(), challenges.cend(), [](const QString &text) {
        const QString scheme = parseChallenge(text).scheme;
        return scheme == QLatin1String("basic") || scheme == QLatin1String("digest");
    });
}

std::optional<QByteArray> authorization(const QStringList &challenges, const QByteArray &method,
                                        const QByteArray &uri, const QString &login,
                                        const QString &password, const QByteArray &clientNonce) {
    bool basic = false;
    for (const QString &text : challenges) {
        const Challenge challenge = parseChallenge(text);
        if (challenge.scheme == QLatin1String("digest")) {
            if (std::optional<QByteArray> value =
                    digestAuthorization(challenge, method, uri, login, password, clientNonce))
                return value;
        }
        basic = basic || challenge.scheme == QLatin1String("basic");
    }
    if (basic)
        return basicAuthorization(login, password);
    return std::nullopt;
}

QByteArray basicAuthorization(const QString &login, const QString &password) {
    return "Basic " + (login + QLatin1Char(':') + password).toUtf8().toBase64();
}

}  // namespace HTTPAuthentication
