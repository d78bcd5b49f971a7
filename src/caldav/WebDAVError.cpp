#include "caldav/WebDAVError.h"

#include "model/foundation/Format.h"

QString WebDAVError::text() const {
    return format("%@ (%@ %ld)", description, domain, code);
}
