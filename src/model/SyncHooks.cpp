#include "model/SyncHooks.h"

namespace {
SyncHooks *g_shared = nullptr;
}

SyncHooks::~SyncHooks() = default;

SyncHooks &SyncHooks::shared() {
    static SyncHooks none;
    return g_shared ? *g_shared : none;
}

void SyncHooks::setShared(SyncHooks *hooks) {
    g_shared = hooks;
}
