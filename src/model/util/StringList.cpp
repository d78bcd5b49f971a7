#include "model/util/StringList.h"

#include "model/foundation/Log.h"

namespace {

bool isValidIndex(qsizetype index, const char *operation) {
    if (index >= 0)
        return true;
    logError("%s: negative string list index %ld ignored", operation, index);
    return false;
}

void padTo(QStringList &entries, qsizetype count) {
    while (entries.size() < count)
        entries.append(QString());
}

}  // namespace

std::optional<QString> stringListFromArray(const QStringList &entries) {
    qsizetype count = entries.size();
    while (count > 0 && entries[count - 1].isEmpty())
        --count;
    if (count == 0)
        return std::nullopt;
    return entries.first(count).join(kStringListSeparator);
}

std::optional<QString> arrayByRemovingEmptiesInStringList(const QStringList &entries) {
    QStringList kept = entries;
    removeEmptiesInStringList(kept);
    return stringListFromArray(kept);
}

QStringList arrayFromStringList(const QString &list) {
    if (list.isEmpty())
        return {};
    return list.split(kStringListSeparator);
}

std::optional<QString> stringListEntryAtIndex(const QString &list, qsizetype index) {
    const QStringList entries = arrayFromStringList(list);
    if (index < 0 || index >= entries.size() || entries[index].isEmpty())
        return std::nullopt;
    return entries[index];
}

QString stringListSeparatedByString(const QString &list, const QString &separator) {
    return QString(list).replace(kStringListSeparator, separator);
}

void addStringListEntry(QStringList &entries, const std::optional<QString> &entry) {
    entries.append(entry.value_or(QString()));
}

void insertStringListEntry(QStringList &entries, const std::optional<QString> &entry,
                           qsizetype index) {
    if (!isValidIndex(index, "insertStringListEntry"))
        return;
    padTo(entries, index);
    entries.insert(index, entry.value_or(QString()));
}

void replaceStringListEntryAtIndex(QStringList &entries, qsizetype index,
                                   const std::optional<QString> &entry) {
    if (!isValidIndex(index, "replaceStringListEntryAtIndex"))
        return;
    padTo(entries, index + 1);
    entries[index] = entry.value_or(QString());
}

void removeEmptiesInStringList(QStringList &entries) {
    entries.removeIf([](const QString &entry) { return entry.isEmpty(); });
}

QStringList componentsSeparatedByCharactersInSetWithoutEmpties(const QString &text,
                                                               const CharacterSet &separators) {
    QStringList pieces;
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        if (i < text.size() && !separators.contains(text[i]))
            continue;
        if (i > start)
            pieces.append(text.mid(start, i - start));
        start = i + 1;
    }
    return pieces;
}
