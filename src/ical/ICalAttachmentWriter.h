#pragma once

// INTERNAL to src/ical: an item's attachments as ATTACH properties.

#include "ical/ICalItemExtras.h"

class CommonDataMO;
class ExtraDataMO;
class ICalTextWriter;

namespace ICalAttachmentWriter {

// Per attachment record of the item: under ManagedAttachments a server-managed one by its
// address and MANAGED-ID, FMTTYPE, SIZE, FILENAME, and a file of this
// machine the server has no id for not at all (it is sent on its own); a
// file kept in the attachments folder inline (base64, its MIME type,
// X-APPLE-FILENAME), but not the downloaded copy of a web file; any other by
// its address. A graphic's attachment also carries its opacity and
// placement, repeated as X-TOLVERN-OPACITY and X-TOLVERN-RECT properties.
void writeAttachments(ICalTextWriter &writer, const CommonDataMO *event,
                      ICalItemExtras::View attachments, quint32 options);

}  // namespace ICalAttachmentWriter
