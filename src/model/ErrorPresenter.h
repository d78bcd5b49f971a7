#pragma once

class UserError;

// Shows an error to the user. The application installs its alert panel;
// until then errors go to standard error (StandardErrorPresenter). Main
// thread only.
class ErrorPresenter {
public:
    virtual ~ErrorPresenter() = default;
    virtual void presentError(const UserError &error) = 0;

    // The presenter in use; nullptr restores the default.
    static ErrorPresenter &shared();
    static void setShared(ErrorPresenter *presenter);
};
