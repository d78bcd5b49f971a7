#include <gtest/gtest.h>

#include "caldav/XMLReader.h"

namespace {

TEST(XMLReaderTest, ElementsBecomeDictionariesAndRepeatsBecomeLists) {
    QString error;
    const std::optional<QVariantMap> parsed = XMLReader::dictionaryForXMLData(
        R"(<s:Envelope xmlns:s="urn:s"><s:Body><m:Items m:Count="2" xmlns:m="urn:m">
             <t:Item Id="1">  first  </t:Item><t:Item Id="2">second</t:Item><t:Empty/>
           </m:Items></s:Body></s:Envelope>)",
        error);
    ASSERT_TRUE(parsed.has_value()) << error.toStdString();
    const QVariantMap items =
        parsed->value("s:Envelope").toMap().value("s:Body").toMap().value("m:Items").toMap();
    EXPECT_EQ(items.value("m:Count").toString(), "2");
    const std::optional<QVariantList> list = XMLReader::arrayValueForKey("t:Item", items);
    ASSERT_TRUE(list.has_value());
    ASSERT_EQ(list->size(), 2);
    EXPECT_EQ(list->at(0).toMap(), (QVariantMap{{"Id", "1"}, {"text", "first"}}));
    EXPECT_EQ(XMLReader::stringValueForKey("t:Item", items), "first");
    // A single element is wrapped; an empty one has no text.
    EXPECT_EQ(XMLReader::arrayValueForKey("t:Empty", items)->size(), 1);
    EXPECT_EQ(XMLReader::stringValueForKey("t:Empty", items), std::nullopt);
    EXPECT_EQ(XMLReader::arrayValueForKey("t:Missing", items), std::nullopt);
}

TEST(XMLReaderTest, MalformedInputIsAnErrorNotADictionary) {
    QString error;
    EXPECT_FALSE(XMLReader::dictionaryForXMLString("<a><b></a>", error).has_value());
    EXPECT_FALSE(error.isEmpty());
    QByteArray deep;
    for (int i = 0; i < 10000; ++i)
        deep += "<x>";
    EXPECT_FALSE(XMLReader::dictionaryForXMLData(deep, error).has_value());
    EXPECT_TRUE(XMLReader::dictionaryForXMLString("<a>é</a>", error)
                    ->value("a")
                    .toMap()
                    .value("text")
                    .toString() == QStringLiteral("é"));
}

}  // namespace
