#include "model/ErrorPresenter.h"

#include "model/StandardErrorPresenter.h"

namespace {
ErrorPresenter *g_installedPresenter = nullptr;
}  // namespace

ErrorPresenter &ErrorPresenter::shared() {
    static StandardErrorPresenter standardError;
    return g_installedPresenter ? *g_installedPresenter : standardError;
}

void ErrorPresenter::setShared(ErrorPresenter *presenter) {
    g_installedPresenter = presenter;
}
