#include "model/SyncHooks.h"

namespace {
SyncHooks *g_sharedHooks = nullptr;
}

SyncHooks::~SyncHooks() = default;

SyncHooks &SyncHooks::shared() {
    static SyncHooks none;
    return g_sharedHooks ? *g_sharedHooks : none;
}

void SyncHooks::setShared(SyncHooks *hooks) {
    g_sharedHooks = hooks;
}
