// Quoted-printable decoding and line unfolding of untrusted mail and
// iCalendar text: any bytes must decode without a fault.
#include <cstdint>
#include <iterator>

#include "model/util/TextDecoding.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char *>(data + 1), qsizetype(size - 1));
    static const char *const kCharsets[] = {"utf-8", "iso-8859-1",  "shift_jis", "unknown",
                                            nullptr, "iso-2022-jp", "hz-gb-2312"};
    const char *charset = kCharsets[data[0] % std::size(kCharsets)];
    const QString text = QString::fromLatin1(bytes);
    stringFromQuotedPrintableString(text, charset ? QString::fromLatin1(charset) : QString());
    stringFromFoldedString(bytes);
    stringFromData(bytes, charset ? QString::fromLatin1(charset) : QString());
    return 0;
}
