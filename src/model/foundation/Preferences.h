#pragma once

#include <QSettings>
#include <QVariantMap>
#include <memory>
#include <optional>

#include "model/foundation/Date.h"

// The user's preferences: values stored in a settings file, over defaults
// registered at start-up. A missing value reads as its registered default, and
// a missing default as false, 0, 0.0 or no value.
class Preferences {
public:
    explicit Preferences(const QString &filePath);
    ~Preferences();

    // The process preferences, on Paths::preferencesFile() unless a test has
    // installed others (nullptr restores the file-backed ones).
    static Preferences &shared();
    static void setShared(Preferences *preferences);

    void registerDefaults(const QVariantMap &defaults);

    QVariant objectForKey(const QString &key) const;
    bool boolForKey(const QString &key) const;
    qint64 integerForKey(const QString &key) const;
    double doubleForKey(const QString &key) const;
    QString stringForKey(const QString &key) const;
    std::optional<Date> dateForKey(const QString &key) const;
    bool hasStoredValue(const QString &key) const;

    void setObject(const QString &key, const QVariant &value);
    void setBool(const QString &key, bool value) { setObject(key, value); }
    void setInteger(const QString &key, qint64 value) { setObject(key, value); }
    void setDouble(const QString &key, double value) { setObject(key, value); }
    void setString(const QString &key, const QString &value) { setObject(key, value); }
    // Dates are kept as seconds since 2001-01-01.
    void setDate(const QString &key, Date value) { setObject(key, value.secondsSinceReference()); }
    void removeObjectForKey(const QString &key);

    void synchronize();
    QString filePath() const;

private:
    std::unique_ptr<QSettings> m_settings;
    QVariantMap m_defaults;
};
