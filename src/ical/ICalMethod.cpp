#include "ical/ICalMethod.h"

#include <array>
#include <utility>

namespace {

constexpr std::array<std::pair<ICalMethod, const char *>, 8> kNames{{
    {ICalMethod::Publish, "PUBLISH"},
    {ICalMethod::Request, "REQUEST"},
    {ICalMethod::Reply, "REPLY"},
    {ICalMethod::Add, "ADD"},
    {ICalMethod::Cancel, "CANCEL"},
    {ICalMethod::Refresh, "REFRESH"},
    {ICalMethod::Counter, "COUNTER"},
    {ICalMethod::DeclineCounter, "DECLINECOUNTER"},
}};

}  // namespace

namespace ICalMethods {

bool carriesWholeItem(ICalMethod method) {
    return method == ICalMethod::None || method == ICalMethod::Publish ||
           method == ICalMethod::Request;
}

QString name(ICalMethod method) {
    for (const auto &[value, text] : kNames) {
        if (value == method)
            return QLatin1String(text);
    }
    return {};
}

std::optional<ICalMethod> fromName(const QString &name) {
    for (const auto &[value, text] : kNames) {
        if (name.compare(QLatin1String(text), Qt::CaseInsensitive) == 0)
            return value;
    }
    return std::nullopt;
}

}  // namespace ICalMethods
