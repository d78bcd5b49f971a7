#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <optional>

#include "model/FontDescription.h"
#include "model/RichText.h"
#include "model/ValueCache.h"
#include "model/foundation/CalendarDate.h"
#include "model/foundation/Date.h"
#include "model/store/ManagedObject.h"
#include "model/util/Colors.h"

// The base of every object of the model: typed access to attributes by the
// encoding of their values (see ValueKind in Schema.h), the entity type
// tests, and the sync options of a service. The account entities
// (RemoteService, BonjourPublisher, RemoteObject, Notification,
// UnpublishedContainer) are plain ModelObjects; calendars and items are
// SyncableObjectMO, CommonDataMO and ExtraDataMO.
//
// Every accessor names an attribute of the object's entity; any other key
// (including relationships) throws std::invalid_argument. "None" is an
// empty optional; collections read as empty when there is none, since an
// empty collection is never stored. Decoded colours, fonts, rich text,
// calendar dates and tag lists are cached by the classes that keep a value
// cache, until the attribute changes.
class ModelObject : public ManagedObject {
public:
    ModelObject(const EntityDescription *entity, ManagedObjectContext *context);

    // --- Plain values: a missing value reads as false / 0 / 0.0 / none.
    bool boolValueForKey(const QString &key) const;
    void setBoolValue(bool value, const QString &key);
    qint64 integerValueForKey(const QString &key) const;
    void setIntegerValue(qint64 value, const QString &key);
    double doubleValueForKey(const QString &key) const;
    void setDoubleValue(double value, const QString &key);
    std::optional<Date> dateValueForKey(const QString &key) const;
    void setDateValue(std::optional<Date> value, const QString &key);

    // The text of a string attribute, or an empty string when it has none,
    // without a copy: the reference lasts until the object next changes,
    // loads or turns into a fault. Any other key throws
    // std::invalid_argument.
    const QString &stringAttributeForKey(const QString &key) const;

    // --- Opacity: a value is stored only when 0 < v < 1, anything else
    // clears it; a missing or non-positive value reads as 1 (opaque).
    double opacityValueForKey(const QString &key) const;
    void setOpacityValue(double value, const QString &key);

    // --- Archived values: a property list of an array, dictionary, string,
    // number, date or data. An empty collection, string or data is stored as
    // no value. A value that does not decode is logged and reads as none.
    QVariant unarchivedValueForKey(const QString &key) const;
    // The same for a value as it is stored (see ManagedObjectContext::fetchValues).
    static QVariant unarchivedValue(const QVariant &stored);
    void setArchivedValue(const QVariant &value, const QString &key);

    // --- String table: a dictionary of strings in strings-file format; text
    // that does not read is logged and reads as empty.
    QVariantMap dictionaryValueForKey(const QString &key) const;
    void setDictionaryValue(const QVariantMap &value, const QString &key);

    // --- Calendar date: "%.0f:%@" (CalendarDate::archiveToString), written
    // with the date's zone, or the system zone when it has none; text
    // without a colon reads as none.
    std::optional<CalendarDate> calendarDateValueForKey(const QString &key) const;
    // The same for a value as it is stored (no value: none).
    static std::optional<CalendarDate> calendarDateValue(const QVariant &stored);
    void setCalendarDateValue(const std::optional<CalendarDate> &value, const QString &key);
    // --- Calendar-date list: the distinct instants, ascending, joined with
    // ","; entries that do not read are skipped.
    QList<CalendarDate> calendarDateArrayValueForKey(const QString &key) const;
    void setCalendarDateArrayValue(const QList<CalendarDate> &value, const QString &key);

    // --- Masked string: UTF-8 through Masking::maskedData.
    std::optional<QString> unmaskedStringValueForKey(const QString &key) const;
    void setMaskedStringValue(const QString &value, const QString &key);

    // --- String list: entries joined by "|&|" (see util/StringList.h); a
    // list without entries is stored as no value. With a separator: the
    // stored text with "|&|" replaced by it, for display.
    QStringList stringListValueForKey(const QString &key) const;
    QString stringListValueForKey(const QString &key, const QString &separator) const;
    void setStringListValue(const QStringList &value, const QString &key);

    // --- Colour: 0xRRGGBB (colorValueFromColor); read back with alpha 1.
    std::optional<RGBColor> colorValueForKey(const QString &key) const;
    void setColorValue(const std::optional<RGBColor> &value, const QString &key);

    // --- Font: an archived FontDescription.
    std::optional<FontDescription> fontValueForKey(const QString &key) const;
    void setFontValue(const std::optional<FontDescription> &value, const QString &key);

    // --- Rich text: an archived RichText; empty text is stored as no value.
    // The plain-string accessors wrap and unwrap it (a plain string is stored
    // as rich text without formatting).
    std::optional<RichText> attributedStringValueForKey(const QString &key) const;
    void setAttributedStringValue(const std::optional<RichText> &value, const QString &key);
    std::optional<QString> stringValueForKey(const QString &key) const;
    void setStringValue(const QString &value, const QString &key);

    // --- Tag list: archived distinct tags in reading order (TagList); an
    // empty list is stored as no value.
    QStringList tagListValueForKey(const QString &key) const;
    void setTagListValue(const QStringList &tags, const QString &key);

    // --- Identifiers, of the entities that have a `uid`.
    virtual QString uid() const;
    // A new UUID in upper-case canonical form (8-4-4-4-12 hexadecimal digits).
    void assignUID();
    // "*" + a new UUID: an id that never matches a server's.
    void assignFakeUID();
    // assignUID() when the object has no uid yet.
    void assignUIDIfNeeded();
    static QString newUID();

    // --- Entity type tests.
    bool isContainer() const;  // a calendar's data object
    bool isChild() const;      // an event's or detached event's data object
    bool isSyncableContainer() const;
    bool isSyncableChild() const;
    bool isAttachment() const;
    // Owned by a subscription to another copy on the local network.
    bool isLAN() const;
    // Deleted, or gone from its context (its deletion was saved).
    bool retainedObjectHasBeenDeleted() const;

    // The service that owns the object's container; nullptr when this
    // machine owns it, or for objects outside calendars.
    virtual ModelObject *owningService() const { return nullptr; }

    // --- Sync options of a service: its `syncOptions` dictionary from flag
    // name to value. setSyncOptionsDict() also records which flags changed
    // (flag -> true) under "syncOptionsChanged", adding to what was recorded
    // before, until markSyncOptionsDictUnchanged().
    static constexpr char kSyncOptionsChangedKey[] = "syncOptionsChanged";
    QVariantMap syncOptionsDict() const;
    QVariant syncOptionsValueForFlag(const QString &flag) const;
    // No value clears the flag; an emptied dictionary is stored as no value.
    void setSyncOptionValue(const QVariant &value, const QString &flag);
    void clearSyncOptionsFlag(const QString &flag);
    void setSyncOptionsDict(const QVariantMap &options);
    void markSyncOptionsDictUnchanged();

    // The object as `T` (one of the behaviour classes), or nullptr when it is
    // none or of another class.
    template <typename T>
    static T *as(ManagedObject *object) {
        return dynamic_cast<T *>(object);
    }

protected:
    // The cache of decoded values, for the classes that keep one.
    virtual ValueCache *valueCache() const { return nullptr; }

    // An attribute whose changes are synced: stored, and not named
    // "local…" (kept on this machine) or "trans…" (scratch).
    static bool isSyncedAttribute(const PropertyDescription &property);

    // The attribute of the entity named `key`; throws std::invalid_argument
    // for anything else.
    const PropertyDescription &attribute(const QString &key) const;
    // The stored value itself, as primitiveValue() gives it.
    const QVariant &storedValue(const QString &key) const {
        return primitiveValue(&attribute(key));
    }
    void setStoredValue(const QString &key, const QVariant &value) {
        setPrimitiveValue(&attribute(key), value);
    }

    // The decoded value of the attribute `key`: from the cache when there is
    // one and it holds the attribute, else `decode` of the stored value
    // (whose result, none included, is then cached).
    template <typename T, typename Decode>
    std::optional<T> cachedValue(const QString &key, Decode decode) const {
        const PropertyDescription &property = attribute(key);
        ValueCache *cache = valueCache();
        if (cache) {
            if (const QVariant *kept = cache->find(property.slot))
                return kept->template value<std::optional<T>>();
        }
        std::optional<T> value = decode(primitiveValue(&property));
        if (cache)
            cache->insert(property.slot, QVariant::fromValue(value));
        return value;
    }
};
