#include "model/util/CharacterSet.h"

#include <QString>

CharacterSet CharacterSet::of(QStringView characters) {
    return CharacterSet([members = characters.toString()](QChar c) { return members.contains(c); });
}

CharacterSet CharacterSet::whitespaceAndNewlines() {
    return CharacterSet([](QChar c) { return c.isSpace(); });
}

CharacterSet CharacterSet::decimalDigits() {
    return CharacterSet([](QChar c) { return c.isDigit(); });
}

CharacterSet CharacterSet::inverted() const {
    return CharacterSet([test = m_test](QChar c) { return !test(c); });
}
