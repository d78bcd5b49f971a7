// Feeds arbitrary bodies to the results dictionary of a WebDAV answer, under
// each status that has a body parser: 207 (streamed multi-status), 200 of a
// REPORT (whole document), 403 (error body, HTML page); read with the WebDAV
// properties and with the CalDAV ones.
#include <cstddef>
#include <cstdint>

#include "caldav/CalDAVClient.h"
#include "caldav/PropertyValueParser.h"
#include "caldav/WebDAVResults.h"
#include "caldav/XMLReader.h"
#include "model/foundation/Log.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool quiet = [] {
        Log::setMask(0);
        return true;
    }();
    (void)quiet;
    const QByteArray body(reinterpret_cast<const char *>(data), qsizetype(size));
    static const PropertyValueParser webdav;
    static const CalDAVClient caldav;
    const WebDAVResponse response{0, QUrl(QStringLiteral("http://127.0.0.1/")), {}};
    for (const PropertyValueParser *parser :
         {&webdav, static_cast<const PropertyValueParser *>(&caldav)}) {
        for (const auto &[status, method] :
             {std::pair{207, "PROPFIND"}, std::pair{200, "REPORT"}, std::pair{403, "PUT"}}) {
            WebDAVResponse answered = response;
            answered.statusCode = status;
            WebDAVResults::calcResultsDict(answered, QString::fromLatin1(method), false, body,
                                           *parser);
        }
    }
    QString error;
    XMLReader::dictionaryForXMLData(body, error);
    return 0;
}
