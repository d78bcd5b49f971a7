#include "model/foundation/TimeZones.h"

#include <QHash>
#include <QRegularExpression>
#include <atomic>
#include <mutex>
#include <shared_mutex>

#include "model/foundation/Log.h"

namespace {

// A zone of the platform by its exact name, or one of that name with offset
// zero when the platform's database lacks it.
QTimeZone zoneKeepingName(const char *name) {
    QTimeZone zone{QByteArray(name)};
    if (zone.isValid())
        return zone;
    const QString text = QString::fromLatin1(name);
    return QTimeZone(QByteArray(name), 0, text, text);
}

struct Registry {
    std::shared_mutex lock;
    std::optional<QTimeZone> systemOverride;
    TimeZones::NameTranslator translator;
    QHash<QString, std::optional<QTimeZone>> known;
    QHash<QString, QTimeZone> unknown;
    std::atomic<quint64> translatorGeneration{0};
};

Registry &registry() {
    static Registry instance;
    return instance;
}

std::optional<QTimeZone> lookUp(const QString &name) {
    if (name == QLatin1String("Universal"))
        return TimeZones::universal();
    if (name == QLatin1String("GMT"))
        return TimeZones::gmt();
    QTimeZone zone(name.toUtf8());
    if (zone.isValid())
        return zone;
    TimeZones::NameTranslator translator;
    {
        std::shared_lock guard(registry().lock);
        translator = registry().translator;
    }
    if (!translator)
        return std::nullopt;
    const std::optional<QString> translated = translator(name);
    if (!translated || *translated == name)
        return std::nullopt;
    QTimeZone translatedZone(translated->toUtf8());
    if (!translatedZone.isValid())
        return std::nullopt;
    return translatedZone;
}

}  // namespace

namespace TimeZones {

const QTimeZone &universal() {
    static const QTimeZone zone = zoneKeepingName("Universal");
    return zone;
}

const QTimeZone &gmt() {
    static const QTimeZone zone = zoneKeepingName("GMT");
    return zone;
}

bool isUniversal(const QTimeZone &zone) {
    if (!zone.isValid())
        return false;
    // Asked for every date written or compared: no lower-cased copy of the name.
    const QByteArray name = zone.id();
    const auto is = [&name](const char *other) {
        return name.compare(other, Qt::CaseInsensitive) == 0;
    };
    if (is("universal") || is("utc"))
        return true;
    return is("gmt") && zone == gmt();
}

QTimeZone systemZone() {
    {
        std::shared_lock guard(registry().lock);
        if (registry().systemOverride)
            return *registry().systemOverride;
    }
    return QTimeZone::systemTimeZone();
}

void setSystemZone(const std::optional<QTimeZone> &zone) {
    std::unique_lock guard(registry().lock);
    registry().systemOverride = zone;
}

void setNameTranslator(NameTranslator translator) {
    std::unique_lock guard(registry().lock);
    registry().translator = std::move(translator);
    registry().known.clear();
    registry().unknown.clear();
    ++registry().translatorGeneration;
}

quint64 nameTranslatorGeneration() {
    return registry().translatorGeneration.load(std::memory_order_acquire);
}

std::optional<QTimeZone> knownZoneNamed(const QString &name) {
    if (name.isEmpty())
        return std::nullopt;
    {
        std::shared_lock guard(registry().lock);
        const auto found = registry().known.constFind(name);
        if (found != registry().known.constEnd())
            return *found;
    }
    // Looked up without the lock: the translation may look zones up itself.
    std::optional<QTimeZone> zone = lookUp(name);
    std::unique_lock guard(registry().lock);
    registry().known.insert(name, zone);
    return zone;
}

std::optional<QTimeZone> zoneNamed(const QString &name) {
    if (std::optional<QTimeZone> zone = knownZoneNamed(name); zone || name.isEmpty())
        return zone;
    {
        std::shared_lock guard(registry().lock);
        const auto found = registry().unknown.constFind(name);
        if (found != registry().unknown.constEnd())
            return *found;
    }
    const int offset = displayNameOffset(name).value_or(0);
    const QTimeZone placeholder(name.toUtf8(), offset, name, name);
    {
        std::unique_lock guard(registry().lock);
        if (registry().unknown.contains(name))
            return registry().unknown.value(name);
        registry().unknown.insert(name, placeholder);
    }
    logWarning("TimeZones: unknown time zone %@, kept with a fixed offset of %ld seconds", name,
               offset);
    return placeholder;
}

std::optional<int> displayNameOffset(const QString &name) {
    static const QRegularExpression prefix(
        QStringLiteral(
            R"(^\s*["']?\s*\(\s*(?:UTC|GMT)\s*(?:([+-])\s*(\d{1,2})(?:\s*[:.]?\s*(\d{2}))?)?\s*\))"),
        QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = prefix.match(name);
    if (!match.hasMatch())
        return std::nullopt;
    if (!match.hasCaptured(1))
        return 0;
    const int hours = match.captured(2).toInt();
    const int minutes = match.hasCaptured(3) ? match.captured(3).toInt() : 0;
    if (hours > 14 || minutes >= 60)
        return std::nullopt;
    const int offset = hours * 3600 + minutes * 60;
    return match.captured(1) == QLatin1String("-") ? -offset : offset;
}

}  // namespace TimeZones
