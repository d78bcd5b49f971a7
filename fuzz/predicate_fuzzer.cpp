// Predicate text from untrusted bytes (smart groups, stored filters): any
// input must give a predicate or a PredicateError, never a crash, and what is
// read must print as text that reads back to the same predicate.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "model/store/Predicate.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    Predicate predicate;
    try {
        predicate = Predicate::fromFormat(text);
    } catch (const PredicateError &) {
        return 0;
    }
    const QString description = predicate.description();
    try {
        if (Predicate::fromFormat(description) == predicate)
            return 0;
        std::fprintf(stderr, "reads back differently: %s\n", qPrintable(description));
    } catch (const PredicateError &error) {
        std::fprintf(stderr, "does not read back: %s\n", error.what());
    }
    std::abort();
}
