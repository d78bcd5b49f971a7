#pragma once

#include <QString>
#include <QVariant>
#include <initializer_list>
#include <optional>
#include <string>
#include <type_traits>

#include "model/foundation/Date.h"

// One argument of a printf-style format. Log and error texts keep the format
// strings of their originals ("%@", "%ld", "%.2f", "%s", "%06ld" …), so the
// formatter accepts those conversions as they stand and converts each argument
// to what its conversion asks for.
class FormatArg {
public:
    FormatArg(std::nullptr_t) {}
    FormatArg(const QString &value) : m_value(value) {}
    FormatArg(QStringView value) : m_value(value.toString()) {}
    FormatArg(const char *value)
        : m_value(value ? QVariant(QString::fromUtf8(value)) : QVariant()) {}
    FormatArg(const std::string &value) : m_value(QString::fromStdString(value)) {}
    FormatArg(const QByteArray &value) : m_value(value) {}
    FormatArg(const QVariant &value) : m_value(value) {}
    FormatArg(const QStringList &value) : m_value(value) {}
    FormatArg(Date value) : m_value(QVariant::fromValue(value)) {}
    FormatArg(bool value) : m_value(value) {}
    FormatArg(char value) : m_value(QVariant::fromValue(QChar::fromLatin1(value))) {}
    FormatArg(QChar value) : m_value(QVariant::fromValue(value)) {}
    template <typename T, std::enable_if_t<std::is_integral_v<T> && std::is_signed_v<T>, int> = 0>
    FormatArg(T value) : m_value(qint64(value)) {}
    template <typename T, std::enable_if_t<std::is_integral_v<T> && std::is_unsigned_v<T>, int> = 0>
    FormatArg(T value) : m_value(quint64(value)) {}
    template <typename T, std::enable_if_t<std::is_floating_point_v<T>, int> = 0>
    FormatArg(T value) : m_value(double(value)) {}
    template <typename T, std::enable_if_t<std::is_enum_v<T>, int> = 0>
    FormatArg(T value) : m_value(qint64(value)) {}
    template <typename T>
    FormatArg(const std::optional<T> &value)
        : FormatArg(value ? FormatArg(*value) : FormatArg(nullptr)) {}

    const QVariant &value() const { return m_value; }

private:
    QVariant m_value;
};

// The text of a value as "%@" prints it: strings as they are, numbers in their
// shortest form, dates as Date::description(), lists as "(a, b)", dictionaries
// as "{k = v; }", no value as "(null)".
QString describeValue(const QVariant &value);

QString formatString(const char *format, std::initializer_list<FormatArg> args);

template <typename... Args>
QString format(const char *formatText, const Args &...args) {
    return formatString(formatText, {FormatArg(args)...});
}
