#include "model/store/LikePattern.h"

#include <QList>
#include <vector>

namespace {

struct Element {
    enum class Kind { Literal, One, Any } kind;
    char32_t character = 0;
};

std::vector<Element> elementsOf(const QString &pattern) {
    const QList<uint> codes = pattern.toUcs4();
    std::vector<Element> elements;
    elements.reserve(size_t(codes.size()));
    for (qsizetype i = 0; i < codes.size(); ++i) {
        if (codes[i] == '\\' && i + 1 < codes.size())
            elements.push_back({Element::Kind::Literal, codes[++i]});
        else if (codes[i] == '?')
            elements.push_back({Element::Kind::One});
        else if (codes[i] == '*')
            elements.push_back({Element::Kind::Any});
        else
            elements.push_back({Element::Kind::Literal, codes[i]});
    }
    return elements;
}

}  // namespace

bool likeMatches(const QString &text, const QString &pattern) {
    const std::vector<Element> elements = elementsOf(pattern);
    const QList<uint> codes = text.toUcs4();
    // Greedy matching that returns to the last "*" on a mismatch and lets it
    // take one more character; earlier stars never need revisiting.
    size_t p = 0, t = 0;
    size_t starElement = elements.size(), starText = 0;
    const size_t length = size_t(codes.size());
    while (t < length) {
        if (p < elements.size() && elements[p].kind == Element::Kind::Any) {
            starElement = p++;
            starText = t;
        } else if (p < elements.size() && (elements[p].kind == Element::Kind::One ||
                                           elements[p].character == codes[qsizetype(t)])) {
            ++p;
            ++t;
        } else if (starElement < elements.size()) {
            p = starElement + 1;
            t = ++starText;
        } else {
            return false;
        }
    }
    while (p < elements.size() && elements[p].kind == Element::Kind::Any)
        ++p;
    return p == elements.size();
}
