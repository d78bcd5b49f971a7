#include "model/util/TextShaping.h"

#include <QRegularExpression>
#include <QSet>
#include <QTextBoundaryFinder>
#include <functional>

#include "model/util/TextEncoding.h"

namespace {

// The characters a URL may hold besides ASCII letters and digits, and the
// sets kept by each kind of escaping.
constexpr QStringView kStandardKept = u"-._~:/?#[]@!$&'()*+,;=%";
constexpr QStringView kCleanURLKept = u"-._:/?#[]!&'()*;=";
constexpr QStringView kSegmentKept = u"-._:?#[]!&'()*;=";
constexpr QStringView kQueryValueKept = u"-._:/[]!'()*;";
constexpr QStringView kMailToKept = u"-._~!$'()*+,;:@";

bool isAsciiAlphanumeric(uchar c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

QString percentEscaped(const QString &text, QStringView kept) {
    static constexpr char kHex[] = "0123456789ABCDEF";
    QString escaped;
    for (const char byte : text.toUtf8()) {
        const uchar c = uchar(byte);
        if (isAsciiAlphanumeric(c) || (c < 0x80 && kept.contains(QLatin1Char(char(c))))) {
            escaped += QLatin1Char(char(c));
        } else {
            escaped += QLatin1Char('%');
            escaped += QLatin1Char(kHex[c >> 4]);
            escaped += QLatin1Char(kHex[c & 15]);
        }
    }
    return escaped;
}

int hexDigitValue(QChar c) {
    if (c >= QLatin1Char('0') && c <= QLatin1Char('9'))
        return c.unicode() - '0';
    if (c >= QLatin1Char('a') && c <= QLatin1Char('f'))
        return c.unicode() - 'a' + 10;
    if (c >= QLatin1Char('A') && c <= QLatin1Char('F'))
        return c.unicode() - 'A' + 10;
    return -1;
}

bool startsWord(const QString &text, qsizetype i) {
    const QChar c = text[i];
    if (!c.isLetterOrNumber())
        return false;
    if (i == 0)
        return true;
    const QChar before = text[i - 1];
    const bool apostrophe = before == QLatin1Char('\'') || before == QChar(0x2019);
    if (!apostrophe)
        return !before.isLetterOrNumber() && !before.isMark();
    // "o'neill" and "d'angelo" begin a new word after the apostrophe; "don't" does not.
    return i >= 2 && text[i - 2].isLetter() && (i == 2 || !text[i - 3].isLetterOrNumber());
}

bool continuesWord(const QString &text, qsizetype i) {
    return text[i].isLetterOrNumber() || text[i].isMark();
}

// Makes a word into its new form; gets the word and the number of words.
using WordShape = std::function<QString(const QString &, qsizetype)>;

// `text` with every word replaced by what `shape` makes of it.
QString reshapedWords(const QString &text, const WordShape &shape) {
    QList<TextRange> words;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!startsWord(text, i))
            continue;
        qsizetype end = i + 1;
        while (end < text.size() && continuesWord(text, end))
            ++end;
        words.append({i, end - i});
        i = end - 1;
    }
    QString result = text;
    for (qsizetype n = words.size() - 1; n >= 0; --n) {
        const TextRange &word = words[n];
        result.replace(word.location, word.length,
                       shape(text.mid(word.location, word.length), words.size()));
    }
    return result;
}

bool hasUpperCase(const QString &text) {
    return std::any_of(text.begin(), text.end(),
                       [](QChar c) { return c.isUpper() || c.isTitleCase(); });
}

QString capitalizedWord(const QString &word) {
    if (word.isEmpty() || !word[0].isLetter())
        return word;
    return QChar(QChar::toTitleCase(word[0].unicode())) + word.mid(1);
}

QString smartCapitalized(const QString &text, const WordShape &shape) {
    return hasUpperCase(text) ? text : reshapedWords(text, shape);
}

}  // namespace

QString stringByAddingStandardPercentEscapes(const QString &text) {
    return percentEscaped(text, kStandardKept);
}

QString stringByAddingPercentEscapes(const QString &text) {
    if (const std::optional<QString> raw = stringByRemovingPercentEscapes(text))
        return percentEscaped(*raw, kCleanURLKept);
    // Escapes that are not UTF-8 are kept as they are.
    return percentEscaped(text, kCleanURLKept.toString() + QLatin1Char('%'));
}

QString stringByAddingPercentEscapesIncludingSlash(const QString &text) {
    return percentEscaped(text, kSegmentKept);
}

QString stringByAddingPercentEscapesIncludingAmpersand(const QString &text) {
    return percentEscaped(text, kQueryValueKept);
}

std::optional<QString> stringByRemovingPercentEscapes(const QString &text) {
    QByteArray bytes;
    qsizetype runStart = 0;  // start of the text since the last escape
    for (qsizetype i = 0; i + 2 < text.size(); ++i) {
        const int high = text[i] == QLatin1Char('%') ? hexDigitValue(text[i + 1]) : -1;
        const int low = high >= 0 ? hexDigitValue(text[i + 2]) : -1;
        if (low < 0)
            continue;
        bytes += QStringView(text).mid(runStart, i - runStart).toUtf8();
        bytes += char(high * 16 + low);
        runStart = i + 3;
        i += 2;
    }
    bytes += QStringView(text).mid(runStart).toUtf8();
    return TextEncoding::utf8().decode(bytes);
}

QString stringByHTMLEncoding(const QString &text) {
    return text.toHtmlEscaped().replace(QLatin1Char('\''), QLatin1String("&#39;"));
}

QString stringByMailToEncoding(const QString &address) {
    return percentEscaped(address, kMailToKept);
}

QString stringByRemovingMailToEncoding(const QString &text) {
    return stringByRemovingPercentEscapes(text).value_or(text);
}

QString stringByFileSystemEncoding(const QString &text) {
    static constexpr qsizetype kMaximumNameBytes = 255;
    QString name = text;
    name.replace(QLatin1Char('/'), QLatin1Char('-')).replace(QChar(0), QLatin1Char('-'));
    if (name.isEmpty() || name == QLatin1String(".") || name == QLatin1String(".."))
        return QStringLiteral("_");
    QTextBoundaryFinder boundaries(QTextBoundaryFinder::Grapheme, name);
    boundaries.toEnd();
    qsizetype cut = name.size();
    while (name.left(cut).toUtf8().size() > kMaximumNameBytes)
        cut = boundaries.toPreviousBoundary();
    return name.left(cut);
}

QString stringByAppendingParameter(const QString &url, const QString &name, const QString &value) {
    const qsizetype fragment = url.indexOf(QLatin1Char('#'));
    const QString base = fragment < 0 ? url : url.left(fragment);
    const QString separator =
        base.contains(QLatin1Char('?'))
            ? (base.endsWith(QLatin1Char('?')) || base.endsWith(QLatin1Char('&'))
                   ? QString()
                   : QStringLiteral("&"))
            : QStringLiteral("?");
    return base + separator + stringByAddingPercentEscapesIncludingAmpersand(name) +
           QLatin1Char('=') + stringByAddingPercentEscapesIncludingAmpersand(value) +
           (fragment < 0 ? QString() : url.mid(fragment));
}

QString stringByReplacingCharactersInSet(const QString &text, const CharacterSet &characters,
                                         const QString &replacement) {
    QString result;
    result.reserve(text.size());
    for (const QChar c : text) {
        if (characters.contains(c))
            result += replacement;
        else
            result += c;
    }
    return result;
}

Occurrences occurrencesOfString(const QString &text, const QString &string) {
    Occurrences occurrences;
    if (string.isEmpty())
        return occurrences;
    for (qsizetype at = text.indexOf(string); at >= 0;
         at = text.indexOf(string, at + string.size())) {
        if (occurrences.count++ == 0)
            occurrences.first = at;
    }
    return occurrences;
}

std::optional<QString> firstCharacter(const QString &text) {
    if (text.isEmpty())
        return std::nullopt;
    QTextBoundaryFinder boundaries(QTextBoundaryFinder::Grapheme, text);
    return text.left(boundaries.toNextBoundary());
}

std::optional<TextRange> rangeOfCharactersInSet(const QString &text,
                                                const CharacterSet &characters) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!characters.contains(text[i]))
            continue;
        qsizetype end = i + 1;
        while (end < text.size() && characters.contains(text[end]))
            ++end;
        return TextRange{i, end - i};
    }
    return std::nullopt;
}

void appendString(QString &text, const QString &string, const QString &separator) {
    if (string.isEmpty())
        return;
    if (!text.isEmpty())
        text += separator;
    text += string;
}

void appendStringWithSpace(QString &text, const QString &string) {
    appendString(text, string, QStringLiteral(" "));
}

QString initialCapitalizedString(const QString &text) {
    return capitalizedWord(text);
}

QString smartUppercaseString(const QString &text) {
    return hasUpperCase(text) ? text : text.toUpper();
}

QString smartCapitalizedString(const QString &text) {
    return smartCapitalized(text,
                            [](const QString &word, qsizetype) { return capitalizedWord(word); });
}

QString smartCapitalizedStringForLastName(const QString &text) {
    static const QSet<QString> particles{
        QStringLiteral("van"), QStringLiteral("von"), QStringLiteral("der"),
        QStringLiteral("den"), QStringLiteral("de"),  QStringLiteral("da"),
        QStringLiteral("di"),  QStringLiteral("du"),  QStringLiteral("la"),
        QStringLiteral("le"),  QStringLiteral("del"), QStringLiteral("della"),
        QStringLiteral("dos"), QStringLiteral("das"), QStringLiteral("ten"),
        QStringLiteral("ter"), QStringLiteral("zu")};
    return smartCapitalized(text, [](const QString &word, qsizetype count) {
        if (count > 1 && particles.contains(word))
            return word;
        if (word.size() > 2 && word.startsWith(QLatin1String("mc")))
            return QStringLiteral("Mc") + capitalizedWord(word.mid(2));
        return capitalizedWord(word);
    });
}

QString smartCapitalizedStringForAddress(const QString &text) {
    static const QSet<QString> upperCaseWords{
        QStringLiteral("n"),  QStringLiteral("s"),  QStringLiteral("e"),
        QStringLiteral("w"),  QStringLiteral("ne"), QStringLiteral("nw"),
        QStringLiteral("se"), QStringLiteral("sw"), QStringLiteral("po")};
    static const QRegularExpression houseNumberWithLetter(QStringLiteral("^\\d+\\p{Ll}$"));
    return smartCapitalized(text, [](const QString &word, qsizetype) {
        if (upperCaseWords.contains(word) || houseNumberWithLetter.match(word).hasMatch())
            return word.toUpper();
        return capitalizedWord(word);
    });
}
