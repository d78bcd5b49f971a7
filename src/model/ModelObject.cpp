#include "model/ModelObject.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <algorithm>
#include <array>
#include <random>
#include <stdexcept>

#include "model/Masking.h"
#include "model/StringsFile.h"
#include "model/TagList.h"
#include "model/foundation/Log.h"
#include "model/foundation/PropertyList.h"
#include "model/util/StringList.h"

namespace {

const QString kSyncOptions = QStringLiteral("syncOptions");

bool isEmptyArchive(const QVariant &value) {
    if (!value.isValid() || value.isNull())
        return true;
    switch (value.typeId()) {
        case QMetaType::QString:
            return value.toString().isEmpty();
        case QMetaType::QByteArray:
            return value.toByteArray().isEmpty();
        case QMetaType::QStringList:
        case QMetaType::QVariantList:
            return value.toList().isEmpty();
        case QMetaType::QVariantMap:
        case QMetaType::QVariantHash:
            return value.toMap().isEmpty();
        default:
            return false;
    }
}

}  // namespace

ModelObject::ModelObject(const EntityDescription *entity, ManagedObjectContext *context)
    : ManagedObject(entity, context) {}

const PropertyDescription &ModelObject::attribute(const QString &key) const {
    const PropertyDescription *property = propertyNamed(key);
    if (!property || property->isRelationship)
        throw std::invalid_argument(
            QStringLiteral("%1 has no attribute %2").arg(entityName(), key).toStdString());
    return *property;
}

bool ModelObject::isSyncedAttribute(const PropertyDescription &property) {
    return property.isAttribute() && !property.isTransient &&
           !property.name.startsWith(QLatin1String("local")) &&
           !property.name.startsWith(QLatin1String("trans"));
}

// --- Plain values ------------------------------------------------------------

bool ModelObject::boolValueForKey(const QString &key) const {
    return storedValue(key).toBool();
}

void ModelObject::setBoolValue(bool value, const QString &key) {
    setStoredValue(key, value);
}

qint64 ModelObject::integerValueForKey(const QString &key) const {
    return storedValue(key).toLongLong();
}

void ModelObject::setIntegerValue(qint64 value, const QString &key) {
    setStoredValue(key, value);
}

double ModelObject::doubleValueForKey(const QString &key) const {
    return storedValue(key).toDouble();
}

void ModelObject::setDoubleValue(double value, const QString &key) {
    setStoredValue(key, value);
}

std::optional<Date> ModelObject::dateValueForKey(const QString &key) const {
    const QVariant &value = storedValue(key);
    return value.isValid() ? std::optional<Date>(value.value<Date>()) : std::nullopt;
}

const QString &ModelObject::stringAttributeForKey(const QString &key) const {
    static const QString none;
    const PropertyDescription &property = attribute(key);
    if (property.type != AttributeType::String)
        throw std::invalid_argument(
            QStringLiteral("%1.%2 is not a string").arg(entityName(), key).toStdString());
    // A string attribute holds a QString or no value (values are converted
    // to the attribute's type when set or read from the store).
    const QVariant &value = primitiveValue(&property);
    return value.typeId() == QMetaType::QString ? *static_cast<const QString *>(value.constData())
                                                : none;
}

void ModelObject::setDateValue(std::optional<Date> value, const QString &key) {
    setStoredValue(key, value ? QVariant::fromValue(*value) : QVariant());
}

// --- Opacity -------------------------------------------------------------------

double ModelObject::opacityValueForKey(const QString &key) const {
    const double value = doubleValueForKey(key);
    return value > 0 ? value : 1.0;
}

void ModelObject::setOpacityValue(double value, const QString &key) {
    setStoredValue(key, value > 0 && value < 1 ? QVariant(value) : QVariant());
}

// --- Archived values ------------------------------------------------------------

QVariant ModelObject::unarchivedValueForKey(const QString &key) const {
    return unarchivedValue(storedValue(key));
}

QVariant ModelObject::unarchivedValue(const QVariant &stored) {
    const QByteArray data = stored.toByteArray();
    if (data.isEmpty())
        return QVariant();
    // Archives are our own property lists; there is no older format to
    // retry with, so a value that does not decode is lost (and logged).
    QString error;
    const QVariant value = PropertyList::fromData(data, &error);
    if (!value.isValid())
        logError("NSKeyedUnarchiver - %@", error);
    return value;
}

void ModelObject::setArchivedValue(const QVariant &value, const QString &key) {
    setStoredValue(key, isEmptyArchive(value) ? QVariant() : QVariant(PropertyList::toData(value)));
}

// --- String tables -------------------------------------------------------------

QVariantMap ModelObject::dictionaryValueForKey(const QString &key) const {
    const QString text = storedValue(key).toString();
    if (text.isEmpty())
        return {};
    QString error;
    const std::optional<QVariantMap> dictionary =
        StringsFile::propertyListFromStringsFileFormat(text, &error);
    if (!dictionary)
        logError("propertyListFromStringsFileFormat - %@", error);
    return dictionary.value_or(QVariantMap());
}

void ModelObject::setDictionaryValue(const QVariantMap &value, const QString &key) {
    setStoredValue(key, value.isEmpty()
                            ? QVariant()
                            : QVariant(StringsFile::stringsFileFormatFromDictionary(value)));
}

// --- Calendar dates ---------------------------------------------------------------

std::optional<CalendarDate> ModelObject::calendarDateValueForKey(const QString &key) const {
    return cachedValue<CalendarDate>(
        key, [](const QVariant &stored) { return calendarDateValue(stored); });
}

std::optional<CalendarDate> ModelObject::calendarDateValue(const QVariant &stored) {
    if (stored.isNull())
        return std::nullopt;
    return CalendarDate::unarchiveFromString(stored.toString());
}

void ModelObject::setCalendarDateValue(const std::optional<CalendarDate> &value,
                                       const QString &key) {
    setStoredValue(key, value ? QVariant(value->archiveToString()) : QVariant());
}

QList<CalendarDate> ModelObject::calendarDateArrayValueForKey(const QString &key) const {
    return cachedValue<QList<CalendarDate>>(
               key,
               [](const QVariant &stored) -> std::optional<QList<CalendarDate>> {
                   // A zone name may itself hold a comma ("(UTC+01:00) Amsterdam,
                   // Berlin"): entries start where seconds and a colon follow one.
                   static const QRegularExpression separator(
                       QStringLiteral(",(?=\\s*-?\\d+(\\.\\d*)?:)"));
                   const QString text = stored.toString();
                   if (text.isEmpty())
                       return std::nullopt;
                   QList<CalendarDate> dates;
                   for (const QString &entry : text.split(separator)) {
                       if (std::optional<CalendarDate> date =
                               CalendarDate::unarchiveFromString(entry))
                           dates.append(*date);
                   }
                   return dates;
               })
        .value_or(QList<CalendarDate>());
}

void ModelObject::setCalendarDateArrayValue(const QList<CalendarDate> &value, const QString &key) {
    QList<CalendarDate> dates;
    for (const CalendarDate &date : value) {
        if (std::none_of(dates.cbegin(), dates.cend(),
                         [&](const CalendarDate &other) { return other.date() == date.date(); }))
            dates.append(date);
    }
    std::stable_sort(dates.begin(), dates.end(), [](const CalendarDate &a, const CalendarDate &b) {
        return a.date() < b.date();
    });
    QStringList texts;
    for (const CalendarDate &date : dates)
        texts << date.archiveToString();
    setStoredValue(key, texts.isEmpty() ? QVariant() : QVariant(texts.join(QLatin1Char(','))));
}

// --- Masked strings -------------------------------------------------------------

std::optional<QString> ModelObject::unmaskedStringValueForKey(const QString &key) const {
    const QByteArray data = storedValue(key).toByteArray();
    if (data.isEmpty())
        return std::nullopt;
    return QString::fromUtf8(Masking::maskedData(data));
}

void ModelObject::setMaskedStringValue(const QString &value, const QString &key) {
    setStoredValue(key,
                   value.isEmpty() ? QVariant() : QVariant(Masking::maskedData(value.toUtf8())));
}

// --- String lists -------------------------------------------------------------

QStringList ModelObject::stringListValueForKey(const QString &key) const {
    return arrayFromStringList(storedValue(key).toString());
}

QString ModelObject::stringListValueForKey(const QString &key, const QString &separator) const {
    return stringListSeparatedByString(storedValue(key).toString(), separator);
}

void ModelObject::setStringListValue(const QStringList &value, const QString &key) {
    const std::optional<QString> list = stringListFromArray(value);
    setStoredValue(key, list ? QVariant(*list) : QVariant());
}

// --- Colours ------------------------------------------------------------------------

std::optional<RGBColor> ModelObject::colorValueForKey(const QString &key) const {
    return cachedValue<RGBColor>(key, [](const QVariant &stored) -> std::optional<RGBColor> {
        if (!stored.isValid())
            return std::nullopt;
        return colorFromColorValue(int(stored.toLongLong()));
    });
}

void ModelObject::setColorValue(const std::optional<RGBColor> &value, const QString &key) {
    setStoredValue(key, value ? QVariant(qint64(colorValueFromColor(*value))) : QVariant());
}

// --- Fonts and rich text ---------------------------------------------------------

std::optional<FontDescription> ModelObject::fontValueForKey(const QString &key) const {
    return cachedValue<FontDescription>(key, [](const QVariant &stored) {
        return FontDescription::fromPropertyList(unarchivedValue(stored));
    });
}

void ModelObject::setFontValue(const std::optional<FontDescription> &value, const QString &key) {
    setArchivedValue(value ? QVariant(value->toPropertyList()) : QVariant(), key);
}

std::optional<RichText> ModelObject::attributedStringValueForKey(const QString &key) const {
    return cachedValue<RichText>(key, [](const QVariant &stored) -> std::optional<RichText> {
        std::optional<RichText> text = RichText::fromPropertyList(unarchivedValue(stored));
        if (text && text->isEmpty())
            return std::nullopt;
        return text;
    });
}

void ModelObject::setAttributedStringValue(const std::optional<RichText> &value,
                                           const QString &key) {
    setStoredValue(key, value && !value->isEmpty() ? QVariant(value->archive()) : QVariant());
}

std::optional<QString> ModelObject::stringValueForKey(const QString &key) const {
    const std::optional<RichText> text = attributedStringValueForKey(key);
    return text ? std::optional<QString>(text->text) : std::nullopt;
}

void ModelObject::setStringValue(const QString &value, const QString &key) {
    setAttributedStringValue(RichText(value), key);
}

// --- Tag lists ------------------------------------------------------------------

QStringList ModelObject::tagListValueForKey(const QString &key) const {
    return cachedValue<QStringList>(
               key,
               [](const QVariant &stored) -> std::optional<QStringList> {
                   const QStringList tags = unarchivedValue(stored).toStringList();
                   return tags.isEmpty() ? std::nullopt : std::optional<QStringList>(tags);
               })
        .value_or(QStringList());
}

void ModelObject::setTagListValue(const QStringList &tags, const QString &key) {
    setArchivedValue(TagList::sortedDistinctTags(tags), key);
}

// --- Identifiers -----------------------------------------------------------------

QString ModelObject::uid() const {
    return storedValue(QStringLiteral("uid")).toString();
}

void ModelObject::assignUID() {
    setStoredValue(QStringLiteral("uid"), newUID());
}

void ModelObject::assignFakeUID() {
    setStoredValue(QStringLiteral("uid"), QLatin1Char('*') + newUID());
}

void ModelObject::assignUIDIfNeeded() {
    if (storedValue(QStringLiteral("uid")).toString().isEmpty())
        assignUID();
}

QString ModelObject::newUID() {
    // A random (version 4) UUID from a generator of this thread, seeded once
    // from the system's random source, written out digit by digit: Qt's
    // shared generator (locked for each call) and its UUID text conversions
    // cost more than the rest of making an extra record.
    thread_local std::mt19937_64 generator = [] {
        std::array<quint32, 16> seed;
        QRandomGenerator::system()->fillRange(seed.data(), qsizetype(seed.size()));
        std::seed_seq sequence(seed.cbegin(), seed.cend());
        return std::mt19937_64(sequence);
    }();
    // The 16 bytes as two big-endian halves: byte 6 carries the version in
    // its high nibble, byte 8 the variant in its two high bits.
    const quint64 high = (generator() & ~0xf000ull) | 0x4000ull;
    const quint64 low = (generator() & ~(3ull << 62)) | (2ull << 62);
    static constexpr char kDigits[] = "0123456789ABCDEF";
    QString text(36, Qt::Uninitialized);
    QChar *out = text.data();
    const auto put = [&out](quint64 value, int digits) {
        for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
            *out++ = QLatin1Char(kDigits[(value >> shift) & 0xf]);
    };
    put(high >> 32, 8);
    *out++ = QLatin1Char('-');
    put(high >> 16, 4);
    *out++ = QLatin1Char('-');
    put(high, 4);
    *out++ = QLatin1Char('-');
    put(low >> 48, 4);
    *out++ = QLatin1Char('-');
    put(low, 12);
    return text;
}

// --- Type tests -----------------------------------------------------------------

bool ModelObject::isContainer() const {
    return entityName() == QLatin1String("Calendar");
}

bool ModelObject::isChild() const {
    return entityName() == QLatin1String("Event") || entityName() == QLatin1String("DetachedEvent");
}

bool ModelObject::isSyncableContainer() const {
    return isKindOfEntity(QStringLiteral("SyncableContainer"));
}

bool ModelObject::isSyncableChild() const {
    return isKindOfEntity(QStringLiteral("SyncableChild"));
}

bool ModelObject::isAttachment() const {
    return entityName() == QLatin1String("Attachment");
}

bool ModelObject::isLAN() const {
    const ModelObject *service = owningService();
    return service && service->valueForKey(QStringLiteral("serviceName")).toString() ==
                          QLatin1String("Bonjour Subscribe Synchronization");
}

bool ModelObject::retainedObjectHasBeenDeleted() const {
    return isDeleted() || !managedObjectContext();
}

// --- Sync options -----------------------------------------------------------------

QVariantMap ModelObject::syncOptionsDict() const {
    return unarchivedValueForKey(kSyncOptions).toMap();
}

QVariant ModelObject::syncOptionsValueForFlag(const QString &flag) const {
    return syncOptionsDict().value(flag);
}

void ModelObject::setSyncOptionValue(const QVariant &value, const QString &flag) {
    QVariantMap options = syncOptionsDict();
    if (value.isValid())
        options.insert(flag, value);
    else
        options.remove(flag);
    setArchivedValue(options, kSyncOptions);
}

void ModelObject::clearSyncOptionsFlag(const QString &flag) {
    setSyncOptionValue(QVariant(), flag);
}

void ModelObject::setSyncOptionsDict(const QVariantMap &options) {
    const QString changedKey = QString::fromLatin1(kSyncOptionsChangedKey);
    const QVariantMap previous = syncOptionsDict();
    QVariantMap changed = previous.value(changedKey).toMap();
    QVariantMap next = options;
    next.remove(changedKey);
    QStringList flags = next.keys() + previous.keys();
    flags.removeDuplicates();
    for (const QString &flag : flags) {
        if (flag != changedKey && next.value(flag) != previous.value(flag))
            changed.insert(flag, true);
    }
    if (!changed.isEmpty())
        next.insert(changedKey, changed);
    setArchivedValue(next, kSyncOptions);
}

void ModelObject::markSyncOptionsDictUnchanged() {
    clearSyncOptionsFlag(QString::fromLatin1(kSyncOptionsChangedKey));
}
