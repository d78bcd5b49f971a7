#include <gtest/gtest.h>
#include <libical/ical.h>

#include <QString>

#include "ical/ICalTextWriter.h"

namespace {

// The text writer against the iCalendar library's own writer, for texts that
// hit every escape and every way of folding a line.
QByteArray libraryText(icalproperty *property) {
    char *text = icalproperty_as_ical_string_r(property);
    const QByteArray bytes(text);
    icalmemory_free_buffer(text);
    icalproperty_free(property);
    return bytes;
}

QList<QString> trickyTexts() {
    QString everyAscii;
    for (char16_t c = 1; c < 128; ++c)
        everyAscii += QChar(c);
    QList<QString> texts{QString(),
                         QStringLiteral("plain"),
                         everyAscii,
                         QStringLiteral("a;b:c,d \"e\" ^f\\g\nh\ri\tj"),
                         QString::fromUtf8("cut\0here", 8),
                         QString(QChar(0xD800)) + QStringLiteral("lone") + QChar(0xDC00),
                         QStringLiteral("emoji 😀 and ä")};
    // Lengths around the fold, in one-, two-, three- and four-octet characters,
    // with and without places to break.
    for (const QString &unit : {QStringLiteral("a"), QStringLiteral("ä"), QStringLiteral("€"),
                                QStringLiteral("😀"), QStringLiteral("ab "), QStringLiteral("x;")})
        for (int count = 20; count < 90; count += 3)
            texts << unit.repeated(count);
    return texts;
}

TEST(ICalTextWriterTest, ValuesAreWrittenAsTheLibraryWritesThem) {
    for (const QString &value : trickyTexts()) {
        const QByteArray utf8 = value.toUtf8();
        QByteArray ours;
        ICalTextWriter writer(ours);
        writer.property("SUMMARY").text(value);
        writer.property("X-NOTE").plainText(value);
        writer.property("CATEGORIES").plainText(value);
        writer.property("URL").raw(value);
        icalproperty *note = icalproperty_new_x(utf8.constData());
        icalproperty_set_x_name(note, "X-NOTE");
        const QByteArray theirs = libraryText(icalproperty_new_summary(utf8.constData())) +
                                  libraryText(note) +
                                  libraryText(icalproperty_new_categories(utf8.constData())) +
                                  libraryText(icalproperty_new_url(utf8.constData()));
        EXPECT_EQ(ours, theirs) << value.toStdString();
    }
}

TEST(ICalTextWriterTest, ParametersAreWrittenAsTheLibraryWritesThem) {
    for (const QString &value : trickyTexts()) {
        QByteArray ours;
        ICalTextWriter writer(ours);
        writer.property("ATTENDEE")
            .parameter("CN", value)
            .parameter("X-LATIN", QLatin1String("Zo\xeb; x"))
            .raw(QByteArrayView("mailto:a@example.org"));
        writer.property("X-WAIT").valueType("DURATION").parameter("CN", value).plainText(value);
        icalproperty *attendee = icalproperty_new_attendee("mailto:a@example.org");
        icalproperty_add_parameter(attendee, icalparameter_new_cn(value.toUtf8().constData()));
        icalparameter *latin = icalparameter_new_x("Zo\xc3\xab; x");
        icalparameter_set_xname(latin, "X-LATIN");
        icalproperty_add_parameter(attendee, latin);
        // The library writes the value type first, wherever it was added.
        icalproperty *wait = icalproperty_new_x(value.toUtf8().constData());
        icalproperty_set_x_name(wait, "X-WAIT");
        icalproperty_add_parameter(wait, icalparameter_new_cn(value.toUtf8().constData()));
        icalproperty_add_parameter(wait, icalparameter_new_value(ICAL_VALUE_DURATION));
        EXPECT_EQ(ours.toStdString(), (libraryText(attendee) + libraryText(wait)).toStdString());
    }
}

TEST(ICalTextWriterTest, TimesAreWrittenAsTheLibraryWritesThem) {
    for (const double seconds : {0.0, 86399.9, -1.5, 1e9, 4102444800.0, -62135596800.0}) {
        QByteArray ours;
        ICalTextWriter(ours).property("DTSTAMP").utcTime(Date(seconds - 978307200.0));
        const icaltimetype time =
            icaltime_from_timet_with_zone(time_t(seconds), 0, icaltimezone_get_utc_timezone());
        EXPECT_EQ(ours, libraryText(icalproperty_new_dtstamp(time))) << seconds;
    }
}

TEST(ICalTextWriterTest, AddressesAreWrittenAsTheLibraryWritesThem) {
    QList<QString> addresses{QStringLiteral("ann@example.org"), QStringLiteral("urn:uuid:1234"),
                             QStringLiteral("MAILTO:ben@example.org"),
                             QString::fromUtf8("cut\0here@example.org", 20)};
    for (const QString &text : trickyTexts())
        addresses << text << text + QStringLiteral("@example.org");
    for (const QString &address : addresses) {
        QByteArray ours;
        ICalTextWriter(ours).property("ATTENDEE").address(address);
        // An e-mail address, one holding '@', is a mailto: address.
        const QString expected =
            address.contains(QLatin1Char('@')) ? QStringLiteral("mailto:") + address : address;
        EXPECT_EQ(
            ours.toStdString(),
            libraryText(icalproperty_new_attendee(expected.toUtf8().constData())).toStdString())
            << address.toStdString();
    }
}

TEST(ICalTextWriterTest, NumbersAndDurationsAreWrittenAsTheLibraryWritesThem) {
    QList<int> values{0,       1,      -1,      59,      60,         61,         3599,
                      3600,    -3661,  86399,   86400,   -86400,     90061,      604800,
                      -604800, 604801, 1209600, 1296000, 2147483647, -2147483647};
    for (int seconds = -200000; seconds <= 200000; seconds += 997)
        values << seconds;
    for (const int value : values) {
        QByteArray ours;
        ICalTextWriter writer(ours);
        writer.property("SEQUENCE").number(value);
        writer.property("TRIGGER").duration(value);
        char *duration = icaldurationtype_as_ical_string_r(icaldurationtype_from_int(value));
        const QByteArray theirs = libraryText(icalproperty_new_sequence(value)) +
                                  "TRIGGER:" + QByteArray(duration) + "\r\n";
        icalmemory_free_buffer(duration);
        EXPECT_EQ(ours, theirs) << value;
    }
}

}  // namespace
