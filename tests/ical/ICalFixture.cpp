#include "ical/ICalFixture.h"

#include "model/Queries.h"
#include "model/Schema.h"
#include "time/CalendarDates.h"

ICalTest::ICalTest() {
    m_store = std::make_unique<PersistentStore>(&Schema::model(),
                                                m_home.filePath(QStringLiteral("Model.bsql")));
    m_context = std::make_unique<ManagedObjectContext>(m_store.get());
    Queries::setContext(m_context.get());
    m_calendar = CommonDataMO::makeContainer(QStringLiteral("Calendar"), nullptr);
    m_calendar->setStringValue(QStringLiteral("Work"), QStringLiteral("title"));
}

ICalTest::~ICalTest() {
    Queries::setContext(nullptr);
    m_context.reset();
    m_store.reset();
}

CommonDataMO *ICalTest::makeItem(const QString &title, qint64 eventType) {
    CommonDataMO *item = CommonDataMO::makeObject(QStringLiteral("Event"), m_calendar, nullptr);
    item->setStringValue(title, QStringLiteral("title"));
    item->setIntegerValue(eventType, QStringLiteral("eventType"));
    return item;
}

ExtraDataMO *ICalTest::makeExtra(const QString &entity, CommonDataMO *item) {
    return ExtraDataMO::makeExtra(entity, item);
}

CalendarDate ICalTest::utc(int year, int month, int day, int hour, int minute) {
    return CalendarDates::dateWithYear(year, month, day, hour, minute, 0, false, QTimeZone::utc());
}

QStringList ICalTest::unfolded(const QByteArray &text) {
    QString all = QString::fromUtf8(text);
    all.replace(QLatin1String("\r\n "), QString()).replace(QLatin1String("\r\n\t"), QString());
    QStringList lines = all.split(QLatin1String("\r\n"));
    lines.removeAll(QString());
    return lines;
}

QStringList ICalTest::component(const QByteArray &text, const QString &name) {
    const QStringList lines = unfolded(text);
    const qsizetype begin = lines.indexOf(QStringLiteral("BEGIN:") + name);
    const qsizetype end = lines.indexOf(QStringLiteral("END:") + name, begin);
    if (begin < 0 || end < 0)
        return {};
    return lines.mid(begin + 1, end - begin - 1);
}

bool ICalTest::hasLine(const QStringList &lines, const QString &start) {
    return !lineStarting(lines, start).isEmpty();
}

QString ICalTest::lineStarting(const QStringList &lines, const QString &start) {
    for (const QString &line : lines) {
        if (line.startsWith(start))
            return line;
    }
    return {};
}
