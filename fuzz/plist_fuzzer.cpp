// Property lists from untrusted bytes (peer payloads, stored archives): any
// input must give a value or a PropertyList::Error, and whatever is read must
// write back and read again to the same value.
#include <cstdint>
#include <cstdlib>

#include "model/foundation/PropertyList.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    QString error;
    const QVariant value = PropertyList::fromData(bytes, &error);
    if (!value.isValid())
        return 0;
    for (auto format : {PropertyList::Format::Binary, PropertyList::Format::Xml}) {
        const QVariant again = PropertyList::fromData(PropertyList::toData(value, format), &error);
        if (!again.isValid())
            std::abort();
    }
    return 0;
}
