#include <gtest/gtest.h>

#include "QtPrinters.h"
#include "model/util/TextDecoding.h"

namespace {

// `bytes` written as C escapes keep the byte sequences readable in the test.
QByteArray bytes(const char *data) {
    return QByteArray(data);
}

TEST(TextDecoding, CharsetTableKnowsTheNamesAndAliases) {
    EXPECT_EQ(encodingForCharset("UTF-8"), TextEncoding::utf8());
    EXPECT_EQ(encodingForCharset(" Shift_JIS "), TextEncoding::shiftJIS());
    EXPECT_EQ(encodingForCharset("iso8859_1"), TextEncoding::isoLatin1());
    EXPECT_EQ(encodingForCharset("US-ASCII"), TextEncoding::ascii());
    EXPECT_EQ(encodingForCharset("ks_c_5601-1987"), encodingForCharset("euc-kr"));
    EXPECT_EQ(encodingForCharset("gb2312"), encodingForCharset("euc-cn"));
    EXPECT_EQ(encodingForCharset("gb-2312"), encodingForCharset("euc-cn"));
    EXPECT_EQ(encodingForCharset("windows-1252"), TextEncoding::windowsLatin1());
    EXPECT_EQ(encodingForCharset("iso-8859-12"), std::nullopt);  // never assigned
    EXPECT_EQ(encodingForCharset("x-unknown"), std::nullopt);
    EXPECT_EQ(encodingForCharset(QString()), std::nullopt);
}

TEST(TextDecoding, EveryCharsetInTheTableHasAWorkingConverter) {
    const char *names[] = {
        "us-ascii",       "ascii",        "utf-8",        "iso-8859-1",   "iso8859_1",
        "iso-8859-2",     "iso-8859-3",   "iso-8859-4",   "iso-8859-5",   "iso-8859-6",
        "iso-8859-7",     "iso-8859-8",   "iso-8859-9",   "iso-8859-10",  "iso-8859-11",
        "iso-8859-13",    "iso-8859-14",  "iso-8859-15",  "iso-2022-cn",  "iso-2022-kr",
        "iso-2022-jp",    "koi8-r",       "koi8-u",       "big5",         "euc-kr",
        "ks_c_5601-1987", "euc-cn",       "euc-tw",       "hz-gb-2312",   "gb-2312",
        "gb2312",         "shift_jis",    "euc-jp",       "windows-1250", "windows-1251",
        "windows-1252",   "windows-1253", "windows-1254", "windows-1255", "windows-1256",
        "windows-1257",   "windows-1258"};
    for (const char *name : names) {
        const std::optional<TextEncoding> encoding = encodingForCharset(QString::fromLatin1(name));
        ASSERT_TRUE(encoding) << name;
        EXPECT_EQ(encoding->decode("Team meeting 10:00"), QString("Team meeting 10:00")) << name;
    }
}

TEST(TextDecoding, NamedCharsetsDecodeRealByteSequences) {
    EXPECT_EQ(
        stringFromData(bytes("\x93\xFA\x96\x7B\x8C\xEA\x82\xCC\x97\x5C\x92\xE8"), "Shift_JIS"),
        QString("日本語の予定"));
    EXPECT_EQ(
        stringFromData(bytes("\x1B\x24\x42\x32\x71\x35\x44\x24\x4F\x38\x61\x38\x65\x1B\x28\x42"
                             "\x33\x1B\x24\x42\x3B\x7E\x1B\x28\x42"),
                       "ISO-2022-JP"),
        QString("会議は午後3時"));
    EXPECT_EQ(stringFromData(bytes("\xF7\xD3\xD4\xD2\xC5\xDE\xC1\x20\xD7\x20\x31\x30\x3A\x30\x30"),
                             "koi8-r"),
              QString("Встреча в 10:00"));
    EXPECT_EQ(stringFromData(bytes("\xFA\xD5\xD3\xD4\xD2\xA6\xDE"), "KOI8-U"), QString("Зустріч"));
    EXPECT_EQ(stringFromData(bytes("\xC7\xD1\xB1\xB9\xBE\xEE"), "ks_c_5601-1987"),
              QString("한국어"));
    EXPECT_EQ(stringFromData(bytes("\xA4\xA4\xA4\xE5"), "big5"), QString("中文"));
    EXPECT_EQ(stringFromData(bytes("\xD6\xD0\xCE\xC4"), "gb2312"), QString("中文"));
    EXPECT_EQ(stringFromData(bytes("\xC5\xEC\xB5\xFE"), "euc-jp"), QString("東京"));
    EXPECT_EQ(stringFromData(bytes("\xA3\xF3\x64\xBC"), "iso-8859-2"), QString("Łódź"));
    EXPECT_EQ(stringFromData(bytes("\xCC\xEE\xF1\xEA\xE2\xE0"), "windows-1251"), QString("Москва"));
}

TEST(TextDecoding, HZWrapsGB2312InEscapes) {
    EXPECT_EQ(stringFromData(bytes("Lunch ~{VPND~} at ~~12"), "HZ-GB-2312"),
              QString("Lunch 中文 at ~12"));
    EXPECT_EQ(TextEncoding("HZ-GB-2312").decode("a~\nb"), QString("ab"));
    EXPECT_EQ(TextEncoding("HZ-GB-2312").decode("~{VP"), QString("中"));  // unterminated mode
    EXPECT_EQ(TextEncoding("HZ-GB-2312").decode("~x"), std::nullopt);
    EXPECT_EQ(TextEncoding("HZ-GB-2312").decode("~{V"), std::nullopt);
    EXPECT_EQ(TextEncoding("HZ-GB-2312").decode("\xD6\xD0"), std::nullopt);
}

TEST(TextDecoding, UnknownCharsetFallsBackInOrder) {
    // Valid UTF-8 is taken as UTF-8 ...
    EXPECT_EQ(stringFromData(bytes("Caf\xC3\xA9"), "x-mac-unknown"), QString("Café"));
    // ... a lone 0xE9 is not, so Windows-1252 reads it ...
    EXPECT_EQ(stringFromData(bytes("\xE9"), "x-mac-unknown"), QString("é"));
    EXPECT_EQ(stringFromData(bytes("\x93\x43\x61\x66\xE9\x94\x20\x96\x20\x35\x20\x80"), QString()),
              QString("“Café” – 5 €"));
    // ... and bytes Windows-1252 leaves undefined fall through to ISO Latin 1.
    EXPECT_EQ(stringFromData(bytes("a\x81z"), "nonsense"), QString("a\u0081z"));
    // Shift JIS bytes without a charset come out as Windows-1252, which is
    // asked before Shift JIS.
    EXPECT_EQ(stringFromData(bytes("\x93\xFA"), QString()), QString("“ú"));
}

TEST(TextDecoding, MislabelledDataFallsBackInsteadOfFailing) {
    EXPECT_EQ(stringFromData(bytes("Caf\xC3\xA9"), "us-ascii"), QString("Café"));
    EXPECT_EQ(stringFromData(bytes("caf\xE9"), "utf-8"), QString("café"));
    // Truncated in the middle of a two-byte Shift JIS character.
    EXPECT_EQ(stringFromData(bytes("\x93\xFA\x96"), "shift_jis"), QString("“ú–"));
}

TEST(TextDecoding, MissingDataIsNoneAndEmptyDataIsEmptyText) {
    EXPECT_EQ(stringFromData(QByteArray(), "utf-8"), std::nullopt);
    EXPECT_EQ(stringFromData(QByteArray(""), "utf-8"), QString(""));
    EXPECT_EQ(stringFromData(QByteArray(""), "utf-8")->isNull(), false);
}

TEST(TextDecoding, Utf8ByteOrderMarkIsDropped) {
    EXPECT_EQ(stringFromData(bytes("\xEF\xBB\xBFSummary"), "utf-8"), QString("Summary"));
}

TEST(TextDecoding, QuotedPrintableEscapesAndSoftBreaks) {
    EXPECT_EQ(stringFromQuotedPrintableString("a=3Db", "utf-8"), QString("a=b"));
    // Lower-case hexadecimal is not an escape: the "=" goes, "3d" stays.
    EXPECT_EQ(stringFromQuotedPrintableString("a=3db", "utf-8"), QString("a3db"));
    EXPECT_EQ(stringFromQuotedPrintableString("Caf=C3=A9 au lait", "utf-8"),
              QString("Café au lait"));
    EXPECT_EQ(stringFromQuotedPrintableString("Caf=E9", "iso-8859-1"), QString("Café"));
    EXPECT_EQ(stringFromQuotedPrintableString("=1B$B0lF|=1B(B", "iso-2022-jp"), QString("一日"));
    // Soft line breaks with CRLF, LF or CR vanish with the "=".
    EXPECT_EQ(stringFromQuotedPrintableString("Long li=\r\nne, next=\nword=\rend", "utf-8"),
              QString("Long line, nextwordend"));
    // A hard line break stays.
    EXPECT_EQ(stringFromQuotedPrintableString("one\r\ntwo", "utf-8"), QString("one\r\ntwo"));
    // A multi-byte character split by a soft break is joined again.
    EXPECT_EQ(stringFromQuotedPrintableString("=E2=82=\r\n=AC", "utf-8"), QString("€"));
    EXPECT_EQ(stringFromQuotedPrintableString("end=", "utf-8"), QString("end"));
    EXPECT_EQ(stringFromQuotedPrintableString("=4", "utf-8"), QString("4"));
    EXPECT_EQ(stringFromQuotedPrintableString("=G1x", "utf-8"), QString("G1x"));
    EXPECT_EQ(stringFromQuotedPrintableString("==41", "utf-8"), QString("A"));
    EXPECT_EQ(stringFromQuotedPrintableString("=\r\n", "utf-8"), QString(""));
    EXPECT_EQ(stringFromQuotedPrintableString(QString(), "utf-8"), std::nullopt);
}

TEST(TextDecoding, UnfoldingJoinsContinuationLinesWithOneSpace) {
    EXPECT_EQ(stringFromFoldedString("Subject: Quarterly\r\n planning\r\n\tmeeting\r\nFrom: a"),
              QString("Subject: Quarterly planning meeting\nFrom: a"));
    // Only one whitespace character goes with the line break.
    EXPECT_EQ(stringFromFoldedString("a\n  b"), QString("a  b"));
    EXPECT_EQ(stringFromFoldedString("a\nb\n"), QString("a\nb\n"));
    EXPECT_EQ(stringFromFoldedString("a\r\r\n b"), QString("a b"));
    EXPECT_EQ(stringFromFoldedString("\n\n x"), QString("\n x"));
    EXPECT_EQ(stringFromFoldedString("Z\xC3\xBC\r\n rich"), QString("Zü rich"));
    EXPECT_EQ(stringFromFoldedString("bad \xFF byte"), std::nullopt);
}

}  // namespace
