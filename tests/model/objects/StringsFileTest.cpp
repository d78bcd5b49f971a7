#include <gtest/gtest.h>

#include "model/StringsFile.h"

using StringsFile::propertyListFromStringsFileFormat;
using StringsFile::stringsFileFormatFromDictionary;

namespace {
QVariantMap read(const QString &text) {
    QString error;
    const std::optional<QVariantMap> dictionary = propertyListFromStringsFileFormat(text, &error);
    EXPECT_TRUE(dictionary) << error.toStdString();
    return dictionary.value_or(QVariantMap());
}

QString errorOf(const QString &text) {
    QString error;
    EXPECT_FALSE(propertyListFromStringsFileFormat(text, &error)) << text.toStdString();
    return error;
}
}  // namespace

TEST(StringsFileTest, WritesOneQuotedEntryPerLineAndReadsItBack) {
    const QVariantMap dictionary{
        {QStringLiteral("b"), QStringLiteral("two")},
        {QStringLiteral("a"), QStringLiteral("say \"hi\"\\\n\tend\r")},
        {QStringLiteral("ctrl\x01"), QStringLiteral("\u00e9\u2603\U0001F600")},
        {QString(), QString()}};
    const QString text = stringsFileFormatFromDictionary(dictionary);
    EXPECT_TRUE(text.startsWith(
        QStringLiteral("\"\" = \"\";\n\"a\" = \"say \\\"hi\\\"\\\\\\n\\tend\\r\";\n")))
        << text.toStdString();
    EXPECT_TRUE(text.contains(QStringLiteral("\"ctrl\\U0001\"")));
    EXPECT_EQ(read(text), dictionary);
    EXPECT_EQ(stringsFileFormatFromDictionary({{QStringLiteral("n"), 42}}),
              QStringLiteral("\"n\" = \"42\";\n"));
}

TEST(StringsFileTest, ReadsHandWrittenFiles) {
    const QString text = QStringLiteral(
        "/* A comment\n spanning lines */\n"
        "plain_key = value.with:odd/chars-1;\n"
        "// a line comment\n"
        "\"only key\";\n"
        "\"esc\" = \"\\101\\u00E9\\U2603\\'\\a\\z\"  ;  ");
    const QVariantMap expected{
        {QStringLiteral("plain_key"), QStringLiteral("value.with:odd/chars-1")},
        {QStringLiteral("only key"), QStringLiteral("only key")},
        {QStringLiteral("esc"), QStringLiteral("A\u00e9\u2603'\az")}};
    EXPECT_EQ(read(text), expected);
    EXPECT_TRUE(read(QStringLiteral(" \n /* nothing */ ")).isEmpty());
}

TEST(StringsFileTest, UnreadableTextSaysWhatAndWhere) {
    EXPECT_EQ(errorOf(QStringLiteral("\"a\" = \"b\";\n\"c\" = \"d\"")),
              QStringLiteral("expected ';' at line 2"));
    EXPECT_EQ(errorOf(QStringLiteral("\"a\" = \"unterminated;\n")),
              QStringLiteral("unterminated string at line 2"));
    EXPECT_EQ(errorOf(QStringLiteral("/* open")), QStringLiteral("unterminated comment at line 1"));
    EXPECT_EQ(errorOf(QStringLiteral("\"a\" = ;")), QStringLiteral("expected a string at line 1"));
    EXPECT_EQ(errorOf(QStringLiteral("\"a\" = \"\\u12\";")),
              QStringLiteral("bad escape sequence at line 1"));
    EXPECT_EQ(errorOf(QStringLiteral("\"a\" =")),
              QStringLiteral("unexpected end of text at line 1"));
    EXPECT_FALSE(propertyListFromStringsFileFormat(QStringLiteral("{ \"a\" = \"b\"; }"), nullptr));
}
