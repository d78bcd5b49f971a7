#include "caldav/support/FileServer.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

QString FileServer::filesFolder() const {
    return QDir(folder()).filePath(QStringLiteral("files"));
}

bool FileServer::addFile(const QString &name, const QByteArray &bytes) const {
    QFile file(QDir(filesFolder()).filePath(name));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QString FileServer::prepare(QString &program, QStringList &arguments) {
    program = QStringLiteral("/usr/bin/python3");
    if (!QFileInfo::exists(program))
        return QStringLiteral("python3 is missing: install the Debian package python3");
    if (!QDir().mkpath(filesFolder()))
        return QStringLiteral("cannot make %1").arg(filesFolder());
    arguments = {QStringLiteral("-m"),
                 QStringLiteral("http.server"),
                 QString::number(m_port),
                 QStringLiteral("--bind"),
                 QStringLiteral("127.0.0.1"),
                 QStringLiteral("--directory"),
                 filesFolder()};
    return {};
}
