#include "ical/ICalTextWriter.h"

#include <libical/ical.h>

#include <QTimeZone>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "model/foundation/WallClock.h"

namespace {

// The library folds a line (CRLF included) of 75 octets or more.
constexpr qsizetype kTextWriterLineLimit = 75;

// Where the next folded line starts, as the library chooses it.
qsizetype textWriterNextLineStart(const char *start, qsizetype left) {
    if (left < kTextWriterLineLimit)
        return left;
    for (qsizetype at = kTextWriterLineLimit - 2; at > 0; --at) {
        if (start[at] == ';' || start[at] == ':' || start[at] == ' ')
            return at + 1;
    }
    for (qsizetype at = kTextWriterLineLimit - 1; at > 0; --at) {
        const auto byte = static_cast<unsigned char>(start[at]);
        if ((byte & 0x80) == 0 || (byte & 0xC0) == 0xC0)
            return at;
    }
    return kTextWriterLineLimit - 1;
}

enum class TextWriterEscape { Text, Plain, Raw, Parameter };

// Room for `units` UTF-16 units of `text` at the end of `out`, growing
// geometrically: three octets a unit is the most either UTF-8 or an escape
// needs.
char *textWriterRoom(QByteArray &out, qsizetype units) {
    const qsizetype needed = out.size() + 3 * units;
    if (out.capacity() < needed)
        out.reserve(std::max(needed, 2 * out.capacity()));
    const qsizetype at = out.size();
    out.resize(needed);
    return out.data() + at;
}

// `bytes` at the end of `out`, without the general insertion of append().
inline void textWriterPut(QByteArray &out, QByteArrayView bytes) {
    if (bytes.isEmpty())
        return;
    const qsizetype at = out.size();
    if (out.capacity() < at + bytes.size())
        out.reserve(std::max(at + bytes.size(), 2 * out.capacity()));
    out.resize(at + bytes.size());
    std::memcpy(out.data() + at, bytes.data(), std::size_t(bytes.size()));
}

// One ASCII character as the value (or parameter) is written.
template <TextWriterEscape escape>
inline char *textWriterAscii(char *to, char16_t c) {
    if constexpr (escape == TextWriterEscape::Raw) {
        *to++ = char(c);
    } else if constexpr (escape == TextWriterEscape::Parameter) {
        if (c == '\n') {
            *to++ = '^';
            *to++ = 'n';
        } else if (c == '"') {
            *to++ = '^';
            *to++ = '\'';
        } else {
            const bool safe = c == ' ' || c == '\t' || c == '!' || (c >= 0x23 && c <= 0x7e);
            *to++ = safe ? char(c) : ' ';
        }
    } else {
        if (escape == TextWriterEscape::Text && (c == ';' || c == ',')) {
            *to++ = '\\';
            *to++ = char(c);
        } else if (c == '\\') {
            *to++ = '\\';
            *to++ = '\\';
        } else if (c == '\n') {
            *to++ = '\\';
            *to++ = 'n';
        } else if (c != '\r' && c != '\b' && c != '\f') {
            *to++ = char(c);
        }
    }
    return to;
}

// The text up to its first NUL, which ends a C string.
template <typename Text>
Text textWriterUntilNul(Text text) {
    for (qsizetype at = 0; at < text.size(); ++at) {
        if (text[at].unicode() == 0)
            return text.first(at);
    }
    return text;
}

// Writes the text at `to`, which has room for three octets a unit; returns
// where the text ends.
template <TextWriterEscape escape>
char *textWriterEncode(char *to, QStringView text) {
    const char16_t *from = text.utf16();
    const char16_t *const end = from + text.size();
    while (from < end) {
        const char16_t c = *from++;
        if (c < 0x80) {
            if (c == 0)
                break;
            to = textWriterAscii<escape>(to, c);
        } else if (c < 0x800) {
            *to++ = char(0xC0 | (c >> 6));
            *to++ = char(0x80 | (c & 0x3F));
        } else if (QChar::isHighSurrogate(c) && from < end && QChar::isLowSurrogate(*from)) {
            const char32_t u = QChar::surrogateToUcs4(c, *from++);
            *to++ = char(0xF0 | (u >> 18));
            *to++ = char(0x80 | ((u >> 12) & 0x3F));
            *to++ = char(0x80 | ((u >> 6) & 0x3F));
            *to++ = char(0x80 | (u & 0x3F));
        } else if (QChar::isSurrogate(c)) {
            *to++ = '?';  // a lone surrogate, as toUtf8() writes it
        } else {
            *to++ = char(0xE0 | (c >> 12));
            *to++ = char(0x80 | ((c >> 6) & 0x3F));
            *to++ = char(0x80 | (c & 0x3F));
        }
    }
    return to;
}

template <TextWriterEscape escape>
char *textWriterEncode(char *to, QLatin1String text) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte == 0)
            break;
        if (byte < 0x80) {
            to = textWriterAscii<escape>(to, byte);
        } else {
            *to++ = char(0xC0 | (byte >> 6));
            *to++ = char(0x80 | (byte & 0x3F));
        }
    }
    return to;
}

template <TextWriterEscape escape, typename Text>
void textWriterAppend(QByteArray &out, Text text) {
    char *const at = textWriterRoom(out, text.size());
    out.resize(textWriterEncode<escape>(at, text) - out.constData());
}

template <typename Text>
bool textWriterNeedsQuotes(Text value) {
    if (value.isEmpty())
        return true;
    for (qsizetype at = 0; at < value.size(); ++at) {
        const auto c = value[at].unicode();
        if (c == ';' || c == ':' || c == ',')
            return true;
    }
    return false;
}

// ";name=value", made in room for all of it at once.
template <typename Text>
void textWriterParameter(QByteArray &out, QByteArrayView name, Text value) {
    value = textWriterUntilNul(value);
    const bool quoted = textWriterNeedsQuotes(value);
    // The name, ";", "=" and two quotes, in units of three octets.
    char *to = textWriterRoom(out, value.size() + (name.size() + 4 + 2) / 3);
    *to++ = ';';
    std::memcpy(to, name.data(), std::size_t(name.size()));
    to += name.size();
    *to++ = '=';
    if (quoted)
        *to++ = '"';
    to = textWriterEncode<TextWriterEscape::Parameter>(to, value);
    if (quoted)
        *to++ = '"';
    out.resize(to - out.constData());
}

char *textWriterDigits(char *to, int value, int width) {
    for (int at = width - 1; at >= 0; --at, value /= 10)
        to[at] = char('0' + value % 10);
    return to + width;
}

}  // namespace

void ICalTextWriter::begin(QByteArrayView component) {
    textWriterPut(m_out, "BEGIN:");
    textWriterPut(m_out, component);
    textWriterPut(m_out, "\r\n");
}

void ICalTextWriter::end(QByteArrayView component) {
    textWriterPut(m_out, "END:");
    textWriterPut(m_out, component);
    textWriterPut(m_out, "\r\n");
}

ICalTextWriter &ICalTextWriter::property(QByteArrayView name) {
    m_lineStart = m_out.size();
    textWriterPut(m_out, name);
    return *this;
}

ICalTextWriter &ICalTextWriter::valueType(QByteArrayView type) {
    textWriterPut(m_out, ";VALUE=");
    textWriterPut(m_out, type);
    return *this;
}

ICalTextWriter &ICalTextWriter::parameter(QByteArrayView name, QStringView value) {
    textWriterParameter(m_out, name, value);
    return *this;
}

ICalTextWriter &ICalTextWriter::parameter(QByteArrayView name, QLatin1String value) {
    textWriterParameter(m_out, name, value);
    return *this;
}

void ICalTextWriter::text(QStringView value) {
    textWriterPut(m_out, ":");
    textWriterAppend<TextWriterEscape::Text>(m_out, value);
    finish();
}

void ICalTextWriter::plainText(QStringView value) {
    textWriterPut(m_out, ":");
    textWriterAppend<TextWriterEscape::Plain>(m_out, value);
    finish();
}

void ICalTextWriter::plainText(QLatin1String value) {
    textWriterPut(m_out, ":");
    textWriterAppend<TextWriterEscape::Plain>(m_out, value);
    finish();
}

void ICalTextWriter::raw(QStringView value) {
    textWriterPut(m_out, ":");
    textWriterAppend<TextWriterEscape::Raw>(m_out, value);
    finish();
}

void ICalTextWriter::address(QStringView value) {
    textWriterPut(m_out, value.contains(u'@') ? QByteArrayView(":mailto:") : QByteArrayView(":"));
    textWriterAppend<TextWriterEscape::Raw>(m_out, value);
    finish();
}

void ICalTextWriter::raw(QByteArrayView value) {
    const qsizetype nul = value.indexOf('\0');
    textWriterPut(m_out, ":");
    textWriterPut(m_out, nul < 0 ? value : value.first(nul));
    finish();
}

void ICalTextWriter::number(int value) {
    char text[16] = {':'};
    const char *const end = std::to_chars(text + 1, text + sizeof text, value).ptr;
    textWriterPut(m_out, QByteArrayView(text, end - text));
    finish();
}

void ICalTextWriter::duration(int seconds) {
    constexpr qint64 kMinute = 60, kHour = 60 * kMinute, kDay = 24 * kHour, kWeek = 7 * kDay;
    char text[64] = {':'};
    char *to = text + 1;
    const auto part = [&to, &text](qint64 count, char unit) {
        if (count == 0)
            return;
        to = std::to_chars(to, text + sizeof text, count).ptr;
        *to++ = unit;
    };
    qint64 left = seconds;  // 64 bits: the lowest int has no opposite in an int
    if (left == 0) {
        textWriterPut(m_out, ":PT0S");
        finish();
        return;
    }
    if (left < 0) {
        *to++ = '-';
        left = -left;
    }
    *to++ = 'P';
    if (left % kWeek == 0) {
        part(left / kWeek, 'W');
    } else {
        part(left / kDay, 'D');
        left %= kDay;
        if (left != 0) {
            *to++ = 'T';
            part(left / kHour, 'H');
            part(left % kHour / kMinute, 'M');
            part(left % kMinute, 'S');
        }
    }
    textWriterPut(m_out, QByteArrayView(text, to - text));
    finish();
}

void ICalTextWriter::appendTime(int year, int month, int day, int hour, int minute, int second,
                                bool utc) {
    if (year < 0 || year > 9999 || month < 0 || month > 99 || day < 0 || day > 99 || hour < 0 ||
        hour > 99 || minute < 0 || minute > 99 || second < 0 || second > 99) {
        char text[80];
        const int length = std::snprintf(text, sizeof text, ":%04d%02d%02dT%02d%02d%02d%s", year,
                                         month, day, hour, minute, second, utc ? "Z" : "");
        textWriterPut(m_out, QByteArrayView(text, length));
    } else {
        char text[17] = {':'};
        char *to = textWriterDigits(text + 1, year, 4);
        to = textWriterDigits(to, month, 2);
        to = textWriterDigits(to, day, 2);
        *to++ = 'T';
        to = textWriterDigits(to, hour, 2);
        to = textWriterDigits(to, minute, 2);
        to = textWriterDigits(to, second, 2);
        if (utc)
            *to++ = 'Z';
        textWriterPut(m_out, QByteArrayView(text, to - text));
    }
    finish();
}

void ICalTextWriter::utcTime(Date date) {
    const WallClock clock =
        WallClock::fromLocalSeconds(double(std::time_t(date.secondsSince1970())));
    appendTime(clock.year, clock.month, clock.day, clock.hour, clock.minute, clock.second, true);
}

void ICalTextWriter::date(QByteArrayView name, const CalendarDate &date, bool allDay, bool floating,
                          bool thisAndFuture) {
    property(name);
    if (allDay) {
        valueType("DATE");
        if (thisAndFuture)
            parameter("RANGE", QLatin1String("THISANDFUTURE"));
        if (floating) {
            // An all-day floating date is no date the library takes: it has
            // always written zeros, but an RDATE's time.
            if (name != "RDATE") {
                m_out.append(":00000000");
                finish();
                return;
            }
            const WallClock clock = date.wallClock();
            appendTime(clock.year, clock.month, clock.day, clock.hour, clock.minute, clock.second,
                       false);
            return;
        }
        const WallClock day = WallClock::fromLocalSeconds(date.date().secondsSince1970());
        if (day.year < 0 || day.year > 9999) {
            char text[40];
            const int length =
                std::snprintf(text, sizeof text, "%04d%02d%02d", day.year, day.month, day.day);
            m_out.append(':').append(text, length);
        } else {
            char digits[8];
            textWriterDigits(textWriterDigits(textWriterDigits(digits, day.year, 4), day.month, 2),
                             day.day, 2);
            m_out.append(':').append(digits, sizeof digits);
        }
        finish();
        return;
    }
    bool utc = false;
    if (!floating) {
        if (date.isUniversal()) {
            utc = true;
        } else {
            const QByteArray id = date.timeZone().id();
            parameter("TZID", QLatin1String(id));
            // A zone the library takes for UTC writes its times with "Z".
            const QByteArray effective = date.timeZone().isValid() ? id : date.effectiveZone().id();
            utc = effective.isEmpty() || effective == "UTC" || effective == "GMT";
        }
    }
    if (thisAndFuture)
        parameter("RANGE", QLatin1String("THISANDFUTURE"));
    const WallClock clock = date.wallClock();
    appendTime(clock.year, clock.month, clock.day, clock.hour, clock.minute, clock.second, utc);
}

void ICalTextWriter::libraryProperty(icalproperty *property) {
    char *text = icalproperty_as_ical_string_r(property);
    m_out.append(text);
    icalmemory_free_buffer(text);
    icalproperty_free(property);
}

void ICalTextWriter::finish() {
    textWriterPut(m_out, "\r\n");
    const qsizetype length = m_out.size() - m_lineStart;
    if (length < kTextWriterLineLimit)
        return;
    m_fold.resize(length);
    std::memcpy(m_fold.data(), m_out.constData() + m_lineStart, std::size_t(length));
    m_out.truncate(m_lineStart);
    const char *line = m_fold.constData();
    qsizetype left = m_fold.size();
    for (bool first = true; left > 0; first = false) {
        const qsizetype next = textWriterNextLineStart(line, left);
        if (!first)
            m_out.append("\r\n ");
        m_out.append(line, next);
        line += next;
        left -= next;
    }
}
