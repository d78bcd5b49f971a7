#include "model/Reminder.h"

#include <QDateTime>

namespace {

std::optional<QString> optionalString(const QVariant &value) {
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

std::optional<Date> optionalDate(const QVariant &value) {
    if (value.typeId() == QMetaType::QDateTime && value.toDateTime().isValid())
        return Date::fromDateTime(value.toDateTime());
    bool ok = false;
    const double seconds = value.toDouble(&ok);
    if (ok && value.typeId() != QMetaType::QString)
        return Date(seconds);
    return std::nullopt;
}

}  // namespace

Reminder Reminder::reminderFromDictionary(const QVariantMap &dictionary) {
    Reminder reminder;
    reminder.reminderType = dictionary.value(QStringLiteral("reminderType")).toLongLong();
    reminder.relativeSeconds = dictionary.value(QStringLiteral("relativeSeconds")).toDouble();
    reminder.absoluteTime = optionalDate(dictionary.value(QStringLiteral("absoluteTime")));
    reminder.title = optionalString(dictionary.value(QStringLiteral("title")));
    reminder.note = optionalString(dictionary.value(QStringLiteral("note")));
    reminder.url = optionalString(dictionary.value(QStringLiteral("url")));
    reminder.recipients = dictionary.value(QStringLiteral("recipients")).toStringList();
    reminder.xProps = dictionary.value(QStringLiteral("xProps")).toMap();
    return reminder;
}
