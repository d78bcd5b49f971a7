#pragma once

#include <QString>
#include <optional>

#include "model/util/CharacterSet.h"

// Text reshaped for a use: percent escapes for URLs, entities for HTML,
// escapes for "mailto:" addresses, file names, and the capitalisation of names
// and addresses that were typed in lower case.

// --- Percent escapes (UTF-8) ---

// `text` with the characters that are illegal in a URL percent-escaped; "%"
// and "#" are left alone, so existing escapes and fragments survive.
QString stringByAddingStandardPercentEscapes(const QString &text);
// `text` made into a clean URL: existing escapes are undone first (when they
// decode as UTF-8), then the illegal characters and "$+,@~" are escaped;
// "#" is left alone. Applying it twice changes nothing more.
QString stringByAddingPercentEscapes(const QString &text);
// Raw text (nothing is undone, "%" is escaped) made into one path segment:
// the characters stringByAddingPercentEscapes() escapes, and "/".
QString stringByAddingPercentEscapesIncludingSlash(const QString &text);
// Raw text (nothing is undone, "%" is escaped) made into one query value: the
// characters stringByAddingPercentEscapes() escapes, and "&", "=", "?", "#".
QString stringByAddingPercentEscapesIncludingAmpersand(const QString &text);
// `text` with its percent escapes decoded; none when the decoded bytes are not
// UTF-8. Malformed escapes ("%4", "%zz") stay as they are.
std::optional<QString> stringByRemovingPercentEscapes(const QString &text);

// --- Other encodings ---

// `text` with "&", "<", ">", '"' and "'" written as HTML entities.
QString stringByHTMLEncoding(const QString &text);
// An address as it stands in a "mailto:" URI: everything but letters, digits,
// "-._~!$'()*+,;:@" percent-escaped (so "&", "?", "#", "=", "%" and spaces
// are escaped and "@" is not).
QString stringByMailToEncoding(const QString &address);
// The reverse of stringByMailToEncoding(); text whose escapes do not decode as
// UTF-8 is returned as it is.
QString stringByRemovingMailToEncoding(const QString &text);
// `text` usable as one file name: "/" and NUL become "-", a name that is
// empty, "." or ".." becomes "_", and the UTF-8 form is cut to 255 bytes at
// a character boundary.
QString stringByFileSystemEncoding(const QString &text);
// `url` with the query parameter `name`=`value` appended ("?" or "&" as
// needed, before any fragment); name and value are escaped as query values.
QString stringByAppendingParameter(const QString &url, const QString &name, const QString &value);

// --- Characters and pieces ---

// `text` with every character of `characters` replaced by `replacement`.
QString stringByReplacingCharactersInSet(const QString &text, const CharacterSet &characters,
                                         const QString &replacement);
struct Occurrences {
    qsizetype count = 0;
    qsizetype first = -1;  // position of the first one; -1 when there is none
};
// The non-overlapping occurrences of `string` in `text`, case-sensitive.
Occurrences occurrencesOfString(const QString &text, const QString &string);
// The first user-perceived character (which may be several code units, as for
// accented letters written decomposed or emoji); none for empty text.
std::optional<QString> firstCharacter(const QString &text);
struct TextRange {
    qsizetype location = 0;
    qsizetype length = 0;
    bool operator==(const TextRange &) const = default;
};
// The first run of consecutive characters that are all in `characters`;
// none when `text` has none of them.
std::optional<TextRange> rangeOfCharactersInSet(const QString &text,
                                                const CharacterSet &characters);
// Appends `string` to `text`, preceded by `separator` when `text` is not
// empty; an empty `string` appends nothing.
void appendString(QString &text, const QString &string, const QString &separator);
void appendStringWithSpace(QString &text, const QString &string);

// --- Capitalisation ---
// The smart forms change only text that has no upper-case letter at all, so
// that whatever the user capitalised on purpose ("McCartney", "iPhone",
// "van Gogh") stays as typed.

// The first character in upper case when it is a letter, the rest as it is.
QString initialCapitalizedString(const QString &text);
// All in upper case when typed in lower case ("sw1a 1aa" → "SW1A 1AA").
QString smartUppercaseString(const QString &text);
// Every word with an initial capital when typed in lower case. Words are runs
// of letters and digits; an apostrophe after a single letter starts a new one
// ("jean-luc o'neill" → "Jean-Luc O'Neill", but "don't" → "Don't"), and a
// word that starts with a digit is left alone ("21st").
QString smartCapitalizedString(const QString &text);
// As smartCapitalizedString(), but the name particles (van, von, der, den, de,
// da, di, du, la, le, del, della, dos, das, ten, ter, zu) stay in lower case
// unless the name is that one word, and "mc" is followed by a capital
// ("van der berg" → "van der Berg", "le" → "Le", "mcdonald" → "McDonald").
QString smartCapitalizedStringForLastName(const QString &text);
// As smartCapitalizedString() for a street address: compass points and
// "po" in upper case ("NW", "PO Box"), a letter after a house number in upper
// case ("12b" → "12B"), ordinals left alone ("21st").
QString smartCapitalizedStringForAddress(const QString &text);
