#include "server/netconf/envelope.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ncdm::netconf {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr char kBase[] = "xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"";

std::string Rpc(const std::string& attributes, const std::string& content) {
  return std::string("<rpc ") + kBase + " " + attributes + ">" + content + "</rpc>";
}

// The error's type, tag and error-info, as in "rpc missing-attribute bad-element=rpc".
std::string ErrorOf(const std::string& message, Framing framing = Framing::kChunked) {
  const Envelope envelope = OpenEnvelope(message, framing);
  if (!envelope.error) {
    return "none";
  }
  std::string text = envelope.error->type + " " + envelope.error->tag;
  for (const ErrorInfo& info : envelope.error->info) {
    text += " " + info.name + "=" + info.text;
  }
  return text;
}

std::string ReplyTo(const std::string& message, const Reply& reply = {}) {
  return RenderReply(OpenEnvelope(message, Framing::kChunked).rpc, reply);
}

TEST(EnvelopeTest, OperationIsTheElementInTheRpc) {
  const Envelope envelope =
      OpenEnvelope(Rpc("message-id='1'", "\n <get xmlns='urn:x'/>\n"), Framing::kChunked);
  EXPECT_FALSE(envelope.error.has_value());
  EXPECT_TRUE(envelope.operation.Is("urn:x", "get"));
}

TEST(EnvelopeTest, WhatIsNoRequestIsRefusedWithWhatIsWrong) {
  EXPECT_EQ(ErrorOf(Rpc("", "<get/>")),
            "rpc missing-attribute bad-attribute=message-id bad-element=rpc");
  EXPECT_EQ(
      ErrorOf("<rpc xmlns:p='urn:p' " + std::string(kBase) + " p:message-id='1'><get/></rpc>"),
      "rpc missing-attribute bad-attribute=message-id bad-element=rpc");
  EXPECT_EQ(ErrorOf("<rpc message-id='1'><get/></rpc>"),
            "rpc unknown-namespace bad-element=rpc bad-namespace=");
  EXPECT_EQ(ErrorOf("<rpc xmlns='urn:x' message-id='1'><get/></rpc>"),
            "rpc unknown-namespace bad-element=rpc bad-namespace=urn:x");
  EXPECT_EQ(ErrorOf(std::string("<get ") + kBase + "/>"), "rpc unknown-element bad-element=get");
  EXPECT_EQ(ErrorOf(Rpc("message-id='1'", "")), "protocol missing-element bad-element=operation");
  EXPECT_EQ(ErrorOf(Rpc("message-id='1'", "<get/><lock/>")),
            "protocol unknown-element bad-element=lock");
}

TEST(EnvelopeTest, MalformedMessageIsATagThatOnlyClientsOfTheNewerVersionKnow) {
  EXPECT_EQ(ErrorOf("<rpc>", Framing::kChunked), "rpc malformed-message");
  EXPECT_EQ(ErrorOf("<rpc>", Framing::kEndOfMessage), "rpc operation-failed");
}

TEST(EnvelopeTest, MessageOfTooManyNodesIsTooBig) {
  std::string many;
  for (std::size_t i = 0; i < kMaxXmlNodes; ++i) many += "<a/>";
  EXPECT_EQ(ErrorOf(Rpc("message-id='1'", "<get>" + many + "</get>")), "rpc too-big");
}

TEST(EnvelopeTest, EmptyReplyIsOk) {
  EXPECT_EQ(
      ReplyTo(Rpc("message-id='7'", "<get/>")),
      std::string(kDeclaration) + "<rpc-reply " + kBase + " message-id=\"7\"><ok/></rpc-reply>");
}

TEST(EnvelopeTest, AttributesAndNamespacesOfTheRpcComeBack) {
  EXPECT_EQ(
      ReplyTo(Rpc("xmlns:e='urn:e' message-id='a&lt;&#10;\"' e:user='fred' plain=''", "<get/>")),
      std::string(kDeclaration) + "<rpc-reply " + kBase +
          " xmlns:e=\"urn:e\" message-id=\"a&lt;&#10;&quot;\" e:user=\"fred\" plain=\"\"><ok/>"
          "</rpc-reply>");
}

TEST(EnvelopeTest, PrefixedRpcGetsAReplyInTheDefaultNamespace) {
  EXPECT_EQ(ReplyTo("<nc:rpc xmlns:nc='urn:ietf:params:xml:ns:netconf:base:1.0' message-id='1'>"
                    "<nc:get/></nc:rpc>"),
            std::string(kDeclaration) + "<rpc-reply " + kBase +
                " xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\" message-id=\"1\"><ok/>"
                "</rpc-reply>");
}

TEST(EnvelopeTest, DefaultNamespaceOfTheRpcIsLeftWhatItIs) {
  const std::string rpc =
      "<nc:rpc xmlns:nc='urn:ietf:params:xml:ns:netconf:base:1.0' xmlns='urn:x' message-id='1'>"
      "<nc:get/></nc:rpc>";
  const std::string start = std::string(kDeclaration) +
                            "<nc:rpc-reply xmlns:nc=\"urn:ietf:params:xml:ns:netconf:base:1.0\" "
                            "xmlns=\"urn:x\" message-id=\"1\">";
  EXPECT_EQ(ReplyTo(rpc), start + "<ok " + kBase + "/></nc:rpc-reply>");
  RpcError error;
  error.tag = "in-use";
  EXPECT_THAT(ReplyTo(rpc, {{}, {error}}),
              HasSubstr(std::string("<rpc-error ") + kBase + "><error-type>application<"));
}

TEST(EnvelopeTest, ErrorsStandInTheOrderOfTheSchema) {
  RpcError error;
  error.type = "protocol";
  error.tag = "bad-element";
  error.severity = "warning";
  error.app_tag = "tag";
  error.path = "/t:a";
  error.prefixes = {{"t", "urn:t"}};
  error.message = "1 < 2";
  error.info = {{"bad-element", "a"}, {"own", "b", "urn:t"}};
  EXPECT_THAT(
      ReplyTo(Rpc("message-id='1'", "<get/>"), {{}, {error}}),
      EndsWith("<rpc-error><error-type>protocol</error-type><error-tag>bad-element</error-tag>"
               "<error-severity>warning</error-severity><error-app-tag>tag</error-app-tag>"
               "<error-path xmlns:t=\"urn:t\">/t:a</error-path>"
               "<error-message xml:lang=\"en\">1 &lt; 2</error-message>"
               "<error-info><bad-element>a</bad-element><own xmlns=\"urn:t\">b</own></error-info>"
               "</rpc-error></rpc-reply>"));
}

TEST(EnvelopeTest, WhatAnErrorDoesNotHaveIsLeftOut) {
  RpcError error;
  error.tag = "in-use";
  EXPECT_THAT(ReplyTo(Rpc("message-id='1'", "<get/>"), {{}, {error}}),
              EndsWith("><rpc-error><error-type>application</error-type>"
                       "<error-tag>in-use</error-tag><error-severity>error</error-severity>"
                       "</rpc-error></rpc-reply>"));
}

TEST(EnvelopeTest, ContentStandsAsItIs) {
  EXPECT_THAT(ReplyTo(Rpc("message-id='1'", "<get/>"), {"<data/>", {}}),
              EndsWith("message-id=\"1\"><data/></rpc-reply>"));
}

TEST(EnvelopeTest, WhatIsNoRpcGetsAReplyWithoutItsAttributes) {
  EXPECT_EQ(ReplyTo("<rpc xmlns='urn:x' message-id='1'/>"),
            std::string(kDeclaration) + "<rpc-reply " + kBase + "><ok/></rpc-reply>");
}

}  // namespace
}  // namespace ncdm::netconf
