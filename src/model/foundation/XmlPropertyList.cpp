#include "model/foundation/XmlPropertyList.h"

#include <QDateTime>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>
#include <cmath>
#include <limits>

#include "model/foundation/Date.h"
#include "model/foundation/Format.h"
#include "model/foundation/PropertyList.h"

namespace XmlPropertyList {
namespace {

using PropertyList::Error;

const QString kUIDKey = QStringLiteral("CF$UID");

// The first and the last second XML dates can carry: 0001-01-01 to the end of 9999.
const double kFirstDate =
    Date::fromDateTime(QDateTime(QDate(1, 1, 1), QTime(0, 0), Qt::UTC)).secondsSinceReference();
const double kEndOfDates =
    Date::fromDateTime(QDateTime(QDate(10000, 1, 1), QTime(0, 0), Qt::UTC)).secondsSinceReference();

// --- Reading ---------------------------------------------------------------

class Reader {
public:
    explicit Reader(const QByteArray &data) : m_xml(data) {}

    QVariant read() {
        while (m_xml.readNext() != QXmlStreamReader::StartElement) {
            if (m_xml.atEnd())
                failMalformedOr(QStringLiteral("holds no value"));
        }
        QVariant value;
        if (m_xml.name() == u"plist") {
            if (!m_xml.readNextStartElement())
                failMalformedOr(QStringLiteral("holds no value"));
            value = readValue(0);
            if (m_xml.readNextStartElement())
                fail(QStringLiteral("holds more than one value"));
        } else {
            value = readValue(0);
        }
        while (!m_xml.atEnd())
            m_xml.readNext();
        failIfMalformed();
        return value;
    }

private:
    [[noreturn]] void fail(const QString &reason) const {
        throw Error(
            format("XML property list %@ (line %ld)", reason, m_xml.lineNumber()).toStdString());
    }

    void failIfMalformed() const {
        if (m_xml.hasError())
            fail(format("is not well formed: %@", m_xml.errorString()));
    }

    // Where a value was expected and none came: the document's own error, if
    // it has one, else `reason`.
    [[noreturn]] void failMalformedOr(const QString &reason) const {
        failIfMalformed();
        fail(reason);
    }

    QString readText() {
        const QString text = m_xml.readElementText(QXmlStreamReader::ErrorOnUnexpectedElement);
        failIfMalformed();
        return text;
    }

    // At the start element of a value; returns after its end element.
    QVariant readValue(int depth) {
        const QString name = m_xml.name().toString();
        if (name == u"dict" || name == u"array") {
            if (depth >= PropertyList::kMaximumDepth)
                fail(QStringLiteral("is nested too deeply"));
            return name == u"dict" ? readDictionary(depth) : readArray(depth);
        }
        if (name == u"key")
            fail(QStringLiteral("has a <key> outside a dictionary"));
        static const QStringList kScalars = {QStringLiteral("string"), QStringLiteral("integer"),
                                             QStringLiteral("real"),   QStringLiteral("true"),
                                             QStringLiteral("false"),  QStringLiteral("date"),
                                             QStringLiteral("data")};
        if (!kScalars.contains(name))
            fail(format("has the unknown element <%@>", name));
        const QString text = readText();
        if (name == u"string")
            return text;
        if (name == u"integer")
            return integer(text);
        if (name == u"real")
            return real(text);
        if (name == u"date")
            return date(text);
        if (name == u"data")
            return data(text);
        return name == u"true";
    }

    QVariant readDictionary(int depth) {
        QVariantMap map;
        while (m_xml.readNextStartElement()) {
            if (m_xml.name() != u"key")
                fail(format("has <%@> where a dictionary key belongs", m_xml.name().toString()));
            const QString key = readText();
            if (!m_xml.readNextStartElement())
                failMalformedOr(format("has no value for the key \"%@\"", key));
            map.insert(key, readValue(depth + 1));
        }
        failIfMalformed();
        const QVariant uid = map.size() == 1 ? map.value(kUIDKey) : QVariant();
        if (uid.typeId() == QMetaType::LongLong && uid.toLongLong() >= 0)
            return QVariant::fromValue(PropertyList::UID{uid.toULongLong()});
        if (uid.typeId() == QMetaType::ULongLong)
            return QVariant::fromValue(PropertyList::UID{uid.toULongLong()});
        return map;
    }

    QVariant readArray(int depth) {
        QVariantList list;
        while (m_xml.readNextStartElement())
            list.append(readValue(depth + 1));
        failIfMalformed();
        return list;
    }

    QVariant integer(const QString &text) const {
        QStringView digits = QStringView(text).trimmed();
        const bool negative = digits.startsWith(u'-');
        if (negative || digits.startsWith(u'+'))
            digits = digits.mid(1);
        int base = 10;
        if (digits.startsWith(u"0x") || digits.startsWith(u"0X")) {
            base = 16;
            digits = digits.mid(2);
        }
        bool ok = !digits.isEmpty() && digits.front().isLetterOrNumber();
        const quint64 magnitude = ok ? digits.toULongLong(&ok, base) : 0;
        constexpr quint64 kLargestSigned = quint64(std::numeric_limits<qint64>::max());
        if (ok && negative && magnitude <= kLargestSigned + 1)
            return qint64(~magnitude + 1);
        if (ok && !negative)
            return magnitude <= kLargestSigned ? QVariant(qint64(magnitude)) : QVariant(magnitude);
        fail(format("has the integer \"%@\", which is not a 64-bit number", text));
    }

    QVariant real(const QString &text) const {
        const QString word = text.trimmed().toLower();
        if (word == u"nan")
            return std::numeric_limits<double>::quiet_NaN();
        if (word == u"+infinity" || word == u"infinity" || word == u"inf" || word == u"+inf")
            return std::numeric_limits<double>::infinity();
        if (word == u"-infinity" || word == u"-inf")
            return -std::numeric_limits<double>::infinity();
        bool ok = false;
        const double value = word.toDouble(&ok);
        if (!ok)
            fail(format("has the real \"%@\", which is not a number", text));
        return value;
    }

    QVariant date(const QString &text) const {
        static const QRegularExpression pattern(
            QStringLiteral(R"(^\s*(\d{4})-(\d{2})-(\d{2})T(\d{2}):(\d{2}):(\d{2})(\.\d+)?Z\s*$)"));
        const QRegularExpressionMatch match = pattern.match(text);
        const auto number = [&](int group) { return match.captured(group).toInt(); };
        const QDate day = match.hasMatch() ? QDate(number(1), number(2), number(3)) : QDate();
        const QTime time(number(4), number(5), number(6));
        if (!day.isValid() || !time.isValid())
            fail(format("has the date \"%@\", which is not yyyy-MM-ddTHH:mm:ssZ", text));
        const double fraction = match.capturedLength(7) ? match.captured(7).toDouble() : 0.0;
        return QVariant::fromValue(
            Date::fromDateTime(QDateTime(day, time, Qt::UTC)).addingSeconds(fraction));
    }

    QVariant data(const QString &text) const {
        QByteArray base64;
        base64.reserve(text.size());
        for (QChar c : text) {
            if (!c.isSpace())
                base64.append(c.unicode() < 0x80 ? char(c.unicode()) : '?');
        }
        auto decoded =
            QByteArray::fromBase64Encoding(base64, QByteArray::AbortOnBase64DecodingErrors);
        if (!decoded)
            fail(QStringLiteral("has <data> that is not base64"));
        return decoded.decoded;
    }

    QXmlStreamReader m_xml;
};

// --- Writing ---------------------------------------------------------------

// Writes an element of text. Refuses characters XML 1.0 cannot carry, and
// writes carriage returns as references, which readers keep as they are.
void writeText(QXmlStreamWriter &xml, const QString &element, const QString &text) {
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = text[i].unicode();
        bool allowed = c != 0xFFFE && c != 0xFFFF;
        if (c < 0x20)
            allowed = c == u'\t' || c == u'\n' || c == u'\r';
        else if (QChar::isLowSurrogate(c))
            allowed = false;
        else if (QChar::isHighSurrogate(c))
            allowed = i + 1 < text.size() && QChar::isLowSurrogate(text[++i].unicode());
        if (!allowed)
            throw Error(
                format("an XML property list cannot hold a string with the character U+%04X", c)
                    .toStdString());
    }
    xml.writeStartElement(element);
    const QStringList lines = text.split(u'\r');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (i > 0)
            xml.writeEntityReference(QStringLiteral("#13"));
        xml.writeCharacters(lines[i]);
    }
    xml.writeEndElement();
}

QString realText(double value) {
    if (std::isnan(value))
        return QStringLiteral("nan");
    if (std::isinf(value))
        return value > 0 ? QStringLiteral("+infinity") : QStringLiteral("-infinity");
    if (value == 0 && std::signbit(value))
        return QStringLiteral("-0");  // which the shortest form would write as "0"
    return QString::number(value, 'g', QLocale::FloatingPointShortest);
}

QString dateText(const QVariant &value) {
    const double seconds = std::floor(PropertyList::dateSecondsOf(value));
    if (seconds < kFirstDate || seconds >= kEndOfDates)
        throw Error(format("an XML property list cannot hold the date %@ seconds from 2001, "
                           "outside the years 1 to 9999",
                           seconds)
                        .toStdString());
    const QDateTime time = Date(seconds).toDateTime();
    return QString::asprintf("%04d-%02d-%02dT%02d:%02d:%02dZ", time.date().year(),
                             time.date().month(), time.date().day(), time.time().hour(),
                             time.time().minute(), time.time().second());
}

void writeValue(QXmlStreamWriter &xml, const QVariant &value, int depth) {
    const PropertyList::Kind kind = PropertyList::kindOf(value);
    const bool container =
        kind == PropertyList::Kind::Array || kind == PropertyList::Kind::Dictionary;
    if (container && depth >= PropertyList::kMaximumDepth)
        throw Error("value is nested too deeply for a property list");
    switch (kind) {
        case PropertyList::Kind::Boolean:
            xml.writeEmptyElement(value.toBool() ? QStringLiteral("true")
                                                 : QStringLiteral("false"));
            break;
        case PropertyList::Kind::Integer:
            xml.writeTextElement(QStringLiteral("integer"), QString::number(value.toLongLong()));
            break;
        case PropertyList::Kind::UnsignedInteger:
            xml.writeTextElement(QStringLiteral("integer"), QString::number(value.toULongLong()));
            break;
        case PropertyList::Kind::Real:
            xml.writeTextElement(QStringLiteral("real"), realText(value.toDouble()));
            break;
        case PropertyList::Kind::String:
            writeText(xml, QStringLiteral("string"), value.toString());
            break;
        case PropertyList::Kind::Data:
            xml.writeTextElement(QStringLiteral("data"),
                                 QString::fromLatin1(value.toByteArray().toBase64()));
            break;
        case PropertyList::Kind::Date:
            xml.writeTextElement(QStringLiteral("date"), dateText(value));
            break;
        case PropertyList::Kind::UID:
            xml.writeStartElement(QStringLiteral("dict"));
            xml.writeTextElement(QStringLiteral("key"), kUIDKey);
            xml.writeTextElement(QStringLiteral("integer"),
                                 QString::number(value.value<PropertyList::UID>().value));
            xml.writeEndElement();
            break;
        case PropertyList::Kind::Array:
            xml.writeStartElement(QStringLiteral("array"));
            for (const QVariant &item : value.toList())
                writeValue(xml, item, depth + 1);
            xml.writeEndElement();
            break;
        case PropertyList::Kind::Dictionary: {
            xml.writeStartElement(QStringLiteral("dict"));
            const QVariantMap map = value.toMap();
            for (auto it = map.begin(); it != map.end(); ++it) {
                writeText(xml, QStringLiteral("key"), it.key());
                writeValue(xml, it.value(), depth + 1);
            }
            xml.writeEndElement();
            break;
        }
    }
}

}  // namespace

QVariant read(const QByteArray &data) {
    return Reader(data).read();
}

QByteArray write(const QVariant &value) {
    QByteArray out;
    QXmlStreamWriter xml(&out);
    xml.setAutoFormatting(true);
    xml.setAutoFormattingIndent(-1);  // one tab
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("plist"));
    xml.writeAttribute(QStringLiteral("version"), QStringLiteral("1.0"));
    writeValue(xml, value, 0);
    xml.writeEndElement();
    xml.writeEndDocument();
    return out;
}

}  // namespace XmlPropertyList
