#include "model/foundation/Preferences.h"

#include <cmath>
#include <limits>

#include "model/foundation/Paths.h"

namespace {
Preferences *g_sharedPreferences = nullptr;
}  // namespace

Preferences::Preferences(const QString &filePath)
    : m_settings(std::make_unique<QSettings>(filePath, QSettings::IniFormat)) {}

Preferences::~Preferences() = default;

Preferences &Preferences::shared() {
    if (g_sharedPreferences)
        return *g_sharedPreferences;
    static Preferences fileBacked(Paths::preferencesFile());
    return fileBacked;
}

void Preferences::setShared(Preferences *preferences) {
    g_sharedPreferences = preferences;
}

void Preferences::registerDefaults(const QVariantMap &defaults) {
    for (auto it = defaults.begin(); it != defaults.end(); ++it)
        m_defaults.insert(it.key(), it.value());
}

QVariant Preferences::objectForKey(const QString &key) const {
    const QVariant stored = m_settings->value(key);
    return stored.isValid() ? stored : m_defaults.value(key);
}

bool Preferences::boolForKey(const QString &key) const {
    const QVariant value = objectForKey(key);
    // The settings file keeps booleans as the words "true" and "false".
    if (value.typeId() == QMetaType::QString)
        return value.toString() == QLatin1String("true") || value.toString().toLongLong() != 0;
    return value.toBool();
}

qint64 Preferences::integerForKey(const QString &key) const {
    // Integers as they are (a double would round those above 2^53); reals
    // and words ("2.75", "1e300") by their whole part, within range.
    const QVariant value = objectForKey(key);
    bool ok = false;
    const qint64 integer = value.typeId() == QMetaType::Double ? 0 : value.toLongLong(&ok);
    if (ok)
        return integer;
    const double real = value.toDouble();
    if (std::isnan(real))
        return 0;
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    if (real >= kLimit)
        return std::numeric_limits<qint64>::max();
    return real < -kLimit ? std::numeric_limits<qint64>::min() : qint64(real);
}

double Preferences::doubleForKey(const QString &key) const {
    return objectForKey(key).toDouble();
}

QString Preferences::stringForKey(const QString &key) const {
    const QVariant value = objectForKey(key);
    return value.isValid() ? value.toString() : QString();
}

std::optional<Date> Preferences::dateForKey(const QString &key) const {
    const QVariant value = objectForKey(key);
    if (value.metaType() == QMetaType::fromType<Date>())
        return value.value<Date>();
    bool ok = false;
    const double seconds = value.toDouble(&ok);
    if (!value.isValid() || !ok)
        return std::nullopt;
    return Date(seconds);
}

bool Preferences::hasStoredValue(const QString &key) const {
    return m_settings->contains(key);
}

void Preferences::setObject(const QString &key, const QVariant &value) {
    if (!value.isValid())
        m_settings->remove(key);
    else
        m_settings->setValue(key, value);
}

void Preferences::removeObjectForKey(const QString &key) {
    m_settings->remove(key);
}

void Preferences::synchronize() {
    m_settings->sync();
}

QString Preferences::filePath() const {
    return m_settings->fileName();
}
