#include "server/netconf/xml_element.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "server/netconf/xml_text.h"

namespace ncdm::netconf {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::ThrowsMessage;

TEST(XmlElementTest, TopIsKeptWithNamesNamespacesAndAttributes) {
  const XmlElement root = ParseXmlTop(
      "<p:a xmlns:p='urn:p' xmlns='urn:d' x='1 &lt; 2' p:y=''>t<b/>u<![CDATA[<&]]></p:a>");
  EXPECT_EQ(root.prefix, "p");
  EXPECT_TRUE(root.Is("urn:p", "a"));
  EXPECT_EQ(root.declarations.at(0).prefix + "=" + root.declarations.at(0).uri, "p=urn:p");
  EXPECT_EQ(root.declarations.at(1).prefix + "=" + root.declarations.at(1).uri, "=urn:d");
  EXPECT_EQ(root.attributes.at(0).name + "=" + root.attributes.at(0).value, "x=1 < 2");
  EXPECT_EQ(root.attributes.at(1).prefix + ":" + root.attributes.at(1).name, "p:y");
  EXPECT_EQ(root.text, "tu<&");
  ASSERT_THAT(root.children, SizeIs(1));
  EXPECT_TRUE(root.children[0].Is("urn:d", "b"));
}

TEST(XmlElementTest, ReferencesStandForTheirCharacters) {
  const XmlElement root = ParseXmlTop("<a x='b&amp;c&lt;&#100;&quot;'>e&amp;f&gt;&#x67;</a>", {});
  ASSERT_EQ(root.attributes.size(), 1U);
  EXPECT_EQ(root.attributes[0].value, "b&c<d\"");
  EXPECT_EQ(root.text, "e&f>g");
}

TEST(XmlElementTest, WhatIsDeeperMoreOrLongerThanTheLimitsIsDropped) {
  const XmlElement root = ParseXmlTop("<a>12345<b><c>x<d/></c></b><b/><b><c/></b></a>", {2, 2, 4});
  EXPECT_EQ(root.text, "1234");
  ASSERT_THAT(root.children, SizeIs(2));
  EXPECT_THAT(root.children[0].children, IsEmpty());
  EXPECT_THAT(root.children[0].text, IsEmpty());
}

TEST(XmlElementTest, WhatIsNotWellFormedIsRefused) {
  for (const char* document :
       {"", " ", "text", "<a>", "<a></b>", "<a/><b/>", "<a/>text", "<a b='1' b='2'/>", "<p:a/>",
        "<a>&foo;</a>", "<a>\xff</a>", "<a>\x01</a>", "<a x=1/>", "<a", "<a xmlns:p=''/>",
        "<!DOCTYPE a><a/>", "<!DOCTYPE a [<!ENTITY b 'c'>]><a>&b;</a>"}) {
    EXPECT_THROW(ParseXmlTop(document), XmlError) << document;
  }
}

TEST(XmlElementTest, ErrorsNameTheLine) {
  EXPECT_THAT([] { ParseXmlTop("<a>\n<b></c></a>"); },
              ThrowsMessage<XmlError>(HasSubstr("line 2: Opening and ending tag mismatch")));
  EXPECT_THAT([] { ParseXmlTop("<!DOCTYPE a><a/>"); },
              ThrowsMessage<XmlError>("a document type declaration"));
}

TEST(XmlElementTest, OtherEncodingsAreRefused) {
  using namespace std::string_literals;
  EXPECT_THROW(ParseXmlTop("<\0a\0/\0>\0"s), XmlError);
  EXPECT_THROW(ParseXmlTop("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe4</a>"), XmlError);
}

TEST(XmlElementTest, WhiteSpaceAndAByteOrderMarkMayComeBeforeTheDeclaration) {
  EXPECT_EQ(ParseXmlTop("\r\n <?xml version='1.0' encoding='UTF-8'?>\n<a/>\n").name, "a");
  EXPECT_EQ(ParseXmlTop("\xEF\xBB\xBF<?xml version='1.0'?><a/>").name, "a");
}

TEST(XmlElementTest, DepthIsBounded) {
  const auto nested = [](int depth) {
    std::string xml;
    for (int i = 0; i < depth; ++i) xml += "<a>";
    for (int i = 0; i < depth; ++i) xml += "</a>";
    return xml;
  };
  EXPECT_NO_THROW(ParseXmlTop(nested(256)));
  EXPECT_THROW(ParseXmlTop(nested(257)), XmlError);
}

std::string Repeated(std::string_view piece, std::size_t count) {
  std::string text;
  for (; count > 0; --count) text += piece;
  return text;
}

TEST(XmlElementTest, NodesAreBounded) {
  const auto parse = [](const std::string& content) { ParseXmlTop("<a>" + content + "</a>"); };
  EXPECT_NO_THROW(parse(Repeated("<b/>", kMaxXmlNodes - 1)));
  EXPECT_THROW(parse(Repeated("<b/>", kMaxXmlNodes)), XmlTooBig);
  EXPECT_NO_THROW(parse(Repeated("<b>c</b>", kMaxXmlNodes / 2 - 1)));
  EXPECT_THROW(parse(Repeated("<b>c</b>", kMaxXmlNodes / 2)), XmlTooBig);
  EXPECT_THROW(parse(Repeated("<b c='d'/>", kMaxXmlNodes / 3 + 1)), XmlTooBig);
  EXPECT_THROW(parse(Repeated("<b xmlns='d'/>", kMaxXmlNodes / 3 + 1)), XmlTooBig);
  EXPECT_THROW(parse(Repeated("<!---->", kMaxXmlNodes)), XmlTooBig);
  EXPECT_THROW(parse(Repeated("<?b?>", kMaxXmlNodes)), XmlTooBig);
}

TEST(XmlElementTest, LongTextIsOneNode) {
  EXPECT_NO_THROW(ParseXmlTop("<a>" + Repeated("text\n", 3'000'000) + "</a>"));
}

TEST(XmlTextTest, WhatHasAMeaningIsEscaped) {
  EXPECT_EQ(Escaped("a<b>&\"'\n\r]]>"), "a&lt;b&gt;&amp;\"'\n&#13;]]&gt;");
  std::string attribute;
  AppendEscapedAttribute(&attribute, "<\">&'\t\n\r");
  EXPECT_EQ(attribute, "&lt;&quot;&gt;&amp;'&#9;&#10;&#13;");
}

}  // namespace
}  // namespace ncdm::netconf
