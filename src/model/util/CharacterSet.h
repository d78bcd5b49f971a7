#pragma once

#include <QChar>
#include <QStringView>
#include <functional>

// A set of UTF-16 code units, for splitting, trimming and replacing text at
// any of several characters. Cheap to copy.
class CharacterSet {
public:
    // Exactly the characters of `characters`.
    static CharacterSet of(QStringView characters);
    // Spaces, tabs, line and paragraph separators of any script.
    static CharacterSet whitespaceAndNewlines();
    // Decimal digits of any script.
    static CharacterSet decimalDigits();

    // Every character this set does not contain.
    CharacterSet inverted() const;
    bool contains(QChar character) const { return m_test(character); }

private:
    explicit CharacterSet(std::function<bool(QChar)> test) : m_test(std::move(test)) {}

    std::function<bool(QChar)> m_test;
};
