#pragma once

#include <QByteArray>
#include <QStringList>

#include "ical/ICalFixture.h"
#include "ical/ICalImporter.h"

// Reading iCalendar into the fixture's calendar: test files of
// tests/ical/data, texts made on the spot, and the items they give.
class ICalImportTest : public ICalTest {
protected:
    // The bytes of a file of tests/ical/data; a missing file fails the test.
    static QByteArray dataFile(const QString &name);
    // A VCALENDAR around the component lines, CRLF line ends.
    static QByteArray calendarText(const QStringList &componentLines);
    static QByteArray eventText(const QStringList &properties);

    ICalImporter::Result importText(const QByteArray &text, quint32 options);
    ICalImporter::Result importText(const QByteArray &text);
    // The repeating or plain item of that uid in the fixture's calendar.
    CommonDataMO *item(const QString &uid) const;
    QList<ExtraDataMO *> records(const QString &uid, const char *relationship) const;
    // The record of `relationship` whose `key` is `value`.
    ExtraDataMO *record(const QString &uid, const char *relationship, const char *key,
                        const QVariant &value) const;
};
