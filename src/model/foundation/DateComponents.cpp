#include "model/foundation/DateComponents.h"

#include "model/foundation/Format.h"

QString DateComponents::description() const {
    QString text;
    const auto append = [&text](const char *pattern, const std::optional<int> &field) {
        if (field)
            text += format(pattern, *field);
    };
    append("%ld-", weekOfMonth);
    append("%ld--", weekOfYear);
    append("%ld", month);
    append("/%ld", day);
    append("/%ld", year);
    append(" %02ld", hour);
    append(":%02ld", minute);
    append(":%02ld", second);
    return text;
}
