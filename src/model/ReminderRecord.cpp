#include "model/ReminderRecord.h"

#include <QSet>
#include <cmath>

#include "model/ExtraDataMO.h"

namespace {

constexpr double kTimeTolerance = 0.5;
const QString kPropValue = QStringLiteral("prop-value");
const QString kValueParameter = QStringLiteral("VALUE");

bool sameTime(double a, double b) {
    return std::abs(a - b) < kTimeTolerance;
}

bool sameTime(const std::optional<Date> &a, const std::optional<Date> &b) {
    if (!a || !b)
        return !a && !b;
    return sameTime(a->secondsSinceReference(), b->secondsSinceReference());
}

bool sameText(const std::optional<QString> &a, const std::optional<QString> &b) {
    return a.value_or(QString()) == b.value_or(QString());
}

QSet<QString> addressSet(const QStringList &recipients) {
    QSet<QString> set;
    for (const QString &recipient : recipients)
        set.insert(recipient.trimmed().toLower());
    return set;
}

std::optional<QString> plainString(const ExtraDataMO &record, const QString &key) {
    const QVariant value = record.valueForKey(key);
    return value.isValid() ? std::optional<QString>(value.toString()) : std::nullopt;
}

}  // namespace

Reminder ReminderRecord::reminder() const {
    Reminder value;
    value.reminderType = m_record.integerValueForKey(QStringLiteral("reminderType"));
    value.relativeSeconds = m_record.doubleValueForKey(QStringLiteral("relativeSeconds"));
    value.absoluteTime = m_record.dateValueForKey(QStringLiteral("absoluteTime"));
    value.title = plainString(m_record, QStringLiteral("title"));
    value.note = plainString(m_record, QStringLiteral("note"));
    value.url = plainString(m_record, QStringLiteral("url"));
    value.recipients = m_record.unarchivedValueForKey(QStringLiteral("recipients")).toStringList();
    value.xProps = m_record.unarchivedValueForKey(QStringLiteral("xProps")).toMap();
    return value;
}

bool ReminderRecord::equalsReminder(const Reminder &other, bool testStrings, bool testSound) const {
    const Reminder mine = reminder();
    if (mine.reminderType != other.reminderType ||
        !sameTime(mine.relativeSeconds, other.relativeSeconds) ||
        !sameTime(mine.absoluteTime, other.absoluteTime))
        return false;
    if (mine.reminderType == Reminder::Location &&
        proximityDictFromXProps(mine.xProps) != proximityDictFromXProps(other.xProps))
        return false;
    if (testSound && mine.reminderType == Reminder::Sound && !sameText(mine.url, other.url))
        return false;
    if (!testStrings)
        return true;
    const bool urlIsTarget =
        mine.reminderType == Reminder::Email || mine.reminderType == Reminder::Procedure;
    return sameText(mine.title, other.title) && sameText(mine.note, other.note) &&
           (!urlIsTarget || sameText(mine.url, other.url)) &&
           addressSet(mine.recipients) == addressSet(other.recipients);
}

QString ReminderRecord::stringRepresentationOfReminder() const {
    const Reminder value = reminder();
    QString text = QStringLiteral("type %1, ").arg(value.reminderType);
    if (value.absoluteTime)
        text += QStringLiteral("at %1").arg(value.absoluteTime->toDateTime().toString(Qt::ISODate));
    else
        text += QStringLiteral("%1 s from start").arg(value.relativeSeconds);
    if (value.url)
        text += QStringLiteral(", url %1").arg(*value.url);
    if (!value.recipients.isEmpty())
        text += QStringLiteral(", to %1").arg(value.recipients.join(QStringLiteral(", ")));
    return text;
}

std::optional<QVariantMap> ReminderRecord::proximityDictFromXProps(const QVariantMap &xProps) {
    const QString proximity = QLatin1String(kProximity);
    const QString location = QLatin1String(kStructuredLocation);
    if (!xProps.contains(proximity))
        return std::nullopt;
    QVariantMap dictionary;
    dictionary.insert(proximity, xProps.value(proximity).toMap().value(kPropValue));
    if (xProps.contains(location)) {
        const QVariantMap parameters = xProps.value(location).toMap();
        for (auto it = parameters.begin(); it != parameters.end(); ++it) {
            if (it.key() != kPropValue && it.key() != kValueParameter)
                dictionary.insert(it.key(), it.value());
        }
        dictionary.insert(location, parameters.value(kPropValue));
    }
    return dictionary;
}

QVariantMap ReminderRecord::xPropsFromProximityDict(const QVariantMap &dictionary) {
    const QString proximity = QLatin1String(kProximity);
    const QString location = QLatin1String(kStructuredLocation);
    QVariantMap xProps;
    if (dictionary.contains(proximity))
        xProps.insert(proximity, QVariantMap{{kPropValue, dictionary.value(proximity)}});
    if (dictionary.contains(location)) {
        QVariantMap parameters = dictionary;
        parameters.remove(proximity);
        parameters.remove(location);
        parameters.insert(kPropValue, dictionary.value(location));
        parameters.insert(kValueParameter, QStringLiteral("URI"));
        xProps.insert(location, parameters);
    }
    return xProps;
}
