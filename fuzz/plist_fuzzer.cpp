// Property lists from untrusted bytes (peer payloads, stored archives): any
// input must give a value or a PropertyList::Error, and whatever is read must
// write back, and what that reads as must write and read again to the same
// value. (libplist may write equal data objects once or twice, so the bytes
// themselves need not repeat.)
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "model/foundation/Date.h"
#include "model/foundation/PropertyList.h"

namespace {

bool sameReal(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || (a == b && std::signbit(a) == std::signbit(b));
}

// Same types all the way down and the same values.
bool same(const QVariant &a, const QVariant &b) {
    if (a.metaType() != b.metaType())
        return false;
    if (a.typeId() == QMetaType::QVariantList) {
        const QVariantList x = a.toList(), y = b.toList();
        return std::equal(x.begin(), x.end(), y.begin(), y.end(), same);
    }
    if (a.typeId() == QMetaType::QVariantMap) {
        const QVariantMap x = a.toMap(), y = b.toMap();
        return x.keys() == y.keys() && std::equal(x.begin(), x.end(), y.begin(), same);
    }
    if (a.typeId() == QMetaType::Double)
        return sameReal(a.toDouble(), b.toDouble());
    if (a.metaType() == QMetaType::fromType<Date>())
        return sameReal(a.value<Date>().secondsSinceReference(),
                        b.value<Date>().secondsSinceReference());
    if (a.metaType() == QMetaType::fromType<PropertyList::UID>())
        return a.value<PropertyList::UID>() == b.value<PropertyList::UID>();
    return a == b;
}

// What a written list reads as writes and reads back unchanged.
void checkStable(const QByteArray &written, PropertyList::Format format) {
    const QVariant once = PropertyList::fromData(written);
    if (!same(once, PropertyList::fromData(PropertyList::toData(once, format))))
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
    // Whatever was read writes as a binary list (an Error escaping here is a
    // finding); XML refuses strings with characters XML 1.0 cannot carry.
    checkStable(PropertyList::toData(value, PropertyList::Format::Binary),
                PropertyList::Format::Binary);
    QByteArray xml;
    try {
        xml = PropertyList::toData(value, PropertyList::Format::Xml);
    } catch (const PropertyList::Error &) {
        return 0;
    }
    checkStable(xml, PropertyList::Format::Xml);
    return 0;
}
