#pragma once

#include <cstdio>

#include "model/ErrorPresenter.h"

// Writes each error as one line to a stream (standard error by default):
// "<description> (<domain> <code>)", then " <recovery suggestion>" when
// there is one; line breaks inside the texts become spaces.
class StandardErrorPresenter : public ErrorPresenter {
public:
    explicit StandardErrorPresenter(std::FILE *stream = stderr) : m_stream(stream) {}
    void presentError(const UserError &error) override;

private:
    std::FILE *m_stream;
};
