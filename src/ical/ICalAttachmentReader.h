#pragma once

// INTERNAL to src/ical: ATTACH properties read into attachment records.

struct ICalEventSource;
class CommonDataMO;

namespace ICalAttachmentReader {

// Per ATTACH: a server-managed one (MANAGED-ID, only when the options ask)
// by its id, a URI by its address, inline data (base64) as a file copied
// into the attachments folder under its X-APPLE-FILENAME (else "Attachment"
// with the extension of its FMTTYPE, else "Attachment.txt"); a graphic's
// opacity and placement from the parameters. Attachment records the
// component no longer names are deleted.
void readAttachments(CommonDataMO *event, const ICalEventSource &source);

}  // namespace ICalAttachmentReader
