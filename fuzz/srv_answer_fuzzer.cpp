// Feeds arbitrary DNS answers to the reader of SRV records.
#include <cstddef>
#include <cstdint>

#include "caldav/ResolvSRVResolver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > size_t(ResolvSRVResolver::kAnswerBufferSize))
        return 0;
    ResolvSRVResolver::recordsOfAnswer(data, int(size));
    return 0;
}
