#include "model/ErrorPresenter.h"

#include "model/StandardErrorPresenter.h"

namespace {
ErrorPresenter *g_installed = nullptr;
}  // namespace

ErrorPresenter &ErrorPresenter::shared() {
    static StandardErrorPresenter standardError;
    return g_installed ? *g_installed : standardError;
}

void ErrorPresenter::setShared(ErrorPresenter *presenter) {
    g_installed = presenter;
}
