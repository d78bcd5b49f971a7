#include <benchmark/benchmark.h>

#include <QVariantMap>
#include <memory>
#include <vector>

#include "model/store/KeyValueCoding.h"
#include "model/store/Predicate.h"
#include "model/store/StringFolding.h"

namespace {

class Row : public KeyValueCoding {
public:
    QVariant valueForKey(const QString &key) const override { return values.value(key); }
    QVariantMap values;
};

// 1,000 events with a title (every third accented) and three attendees each.
struct Events {
    Events() {
        for (int i = 0; i < 1000; ++i) {
            auto event = std::make_unique<Row>();
            QList<KeyValueCoding *> links;
            for (int j = 0; j < 3; ++j) {
                auto attendee = std::make_unique<Row>();
                attendee->values.insert(QStringLiteral("email"),
                                        QStringLiteral("Person%1@Example.com").arg(i * 3 + j));
                links << attendee.get();
                attendees.push_back(std::move(attendee));
            }
            event->values.insert(QStringLiteral("title"),
                                 i % 3 ? QStringLiteral("Weekly planning meeting %1").arg(i)
                                       : QStringLiteral("R\u00E9union d'\u00E9quipe %1").arg(i));
            event->values.insert(QStringLiteral("attendees"), QVariant::fromValue(links));
            events.push_back(std::move(event));
        }
    }
    std::vector<std::unique_ptr<Row>> events;
    std::vector<std::unique_ptr<Row>> attendees;
};

void BM_PredicateParse(benchmark::State &state) {
    const QVariantList keys{QStringLiteral("parentContainer"), QStringLiteral("ownerLastModTime"),
                            QStringLiteral("lastModTime"), QStringLiteral("ownerLastModTime")};
    for (auto _ : state) {
        benchmark::DoNotOptimize(Predicate::fromFormat(
            QStringLiteral("(%K == $CONTAINER) AND ((%K == nil) OR (%K != %K))"), keys));
    }
}
BENCHMARK(BM_PredicateParse)->Unit(benchmark::kMicrosecond);

// Folded comparisons through a to-many, over 1,000 events.
void BM_PredicateEvaluate(benchmark::State &state) {
    const Events data;
    const Predicate predicate = Predicate::fromFormat(
        QStringLiteral("title CONTAINS[cd] %@ OR ANY attendees.email ==[c] %@"),
        {QStringLiteral("equipe"), QStringLiteral("person2999@example.com")});
    for (auto _ : state) {
        int matches = 0;
        for (const auto &event : data.events)
            matches += predicate.evaluate(event.get());
        benchmark::DoNotOptimize(matches);
    }
    state.SetItemsProcessed(state.iterations() * qint64(data.events.size()));
}
BENCHMARK(BM_PredicateEvaluate)->Unit(benchmark::kMillisecond);

// foldString on 1,000 ASCII or 1,000 accented titles.
void BM_FoldString(benchmark::State &state) {
    QStringList titles;
    for (int i = 0; i < 1000; ++i)
        titles << (state.range(0) ? QStringLiteral("R\u00E9union d'\u00E9quipe %1").arg(i)
                                  : QStringLiteral("Weekly planning meeting %1").arg(i));
    for (auto _ : state) {
        for (const QString &title : titles)
            benchmark::DoNotOptimize(foldString(title, CaseInsensitive | DiacriticInsensitive));
    }
    state.SetItemsProcessed(state.iterations() * titles.size());
}
BENCHMARK(BM_FoldString)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

}  // namespace
