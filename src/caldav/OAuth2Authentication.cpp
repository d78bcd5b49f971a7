#include "caldav/OAuth2Authentication.h"

OAuth2Authentication::~OAuth2Authentication() = default;
