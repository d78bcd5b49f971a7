#include "model/StandardErrorPresenter.h"

#include <QRegularExpression>

#include "model/UserError.h"

namespace {
QString oneLine(QString text) {
    static const QRegularExpression kLineBreaks(QStringLiteral("[\\r\\n]+"));
    return text.replace(kLineBreaks, QStringLiteral(" "));
}
}  // namespace

void StandardErrorPresenter::presentError(const UserError &error) {
    QString line = QStringLiteral("%1 (%2 %3)")
                       .arg(oneLine(error.localizedDescription()), error.domain())
                       .arg(error.code());
    if (const QString suggestion = error.recoverySuggestion(); !suggestion.isEmpty())
        line += QLatin1Char(' ') + oneLine(suggestion);
    std::fprintf(m_stream, "%s\n", line.toLocal8Bit().constData());
    std::fflush(m_stream);
}
