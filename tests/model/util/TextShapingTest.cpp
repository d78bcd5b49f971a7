#include <gtest/gtest.h>

#include "QtPrinters.h"
#include "model/util/TextShaping.h"

namespace {

TEST(TextShaping, StandardEscapesLeaveExistingEscapesAndFragments) {
    EXPECT_EQ(stringByAddingStandardPercentEscapes("https://de.example.org/wiki/Köln?q=a b#Top"),
              "https://de.example.org/wiki/K%C3%B6ln?q=a%20b#Top");
    EXPECT_EQ(stringByAddingStandardPercentEscapes("/a%20b/{x}|\"y\""), "/a%20b/%7Bx%7D%7C%22y%22");
}

TEST(TextShaping, CleanURLEscapingUndoesThenEscapesAgain) {
    const QString url =
        "https://cal.example.com/calendars/user@example.com/home/Team Plan~1+2,$.ics#x";
    const QString clean = stringByAddingPercentEscapes(url);
    EXPECT_EQ(clean,
              "https://cal.example.com/calendars/user%40example.com/home/"
              "Team%20Plan%7E1%2B2%2C%24.ics#x");
    // Already escaped text comes out the same, so escaping twice is harmless.
    EXPECT_EQ(stringByAddingPercentEscapes(clean), clean);
    EXPECT_EQ(stringByAddingPercentEscapes("/a%7e/b%20c"), "/a%7E/b%20c");
    // A "%" that starts no escape is escaped itself.
    EXPECT_EQ(stringByAddingPercentEscapes("/100%/"), "/100%25/");
    // Escapes that are not UTF-8 stay as they were.
    EXPECT_EQ(stringByAddingPercentEscapes("/caf%E9 x"), "/caf%E9%20x");
}

TEST(TextShaping, ComponentEscapingEscapesItsSeparators) {
    EXPECT_EQ(stringByAddingPercentEscapesIncludingSlash("Work/Home 100%"), "Work%2FHome%20100%25");
    EXPECT_EQ(stringByAddingPercentEscapesIncludingAmpersand("R&D = a+b? #1/2"),
              "R%26D%20%3D%20a%2Bb%3F%20%231/2");
}

TEST(TextShaping, RemovingPercentEscapes) {
    EXPECT_EQ(stringByRemovingPercentEscapes("K%C3%b6ln%20%2F%20Bonn"), QString("Köln / Bonn"));
    EXPECT_EQ(stringByRemovingPercentEscapes("100%"), QString("100%"));
    EXPECT_EQ(stringByRemovingPercentEscapes("%zz%4"), QString("%zz%4"));
    EXPECT_EQ(stringByRemovingPercentEscapes("ü%20😀"), QString("ü 😀"));
    EXPECT_EQ(stringByRemovingPercentEscapes("caf%E9"), std::nullopt);
}

TEST(TextShaping, HTMLAndMailToEncoding) {
    EXPECT_EQ(stringByHTMLEncoding("<b>Tom & \"Jerry\"</b> it's"),
              "&lt;b&gt;Tom &amp; &quot;Jerry&quot;&lt;/b&gt; it&#39;s");
    EXPECT_EQ(stringByMailToEncoding("tom&jerry+cal@example.org"), "tom%26jerry+cal@example.org");
    EXPECT_EQ(stringByMailToEncoding("a b?c=d#e%f"), "a%20b%3Fc%3Dd%23e%25f");
    EXPECT_EQ(stringByMailToEncoding("jürgen@例え.jp"), "j%C3%BCrgen@%E4%BE%8B%E3%81%88.jp");
    EXPECT_EQ(stringByRemovingMailToEncoding("j%C3%BCrgen@%E4%BE%8B%E3%81%88.jp"),
              "jürgen@例え.jp");
    EXPECT_EQ(stringByRemovingMailToEncoding("odd%E9@example.org"), "odd%E9@example.org");
}

TEST(TextShaping, FileSystemNames) {
    EXPECT_EQ(stringByFileSystemEncoding("Work/Home: 2024"), "Work-Home: 2024");
    EXPECT_EQ(stringByFileSystemEncoding(".."), "_");
    EXPECT_EQ(stringByFileSystemEncoding(""), "_");
    EXPECT_EQ(stringByFileSystemEncoding(QString("a") + QChar(0) + "b"), "a-b");
    // Cut to 255 bytes without splitting a character: "é" is two bytes.
    const QString longName = QString("é").repeated(200);
    const QString cut = stringByFileSystemEncoding(longName);
    EXPECT_EQ(cut.toUtf8().size(), 254);
    EXPECT_EQ(cut, QString("é").repeated(127));
    // Decomposed accents stay with their letters.
    const QString decomposed = QString("e\u0301").repeated(100);  // three bytes each
    EXPECT_EQ(stringByFileSystemEncoding(decomposed), QString("e\u0301").repeated(85));
}

TEST(TextShaping, AppendingQueryParameters) {
    EXPECT_EQ(stringByAppendingParameter("https://x.example/feed", "user", "a&b c"),
              "https://x.example/feed?user=a%26b%20c");
    EXPECT_EQ(stringByAppendingParameter("https://x.example/feed?a=1", "b", "2"),
              "https://x.example/feed?a=1&b=2");
    EXPECT_EQ(stringByAppendingParameter("https://x.example/feed?", "b", "2"),
              "https://x.example/feed?b=2");
    EXPECT_EQ(stringByAppendingParameter("https://x.example/p?a=1#top", "b", "=#"),
              "https://x.example/p?a=1&b=%3D%23#top");
}

TEST(TextShaping, CharactersAndPieces) {
    EXPECT_EQ(
        stringByReplacingCharactersInSet("a\tb\nc d", CharacterSet::whitespaceAndNewlines(), "_"),
        "a_b_c_d");
    EXPECT_EQ(stringByReplacingCharactersInSet("(555) 123-4567",
                                               CharacterSet::decimalDigits().inverted(), ""),
              "5551234567");

    const Occurrences occurrences = occurrencesOfString("aaaa banana", "aa");
    EXPECT_EQ(occurrences.count, 2);
    EXPECT_EQ(occurrences.first, 0);
    const Occurrences later = occurrencesOfString("xx ana", "ana");
    EXPECT_EQ(later.count, 1);
    EXPECT_EQ(later.first, 3);
    EXPECT_EQ(occurrencesOfString("abc", "z").first, -1);
    EXPECT_EQ(occurrencesOfString("abc", "").count, 0);

    EXPECT_EQ(firstCharacter("e\u0301t\u00E9"), QString("e\u0301"));
    EXPECT_EQ(firstCharacter("👍🏽 ok"), QString("👍🏽"));
    EXPECT_EQ(firstCharacter(""), std::nullopt);

    EXPECT_EQ(rangeOfCharactersInSet("Room  12b", CharacterSet::decimalDigits()),
              (TextRange{6, 2}));
    EXPECT_EQ(rangeOfCharactersInSet("abc", CharacterSet::decimalDigits()), std::nullopt);

    QString text;
    appendStringWithSpace(text, "Lunch");
    appendStringWithSpace(text, "");
    appendString(text, "Cafeteria", ", ");
    appendStringWithSpace(text, "B");
    EXPECT_EQ(text, "Lunch, Cafeteria B");
}

TEST(TextShaping, CapitalisationOnlyTouchesLowerCaseText) {
    EXPECT_EQ(initialCapitalizedString("étude in blue"), "Étude in blue");
    EXPECT_EQ(initialCapitalizedString("3rd floor"), "3rd floor");
    EXPECT_EQ(initialCapitalizedString(""), "");
    EXPECT_EQ(smartUppercaseString("sw1a 1aa"), "SW1A 1AA");
    EXPECT_EQ(smartUppercaseString("Sw1a"), "Sw1a");

    EXPECT_EQ(smartCapitalizedString("jean-luc o'neill"), "Jean-Luc O'Neill");
    EXPECT_EQ(smartCapitalizedString("don't stop"), "Don't Stop");
    EXPECT_EQ(smartCapitalizedString("j.r.r. tolkien"), "J.R.R. Tolkien");
    EXPECT_EQ(smartCapitalizedString("élodie àlvarez"), "Élodie Àlvarez");
    EXPECT_EQ(smartCapitalizedString("iPhone team"), "iPhone team");

    EXPECT_EQ(smartCapitalizedStringForLastName("van der berg"), "van der Berg");
    EXPECT_EQ(smartCapitalizedStringForLastName("mcdonald"), "McDonald");
    EXPECT_EQ(smartCapitalizedStringForLastName("le"), "Le");
    EXPECT_EQ(smartCapitalizedStringForLastName("d'angelo"), "D'Angelo");
    EXPECT_EQ(smartCapitalizedStringForLastName("da silva-mcintyre"), "da Silva-McIntyre");
    EXPECT_EQ(smartCapitalizedStringForLastName("McCartney"), "McCartney");

    EXPECT_EQ(smartCapitalizedStringForAddress("1600 pennsylvania ave nw"),
              "1600 Pennsylvania Ave NW");
    EXPECT_EQ(smartCapitalizedStringForAddress("po box 12b, 21st street"),
              "PO Box 12B, 21st Street");
}

}  // namespace
