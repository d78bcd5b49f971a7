#pragma once

#include <QByteArray>
#include <QString>

#include "caldav/support/TestServer.h"

// A plain web server (python3's http.server) for the files of its folder:
// attachments kept on a server other than the CalDAV one. Answers 404 for
// a file it does not have.
class FileServer : public TestServer {
public:
    // Puts a file the server then serves at fileURL(name).
    bool addFile(const QString &name, const QByteArray &bytes) const;
    QString fileURL(const QString &name) const { return url(QLatin1Char('/') + name); }

protected:
    QString prepare(QString &program, QStringList &arguments) override;

private:
    QString filesFolder() const;
};
