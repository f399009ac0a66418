#include "server/netconf/hello.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace ncdm::netconf {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

std::string Hello(const std::string& content) {
  return "<hello xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'>" + content + "</hello>";
}

std::string Capabilities(const std::string& uri) {
  return "<capabilities><capability>urn:x</capability><capability>" + uri +
         "</capability></capabilities>";
}

void ExpectRefused(const std::string& message, const std::string& why) {
  EXPECT_THAT([&] { AcceptHello(message); }, ThrowsMessage<HelloError>(HasSubstr(why)));
}

TEST(HelloTest, ServerAnnouncesWhatItHasAndTheSession) {
  EXPECT_EQ(RenderHello({"urn:a?b=c&d=e", "urn:f"}, 7),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<hello xmlns=\"urn:ietf:params:xml:ns:netconf:base:1.0\"><capabilities>"
            "<capability>urn:a?b=c&amp;d=e</capability><capability>urn:f</capability>"
            "</capabilities><session-id>7</session-id></hello>");
}

TEST(HelloTest, ClientsNewestVersionChoosesTheFraming) {
  const std::string both =
      "<capabilities><capability>urn:ietf:params:netconf:base:1.0</capability><capability>\n "
      "urn:ietf:params:netconf:base:1.1 \n</capability></capabilities>";
  EXPECT_EQ(AcceptHello(Hello(Capabilities("urn:ietf:params:netconf:base:1.0"))),
            Framing::kEndOfMessage);
  EXPECT_EQ(AcceptHello(Hello(Capabilities("urn:ietf:params:netconf:base:1.1"))),
            Framing::kChunked);
  EXPECT_EQ(AcceptHello(Hello(both)), Framing::kChunked);
}

TEST(HelloTest, HelloWithoutACommonVersionIsRefused) {
  ExpectRefused(Hello(Capabilities("urn:ietf:params:netconf:base:1.2")), "no base version");
  ExpectRefused(Hello("<capabilities/>"), "no base version");
  ExpectRefused(Hello(""), "has no capabilities");
}

TEST(HelloTest, HelloWithASessionIdIsRefused) {
  ExpectRefused(
      Hello(Capabilities("urn:ietf:params:netconf:base:1.1") + "<session-id>4</session-id>"),
      "has a session-id");
}

TEST(HelloTest, WhatIsNoHelloIsRefused) {
  ExpectRefused("<hello><capabilities/></hello>", "sent no <hello>");
  ExpectRefused("<rpc xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'/>", "but <rpc>");
  ExpectRefused("<hello", "not well-formed");
}

TEST(HelloTest, VersionBehindManyModulesIsSeen) {
  std::string many;
  for (int i = 0; i < 2000; ++i) {
    many += "<capability>urn:" + std::to_string(i) + "</capability>";
  }
  EXPECT_EQ(AcceptHello(Hello("<capabilities>" + many +
                              "<capability>"
                              "urn:ietf:params:netconf:base:1.1</capability></capabilities>")),
            Framing::kChunked);
}

}  // namespace
}  // namespace ncdm::netconf
