// Property lists from untrusted bytes (peer payloads, stored archives): any
// input must give a value or a PropertyList::Error, and whatever is read must
// write back and read again to the same list.
#include <cstdint>
#include <cstdlib>

#include "model/foundation/PropertyList.h"

namespace {
// Reading a list that was written and writing it again gives the same bytes.
void checkStable(const QByteArray &written, PropertyList::Format format) {
    if (PropertyList::toData(PropertyList::fromData(written), format) != written)
        std::abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    QString error;
    const QVariant value = PropertyList::fromData(bytes, &error);
    if (!value.isValid()) {
        if (error.isEmpty())
            std::abort();
        return 0;
    }
    checkStable(PropertyList::toData(value, PropertyList::Format::Binary),
                PropertyList::Format::Binary);
    // Whatever was read writes as a binary list (an Error escaping above is a
    // finding); XML refuses strings with characters XML 1.0 cannot carry.
    QByteArray xml;
    try {
        xml = PropertyList::toData(value, PropertyList::Format::Xml);
    } catch (const PropertyList::Error &) {
        return 0;
    }
    checkStable(xml, PropertyList::Format::Xml);
    return 0;
}
