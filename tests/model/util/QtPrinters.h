#pragma once

#include <QString>
#include <QUrl>
#include <ostream>

// Readable gtest failure messages for the Qt value types these tests compare.
inline void PrintTo(const QString &text, std::ostream *out) {
    *out << '"' << text.toStdString() << '"';
}
inline void PrintTo(const QUrl &url, std::ostream *out) {
    *out << url.toString().toStdString();
}
