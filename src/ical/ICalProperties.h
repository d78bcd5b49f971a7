#pragma once

// INTERNAL to src/ical: small builders of iCalendar properties shared by the
// writers. The .cpp files that call them include <libical/ical.h>.

#include <QString>
#include <QVariantMap>
#include <optional>

#include "model/RichText.h"

typedef struct icalcomponent_impl icalcomponent;
typedef struct icalproperty_impl icalproperty;
class ICalTextWriter;
class ModelObject;

namespace ICalProperties {

// The address as a calendar user address: "mailto:" before an e-mail address.
QString calendarAddress(const QString &address);

// A string attribute of a record; empty when it has none. The reference
// lasts until the record changes (ModelObject::stringAttributeForKey).
const QString &textField(const ModelObject *record, const QString &key);

// Adds NAME=value to the property: a parameter the library knows by its
// value text (an unknown value becomes the library's extension value), any
// other as an extension parameter of that name, which writes the same.
void addParameter(icalproperty *property, const QString &name, const QString &value);

// An X- property with a text value, taken as it stands; nothing for an
// empty value.
void addXProperty(icalcomponent *component, const char *name, const QString &value);

// The same, written as text (backslash and line ends escaped);
// `globalScope` adds SHARE-SCOPE=GLOBAL. False when nothing was written.
bool writeXProperty(ICalTextWriter &writer, const char *name, const QString &value,
                    bool globalScope = false);

// The rich-text copy of a text under `name`: only when the first run carries
// formatting beyond a plain number or colour, as the property list of the
// whole text in binary form, base64 (VALUE=BINARY, ENCODING=BASE64,
// FMTTYPE=application/x-nsarchive).
void writeRichText(ICalTextWriter &writer, const char *name, const std::optional<RichText> &text);
// Whether a rich text carries such formatting.
bool hasFormatting(const RichText &text);

// A new ATTACH with an address (URI, the property's default value type).
icalproperty *newURIAttach(const QString &url);

// The kept unknown properties: name → parameters, the value under
// "prop-value"; "VALUE" becomes the typed VALUE parameter.
void writeXProps(ICalTextWriter &writer, const QVariantMap &xProps);

}  // namespace ICalProperties
