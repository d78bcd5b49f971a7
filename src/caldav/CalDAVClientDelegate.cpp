#include "caldav/CalDAVClientDelegate.h"

CalDAVClientDelegate::~CalDAVClientDelegate() = default;
