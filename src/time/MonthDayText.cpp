#include "time/MonthDayText.h"

#include <QDate>
#include <QRegularExpression>
#include <vector>

#include "model/foundation/Clock.h"
#include "model/foundation/WallClock.h"

namespace {

constexpr int kLeapYearWithoutYear = 1604;

// The month a word names in the locale (or in English): a full or
// abbreviated name, or a prefix of at least three letters of one.
std::optional<int> monthNamed(const QLocale &locale, const QString &word) {
    for (const QLocale &names : {locale, QLocale::c()}) {
        for (int month = 1; month <= 12; ++month) {
            for (const QString &name : {names.monthName(month, QLocale::LongFormat),
                                        names.monthName(month, QLocale::ShortFormat),
                                        names.standaloneMonthName(month, QLocale::LongFormat),
                                        names.standaloneMonthName(month, QLocale::ShortFormat)}) {
                const QString bare = name.toLower().remove(QLatin1Char('.'));
                if (bare == word || (word.size() >= 3 && bare.startsWith(word)))
                    return month;
            }
        }
    }
    return std::nullopt;
}

// A two-digit year in the century that puts it within 80 years before and
// 20 years after now.
int fullYear(const QString &digits) {
    const int year = digits.toInt();
    if (digits.size() > 2)
        return year;
    const int now = WallClock::of(Clock::shared().now(), QTimeZone::utc()).year;
    int full = now - now % 100 + year;
    if (full > now + 20)
        full -= 100;
    return full;
}

std::optional<DateComponents> parseLeniently(const GregorianCalendar &calendar,
                                             const QString &text) {
    static const QRegularExpression tokens(QStringLiteral(R"(\p{L}+|\d+)"));
    std::optional<int> month;
    QStringList numbers;
    for (const QRegularExpressionMatch &match : tokens.globalMatch(text)) {
        const QString token = match.captured().toLower();
        if (token.front().isDigit())
            numbers.append(token);
        else if (!month)
            month = monthNamed(calendar.locale(), token);
    }
    const QString order = calendar.locale().dateFormat(QLocale::ShortFormat);
    const auto before = [&order](QChar a, QChar b) {
        return order.indexOf(a, 0, Qt::CaseInsensitive) < order.indexOf(b, 0, Qt::CaseInsensitive);
    };
    // A number of three or more digits is the year wherever it stands.
    qsizetype yearIndex = -1;
    for (qsizetype i = 0; i < numbers.size(); ++i) {
        if (numbers[i].size() > 2)
            yearIndex = i;
    }
    QString yearText;
    if (yearIndex >= 0)
        yearText = numbers.takeAt(yearIndex);
    else if (numbers.size() == (month ? 2 : 3))
        yearText = numbers.takeAt(before(QLatin1Char('y'), QLatin1Char('d')) &&
                                          (month || before(QLatin1Char('y'), QLatin1Char('M')))
                                      ? 0
                                      : numbers.size() - 1);
    if (yearText.isEmpty() || numbers.size() != (month ? 1 : 2))
        return std::nullopt;
    int day = numbers.first().toInt();
    if (!month) {
        const bool monthFirst = before(QLatin1Char('M'), QLatin1Char('d'));
        month = numbers[monthFirst ? 0 : 1].toInt();
        day = numbers[monthFirst ? 1 : 0].toInt();
    }
    const int year = fullYear(yearText);
    if (*month < 1 || *month > 12 || day < 1 || day > WallClock::daysInMonth(year, *month))
        return std::nullopt;
    DateComponents components;
    components.year = year;
    components.month = month;
    components.day = day;
    return components;
}

// A date format cut into fields ("MMMM", "yyyy") and the literal text
// between them.
struct FormatPart {
    bool isField;
    QString text;
};

std::vector<FormatPart> splitFormat(const QString &format) {
    std::vector<FormatPart> parts;
    const auto appendLiteral = [&parts](const QString &text) {
        if (!parts.empty() && !parts.back().isField)
            parts.back().text += text;
        else
            parts.push_back({false, text});
    };
    for (qsizetype i = 0; i < format.size();) {
        const QChar c = format[i];
        if (c == QLatin1Char('\'')) {
            const qsizetype end = format.indexOf(QLatin1Char('\''), i + 1);
            const QString quoted = format.mid(i + 1, end < 0 ? -1 : end - i - 1);
            appendLiteral(quoted.isEmpty() ? QStringLiteral("'") : quoted);
            i = end < 0 ? format.size() : end + 1;
        } else if (c.isLetter()) {
            qsizetype end = i;
            while (end < format.size() && format[end] == c)
                ++end;
            parts.push_back({true, format.mid(i, end - i)});
            i = end;
        } else {
            appendLiteral(c);
            ++i;
        }
    }
    return parts;
}

// The format without its year (when asked) and weekday fields, each taken
// out with the literal text that joins it to the rest.
QString formatWithout(const QString &format, bool withoutYear) {
    std::vector<FormatPart> parts = splitFormat(format);
    const auto dropped = [withoutYear](const FormatPart &part) {
        return part.isField && ((withoutYear && part.text.startsWith(QLatin1Char('y'))) ||
                                part.text.startsWith(QLatin1String("ddd")));
    };
    for (std::size_t i = 0; i < parts.size();) {
        if (!dropped(parts[i])) {
            ++i;
            continue;
        }
        parts.erase(parts.begin() + std::ptrdiff_t(i));
        if (i >= 2 && !parts[i - 1].isField) {
            parts.erase(parts.begin() + std::ptrdiff_t(i - 1));
            --i;
        } else if (i < parts.size() && !parts[i].isField) {
            parts.erase(parts.begin() + std::ptrdiff_t(i));
        }
    }
    QString result;
    for (const FormatPart &part : parts) {
        const bool needsQuotes =
            !part.isField && part.text.contains(QRegularExpression(QStringLiteral(R"([\p{L}'])")));
        result += needsQuotes
                      ? QLatin1Char('\'') +
                            QString(part.text).replace(QLatin1String("'"), QLatin1String("''")) +
                            QLatin1Char('\'')
                      : part.text;
    }
    return result.trimmed();
}

}  // namespace

namespace MonthDayText {

std::optional<DateComponents> componentsFromString(const GregorianCalendar &calendar,
                                                   const QString &text) {
    if (auto components = parseLeniently(calendar, text))
        return components;
    const bool formatStartsWithYear = calendar.locale()
                                          .dateFormat(QLocale::ShortFormat)
                                          .startsWith(QLatin1Char('y'), Qt::CaseInsensitive);
    const bool yearFirst = formatStartsWithYear != calendar.isRightToLeft();
    const QString withYear = yearFirst ? QStringLiteral("%2, %1") : QStringLiteral("%1, %2");
    auto components = parseLeniently(calendar, withYear.arg(text).arg(kLeapYearWithoutYear));
    if (components)
        components->year.reset();
    return components;
}

QString stringFromComponents(const GregorianCalendar &calendar, const DateComponents &components,
                             bool verbose, Date *date) {
    DateComponents day;
    day.year = components.year.value_or(kLeapYearWithoutYear);
    day.month = components.month;
    day.day = components.day;
    if (date)
        *date = calendar.dateFromComponents(day);
    const QString format = formatWithout(
        calendar.locale().dateFormat(verbose ? QLocale::LongFormat : QLocale::ShortFormat),
        !components.year.has_value());
    return calendar.locale().toString(QDate(*day.year, day.month.value_or(1), day.day.value_or(1)),
                                      format);
}

}  // namespace MonthDayText
