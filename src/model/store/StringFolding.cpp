#include "model/store/StringFolding.h"

#include "model/store/Predicate.h"

namespace {

bool isAscii(const QString &text) {
    for (QChar c : text) {
        if (c.unicode() >= 0x80)
            return false;
    }
    return true;
}

QString withoutDiacritics(const QString &text) {
    const QString decomposed = text.normalized(QString::NormalizationForm_D);
    QString result;
    result.reserve(decomposed.size());
    for (qsizetype i = 0; i < decomposed.size(); ++i) {
        char32_t code = decomposed[i].unicode();
        qsizetype length = 1;
        if (QChar::isHighSurrogate(code) && i + 1 < decomposed.size() &&
            decomposed[i + 1].isLowSurrogate()) {
            code = QChar::surrogateToUcs4(decomposed[i], decomposed[i + 1]);
            length = 2;
        }
        if (QChar::category(code) != QChar::Mark_NonSpacing)
            result.append(decomposed.constData() + i, length);
        i += length - 1;
    }
    return result;
}

}  // namespace

QString foldString(const QString &text, int options) {
    options &= CaseInsensitive | DiacriticInsensitive;
    if (options == 0)
        return text;
    if (isAscii(text))
        return options & CaseInsensitive ? text.toLower() : text;
    // Case first: folding may itself decompose ("\u0130" gives "i" and a dot).
    QString folded = options & CaseInsensitive ? text.toCaseFolded() : text;
    if (options & DiacriticInsensitive)
        folded = withoutDiacritics(folded);
    return folded.normalized(QString::NormalizationForm_C);
}
