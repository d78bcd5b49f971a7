#include <benchmark/benchmark.h>

#include "model/foundation/PropertyList.h"

namespace {

// A sync-data-like dictionary: 1,000 entries of a few fields each.
QVariantMap syncData() {
    QVariantMap collections;
    for (int i = 0; i < 1000; ++i) {
        collections.insert(
            QStringLiteral("/calendars/user/%1/").arg(i),
            QVariantMap{{QStringLiteral("etag"), QStringLiteral("\"%1\"").arg(i * 7919)},
                        {QStringLiteral("sync-token"),
                         QStringLiteral("http://example.com/ns/sync/%1").arg(i)},
                        {QStringLiteral("order"), i},
                        {QStringLiteral("refetch"), i % 2 == 0}});
    }
    return {{QStringLiteral("collections"), collections}};
}

void BM_PropertyListBinaryRoundTrip(benchmark::State &state) {
    const QVariant value = syncData();
    for (auto _ : state) {
        const QByteArray data = PropertyList::toData(value, PropertyList::Format::Binary);
        benchmark::DoNotOptimize(PropertyList::fromData(data));
    }
}
BENCHMARK(BM_PropertyListBinaryRoundTrip)->Unit(benchmark::kMillisecond);

}  // namespace
