#pragma once

// INTERNAL to src/ical: the values of parsed iCalendar properties as the
// readers take them. The .cpp files that call these include <libical/ical.h>.

#include <QString>
#include <QVariantMap>
#include <optional>

#include "model/RichText.h"

typedef struct icalcomponent_impl icalcomponent;
typedef struct icalproperty_impl icalproperty;

namespace ICalPropertyReader {

// The property's name: "SUMMARY", or an extension's own name ("X-FOO").
QString propertyName(icalproperty *property);
// The value of the parameter called `name` (any case), known to the library
// or not; none when the property has no such parameter.
std::optional<QString> parameterText(icalproperty *property, const char *name);
// The same for the parameter of that kind (an icalparameter_kind).
std::optional<QString> parameterTextOfKind(icalproperty *property, int kind);
// Whether the text is there and is the word (any case).
bool isWord(const std::optional<QString> &text, const char *word);

// The property's text, unescaped. ENCODING=QUOTED-PRINTABLE is decoded
// first; CHARSET chooses the bytes' encoding ("UTF-8"/"UTF8", "ISO-8859-1",
// "SJIS"/"SHIFT_JIS", any case; UTF-8 without one); bytes that do not decode
// so are read as ISO Latin 1, then as ASCII. None for a property without a
// value.
std::optional<QString> textOfProperty(icalproperty *property);

// The formatted text kept by the writer in an X- property: base64 of a
// property list with FMTTYPE=application/x-nsarchive. None (logged) when the
// value is anything else or does not decode to text.
std::optional<RichText> richTextFromProperty(icalproperty *property);

// The X- properties of the component that `isKnown` does not claim (and
// never the parser's own X-LIC- notes): name → its parameters by name, its
// value under "prop-value".
QVariantMap unknownProperties(icalcomponent *component, bool (*isKnown)(const QString &name));

}  // namespace ICalPropertyReader
