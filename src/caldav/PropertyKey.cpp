#include "caldav/PropertyKey.h"

#include <QRegularExpression>

namespace PropertyKey {

QString inNamespace(const QString &name, const std::optional<QString> &ns) {
    if (!ns || *ns == QLatin1String(kDAVNamespace))
        return name;
    return *ns + QLatin1Char(' ') + name;
}

Parts getNamespace(const QString &key) {
    const qsizetype space = key.lastIndexOf(QLatin1Char(' '));
    if (space < 0)
        return {QLatin1String(kDAVNamespace), key};
    return {key.left(space), key.mid(space + 1)};
}

QString withPrefix(const QString &name, const QString &prefix) {
    return prefix + QLatin1Char(':') + name;
}

bool isEqualToHREF(const QString &href, const QString &other) {
    const auto withSlash = [](const QString &text) {
        return text.endsWith(QLatin1Char('/')) ? text : text + QLatin1Char('/');
    };
    return withSlash(href) == withSlash(other);
}

}  // namespace PropertyKey

namespace WebDAVURL {

QString domain(const QUrl &url) {
    const QString host = url.host();
    const QStringList labels = host.split(QLatin1Char('.'));
    if (labels.size() < 3)
        return host;
    return host.mid(labels.first().size() + 1);
}

QString parentCollectionURL(const QString &url) {
    QUrl parent(url);
    QString path = parent.path(QUrl::FullyEncoded);
    if (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    parent.setPath(path.left(path.lastIndexOf(QLatin1Char('/')) + 1), QUrl::TolerantMode);
    if (parent.path().isEmpty())
        parent.setPath(QStringLiteral("/"));
    return parent.toString(QUrl::FullyEncoded);
}

QString stringFromDepth(int depth) {
    if (depth == 0 || depth == 1)
        return QString::number(depth);
    return QStringLiteral("infinity");
}

int statusFromStatusLine(const QString &line) {
    static const QRegularExpression whiteSpace(QStringLiteral("\\s+"));
    const QStringList words = line.split(whiteSpace, Qt::SkipEmptyParts);
    return words.size() < 2 ? 0 : words[1].toInt();
}

QString principalPath(const QString &text) {
    QString path = text.trimmed();
    if (path.isEmpty())
        return path;
    if (path.startsWith(QLatin1String("http"), Qt::CaseInsensitive))
        path = QUrl(path).path(QUrl::FullyEncoded);
    path = QUrl::fromPercentEncoding(path.toUtf8());
    return path.endsWith(QLatin1Char('/')) ? path : path + QLatin1Char('/');
}

}  // namespace WebDAVURL
