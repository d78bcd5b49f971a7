#include <gtest/gtest.h>

#include "model/Schema.h"
#include "model/foundation/TimeZones.h"
#include "model/objects/ModelFixture.h"

namespace {

// A value of the attribute's kind, different for every attribute name and
// the same in every process (unlike qHash, which is seeded per process).
QVariant sampleValue(ValueKind kind, const QString &name) {
    const qint64 seed = qint64(qChecksum(name.toUtf8())) + 1;
    switch (kind) {
        case ValueKind::Boolean:
            return true;
        case ValueKind::Integer:
            return seed;
        case ValueKind::Double:
            return double(seed) + 0.25;
        case ValueKind::Date:
            return QVariant::fromValue(Date(700000000.5 + double(seed)));
        case ValueKind::String:
            return QStringLiteral("%1 \u2713 %2").arg(name).arg(seed);
        case ValueKind::Opacity:
            return double(seed) / 100001.0;
        case ValueKind::Archived:
            return QVariantList{name, seed, QVariantMap{{QStringLiteral("k"), 1.5}}};
        case ValueKind::StringTable:
            return QVariantMap{{name, QStringLiteral("https://example.com/%1").arg(seed)},
                               {QStringLiteral("quote\""), QStringLiteral("line\nbreak")}};
        case ValueKind::MaskedString:
            return QStringLiteral("secret %1 \u00e9").arg(name);
        case ValueKind::Font:
            return QVariant::fromValue(FontDescription{name, double(seed % 40) + 8.5, 700, true});
        case ValueKind::RichText:
            return QVariant::fromValue(
                RichText(name, {QVariantMap{{QStringLiteral("location"), qint64(0)},
                                            {QStringLiteral("length"), qint64(1)},
                                            {QStringLiteral("X-Kept"), seed}}}));
        case ValueKind::TagList:
            return QStringList{QStringLiteral("alpha"), QStringLiteral("Beta"), name};
        case ValueKind::CalendarDate:
            return QVariant::fromValue(std::optional<CalendarDate>(
                CalendarDate(Date(700000000.0 + double(seed) * 60),
                             *TimeZones::zoneNamed(QStringLiteral("Europe/Berlin")))));
        case ValueKind::CalendarDateList:
            return QVariant::fromValue(QList<CalendarDate>{
                CalendarDate(Date(700000000.0 - double(seed)),
                             *TimeZones::zoneNamed(QStringLiteral("America/New_York"))),
                CalendarDate::dateOnly(2024, 2, 29)});
        case ValueKind::Color:
            return QVariant::fromValue(colorFromColorValue(int(seed * 167)));
    }
    ADD_FAILURE() << "no sample for the kind of " << name.toStdString();
    return QVariant();
}

void writeTyped(ModelObject *object, ValueKind kind, const QString &key, const QVariant &value) {
    switch (kind) {
        case ValueKind::Boolean:
            return object->setBoolValue(value.toBool(), key);
        case ValueKind::Integer:
            return object->setIntegerValue(value.toLongLong(), key);
        case ValueKind::Double:
            return object->setDoubleValue(value.toDouble(), key);
        case ValueKind::Date:
            return object->setDateValue(value.value<Date>(), key);
        case ValueKind::String:
            return object->setValue(key, value);
        case ValueKind::Opacity:
            return object->setOpacityValue(value.toDouble(), key);
        case ValueKind::Archived:
            return object->setArchivedValue(value, key);
        case ValueKind::StringTable:
            return object->setDictionaryValue(value.toMap(), key);
        case ValueKind::MaskedString:
            return object->setMaskedStringValue(value.toString(), key);
        case ValueKind::Font:
            return object->setFontValue(value.value<FontDescription>(), key);
        case ValueKind::RichText:
            return object->setAttributedStringValue(value.value<RichText>(), key);
        case ValueKind::TagList:
            return object->setTagListValue(value.toStringList(), key);
        case ValueKind::CalendarDate:
            return object->setCalendarDateValue(value.value<std::optional<CalendarDate>>(), key);
        case ValueKind::CalendarDateList:
            return object->setCalendarDateArrayValue(value.value<QList<CalendarDate>>(), key);
        case ValueKind::Color:
            return object->setColorValue(value.value<RGBColor>(), key);
    }
}

// The value through the typed accessor; no value for none.
QVariant readTyped(const ModelObject *object, ValueKind kind, const QString &key) {
    const auto optional = [](const auto &value) {
        return value ? QVariant::fromValue(*value) : QVariant();
    };
    switch (kind) {
        case ValueKind::Boolean:
            return object->boolValueForKey(key);
        case ValueKind::Integer:
            return object->integerValueForKey(key);
        case ValueKind::Double:
            return object->doubleValueForKey(key);
        case ValueKind::Date:
            return optional(object->dateValueForKey(key));
        case ValueKind::String:
            return object->valueForKey(key);
        case ValueKind::Opacity:
            return object->opacityValueForKey(key);
        case ValueKind::Archived:
            return object->unarchivedValueForKey(key);
        case ValueKind::StringTable:
            return object->dictionaryValueForKey(key);
        case ValueKind::MaskedString:
            return optional(object->unmaskedStringValueForKey(key));
        case ValueKind::Font:
            return optional(object->fontValueForKey(key));
        case ValueKind::RichText:
            return optional(object->attributedStringValueForKey(key));
        case ValueKind::TagList:
            return object->tagListValueForKey(key);
        case ValueKind::CalendarDate:
            return QVariant::fromValue(object->calendarDateValueForKey(key));
        case ValueKind::CalendarDateList:
            return QVariant::fromValue(object->calendarDateArrayValueForKey(key));
        case ValueKind::Color:
            return optional(object->colorValueForKey(key));
    }
    return QVariant();
}

template <typename T>
bool same(const QVariant &a, const QVariant &b) {
    return a.isValid() && b.isValid() && a.value<T>() == b.value<T>();
}

bool sameValue(ValueKind kind, const QVariant &a, const QVariant &b) {
    switch (kind) {
        case ValueKind::Date:
            return same<Date>(a, b);
        case ValueKind::Font:
            return same<FontDescription>(a, b);
        case ValueKind::RichText:
            return same<RichText>(a, b);
        case ValueKind::CalendarDate:
            return same<std::optional<CalendarDate>>(a, b) &&
                   a.value<std::optional<CalendarDate>>();
        case ValueKind::CalendarDateList:
            return same<QList<CalendarDate>>(a, b);
        case ValueKind::Color:
            return same<RGBColor>(a, b);
        case ValueKind::TagList:
            return a.toStringList() == b.toStringList();
        default:
            return a == b;
    }
}

// What the typed accessor reads when there is no value.
bool readsAsNone(ValueKind kind, const QVariant &value) {
    switch (kind) {
        case ValueKind::Boolean:
            return !value.toBool();
        case ValueKind::Integer:
        case ValueKind::Double:
            return value.toDouble() == 0;
        case ValueKind::Opacity:
            return value.toDouble() == 1.0;
        case ValueKind::Archived:
            return !value.isValid();
        case ValueKind::StringTable:
            return value.toMap().isEmpty();
        case ValueKind::TagList:
            return value.toStringList().isEmpty();
        case ValueKind::CalendarDateList:
            return value.value<QList<CalendarDate>>().isEmpty();
        case ValueKind::CalendarDate:
            return !value.value<std::optional<CalendarDate>>();
        default:
            return !value.isValid();
    }
}

// What a store holds for the attribute, compared with what was written: an
// empty string when they agree.
std::string mismatch(const ModelObject *object, const PropertyDescription &attribute) {
    const ValueKind kind = Schema::valueKind(attribute);
    const QVariant read = readTyped(object, kind, attribute.name);
    const QVariant written = sampleValue(kind, attribute.name);
    const bool ok =
        attribute.isTransient ? readsAsNone(kind, read) : sameValue(kind, read, written);
    if (ok)
        return {};
    return object->entityName().toStdString() + "." + attribute.name.toStdString() + ": read " +
           read.toString().toStdString() +
           (attribute.isTransient ? ", but transient values are not stored"
                                  : ", wrote " + written.toString().toStdString());
}

const char kStoreVariable[] = "MEROVAN_ROUND_TRIP_STORE";

class AttributeRoundTripTest : public ModelTest {};

}  // namespace

// In a new process: opens the store the test wrote and checks every attribute
// of the one object of each concrete entity. Prints what differs; the exit
// code is the number of differences.
MEROVAN_CHILD_ROUTINE(ReadBackEveryAttribute) {
    PersistentStore store(&Schema::model(), qEnvironmentVariable(kStoreVariable));
    ManagedObjectContext context(&store);
    int differences = 0;
    const auto report = [&](const std::string &line) {
        std::fprintf(stderr, "%s\n", line.c_str());
        ++differences;
    };
    for (const EntityDescription *entity : Schema::model().entities()) {
        if (entity->isAbstract())
            continue;
        FetchRequest request(entity->name());
        request.setIncludesSubentities(false);
        const QList<ManagedObject *> found = context.executeFetchRequest(request);
        if (found.size() != 1) {
            report(entity->name().toStdString() + ": " + std::to_string(found.size()) +
                   " objects stored, wrote 1");
            continue;
        }
        for (const PropertyDescription *property : entity->properties()) {
            if (!property->isAttribute())
                continue;
            if (const std::string line =
                    mismatch(ModelObject::as<ModelObject>(found.first()), *property);
                !line.empty())
                report(line);
        }
    }
    return std::min(differences, 100);
}

// Every attribute of every concrete entity, set through its typed accessor,
// saved, and read back by another process; transient ones are not stored.
TEST_F(AttributeRoundTripTest, EveryAttributeOfEveryEntitySurvivesSaveAndReopen) {
    int objects = 0;
    for (const EntityDescription *entity : Schema::model().entities()) {
        if (entity->isAbstract())
            continue;
        auto *object = ModelObject::as<ModelObject>(context().insertNewObject(entity));
        ++objects;
        for (const PropertyDescription *property : entity->properties()) {
            if (!property->isAttribute())
                continue;
            const ValueKind kind = Schema::valueKind(*property);
            writeTyped(object, kind, property->name, sampleValue(kind, property->name));
        }
    }
    // Read back through the accessors once everything is written, so that no
    // write undid another (a data object's change stamps its syncable object).
    for (ManagedObject *object : context().insertedObjects()) {
        for (const PropertyDescription *property : object->entity()->properties()) {
            if (property->isAttribute() && !property->isTransient) {
                EXPECT_EQ(mismatch(ModelObject::as<ModelObject>(object), *property), "")
                    << "before saving";
            }
        }
    }
    EXPECT_EQ(objects, 20);
    context().save();
    m_context.reset();
    m_store.reset();

    QProcessEnvironment environment;
    environment.insert(QLatin1String(kStoreVariable), path());
    const ProcessResult result = runChildRoutine("ReadBackEveryAttribute", environment);
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
}
