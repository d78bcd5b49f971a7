#include "time/recurrence/CompiledDays.h"

#include <cstring>

namespace CompiledDays {

std::vector<std::uint32_t> compile(const RecurrenceSeries &series) {
    const Date start = series.start.date();
    std::vector<std::uint32_t> offsets;
    for (Date date : series.occurrences(start, RecurrenceSeries::endOfTime(), kMaxOccurrences)) {
        const double offset = date.secondsSince(start);
        if (offset >= double(kOffsetLimit))
            break;
        offsets.push_back(std::uint32_t(offset));
    }
    return offsets;
}

QByteArray pack(const std::vector<std::uint32_t> &offsets) {
    return QByteArray(reinterpret_cast<const char *>(offsets.data()),
                      qsizetype(offsets.size() * sizeof(std::uint32_t)));
}

std::vector<std::uint32_t> unpack(const QByteArray &data) {
    std::vector<std::uint32_t> offsets(std::size_t(data.size()) / sizeof(std::uint32_t));
    if (!offsets.empty())
        std::memcpy(offsets.data(), data.constData(), offsets.size() * sizeof(std::uint32_t));
    return offsets;
}

bool isOpenEnded(const std::vector<std::uint32_t> &offsets) {
    if (offsets.size() >= kMaxOccurrences)
        return true;
    if (offsets.size() < 2)
        return false;
    const std::uint64_t last = offsets.back();
    const std::uint64_t step = last - offsets[offsets.size() - 2];
    return last + step >= kOffsetLimit - 1;
}

}  // namespace CompiledDays

std::size_t compiledOffsetIndex(const std::uint32_t *offsets, std::size_t count,
                                std::uint32_t target) {
    if (count < 2)
        return 0;
    std::int64_t low = 0;
    std::int64_t high = std::int64_t(count) - 1;
    while (low < high) {
        const std::int64_t middle = (low + high) / 2;
        if (offsets[middle] == target)
            return std::size_t(middle);
        if (offsets[middle] > target)
            high = middle - 1;
        else
            low = middle + 1;
    }
    return std::size_t(low);
}
