#include "model/util/TextCompare.h"

#include <QCollator>
#include <vector>

#include "model/RichText.h"
#include "model/util/OwnAddresses.h"

namespace {

enum Fold { FoldDiacritics = 1, FoldCase = 2, FoldWidth = 4 };

// The decomposed text with the asked-for differences folded away.
QString folded(const QString &text, int folds) {
    QString source = text;
    if (folds & FoldWidth) {
        source.clear();
        for (const QChar c : text) {
            const QChar::Decomposition tag = c.decompositionTag();
            source += (tag == QChar::Wide || tag == QChar::Narrow) ? c.decomposition() : QString(c);
        }
    }
    QString result;
    for (const QChar c : source.normalized(QString::NormalizationForm_D)) {
        if (!(folds & FoldDiacritics) || c.category() != QChar::Mark_NonSpacing)
            result += c;
    }
    // Upper-casing first applies the full mappings ("ß" → "SS", "ﬁ" → "FI")
    // that plain case folding leaves out.
    return (folds & FoldCase) ? result.toUpper().toCaseFolded() : result;
}

QCollator caseInsensitiveCollator(bool numeric) {
    // The C locale collates by code point and knows no numeric order; people
    // still expect the ordering of a real language there.
    const QLocale locale =
        QLocale().language() == QLocale::C ? QLocale(QLocale::English) : QLocale();
    QCollator collator(locale);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(numeric);
    return collator;
}

bool isList(const QVariant &value) {
    return value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QStringList;
}

}  // namespace

QString normalizedString(const QString &text) {
    return folded(text, FoldDiacritics | FoldCase | FoldWidth);
}

QString stringWithDiacriticsRemoved(const QString &text) {
    return folded(text, FoldDiacritics).normalized(QString::NormalizationForm_C);
}

bool isEqualToCaseAndDiacriticalInsensitiveString(const QString &a, const QString &b) {
    return folded(a, FoldDiacritics | FoldCase) == folded(b, FoldDiacritics | FoldCase);
}

int localizedCaseAndDiacriticInsensitiveCompare(const QString &a, const QString &b) {
    thread_local const QCollator collator = caseInsensitiveCollator(false);
    return collator.compare(stringWithDiacriticsRemoved(a), stringWithDiacriticsRemoved(b));
}

int caseInsensitiveSmartCompare(const QString &a, const QString &b) {
    thread_local const QCollator collator = caseInsensitiveCollator(true);
    return collator.compare(a, b);
}

qsizetype fuzzyCompare(const QString &a, const QString &b) {
    if (a == b)
        return 0;
    // One row of the distance table at a time, over the shorter string.
    const QString &outer = a.size() >= b.size() ? a : b;
    const QString &inner = a.size() >= b.size() ? b : a;
    std::vector<qsizetype> row(size_t(inner.size()) + 1);
    for (size_t j = 0; j < row.size(); ++j)
        row[j] = qsizetype(j);
    for (qsizetype i = 1; i <= outer.size(); ++i) {
        qsizetype diagonal = row[0];
        row[0] = i;
        for (qsizetype j = 1; j <= inner.size(); ++j) {
            const qsizetype substitution = diagonal + (outer[i - 1] == inner[j - 1] ? 0 : 1);
            diagonal = row[size_t(j)];
            row[size_t(j)] = std::min({substitution, row[size_t(j)] + 1, row[size_t(j) - 1] + 1});
        }
    }
    return row.back();
}

bool valuesEqual(const QVariant &a, const QVariant &b) {
    if (isList(a))
        return (!b.isValid() || isList(b)) && arraysEqual(a.toList(), b.toList());
    if (a.typeId() == QMetaType::QString)
        return (!b.isValid() || b.typeId() == QMetaType::QString) &&
               stringsEqual(a.toString(), b.toString());
    if (a.metaType() == QMetaType::fromType<RichText>()) {
        if (!b.isValid())
            return a.value<RichText>().isEmpty();
        if (b.metaType() != QMetaType::fromType<RichText>())
            return false;
        const RichText left = a.value<RichText>();
        const RichText right = b.value<RichText>();
        return left.text.size() == right.text.size() && (left.isEmpty() || left == right);
    }
    if (!a.isValid() || !b.isValid())
        return a.isValid() == b.isValid();
    return a == b;
}

bool arraysEqual(const QVariantList &a, const QVariantList &b) {
    return a == b;
}

bool stringsEqual(const QString &a, const QString &b) {
    return a == b;
}

bool stringsEqualIgnoringCase(const QString &a, const QString &b) {
    return a.size() == b.size() && a.compare(b, Qt::CaseInsensitive) == 0;
}

bool addressesEqual(const QString &a, const QString &b) {
    return (OwnAddresses::contains(a) && OwnAddresses::contains(b)) ||
           stringsEqualIgnoringCase(a, b);
}
