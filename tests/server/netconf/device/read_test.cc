// What a read asks of the agents, and what comes of their answers.
#include "tests/server/netconf/device/device_fixture.h"

namespace ncdm::netconf {
namespace {

constexpr char kShelf[] = "<shelf xmlns=\"urn:shop\">";

// All that was asked, request by request.
std::vector<std::vector<std::string>> Asked(const ncdm_test::FakeAgent& agent) {
  std::vector<std::vector<std::string>> asked;
  for (const auto& request : agent.requests()) {
    asked.push_back(request.elements);
  }
  return asked;
}

class ReadTest : public DeviceTest {
 protected:
  ReadTest() : shop_(NewShop()) {}

  // Two items, with the ids 3 and 7.
  void StockShelf() {
    shop_->set_answerer(
        [](ncdm_test::FakeAgent& agent, const ncdm_test::FakeAgent::Request& request) {
          if (request.type == NC_DM_MSG_TYPE_GETID) {
            if (request.elements.front().find("=cup") != std::string::npos) {
              agent.AnswerIds(request.sid, {{7}});
            }
            agent.CloseIds(request.sid);
            return;
          }
          agent.AnswerValues(request.sid, {{"shelf.item.3.name", "jug"},
                                           {"shelf.item.3.price", "12"},
                                           {"shelf.item.7.price", "5"},
                                           {"shelf.item.7.name", "cup"},
                                           {"shelf.item.7.tag.1", "blue"},
                                           {"shelf.item.7.tag.4", "small"},
                                           {"till.owner", "ann"}});
          agent.CloseValues(request.sid);
        });
  }

  std::unique_ptr<ncdm_test::FakeAgent> shop_;
};

TEST_F(ReadTest, OneLeafOfOneEntryIsOneLookupAndOneRead) {
  Get(std::string(kShelf) + "<item><name>cup</name><price/></item></shelf>");
  EXPECT_THAT(Asked(*shop_), ElementsAre(ElementsAre("shelf.item.name=cup")));  // there is none
  StockShelf();
  Get(std::string(kShelf) + "<item><name>cup</name><price/></item></shelf>");
  EXPECT_THAT(Asked(*shop_).back(), ElementsAre("shelf.item.price [7]"));
  EXPECT_EQ(shop_->requests().size(), 3U);
}

TEST_F(ReadTest, EachKeyIsLookedUpOnItsOwn) {
  shop_->set_answerer(
      [](ncdm_test::FakeAgent& agent, const ncdm_test::FakeAgent::Request& request) {
        if (request.type == NC_DM_MSG_TYPE_GETID) {
          const bool is_left = request.elements.front().find("left") != std::string::npos;
          agent.AnswerIds(request.sid, is_left ? std::vector<std::vector<std::int64_t>>{{1}, {2}}
                                               : std::vector<std::vector<std::int64_t>>{{2}, {3}});
          agent.CloseIds(request.sid);
        } else {
          agent.AnswerValues(request.sid, {{"pairs.pair.2.value", "v"}});
          agent.CloseValues(request.sid);
        }
      });
  const std::string data =
      Get("<pairs xmlns=\"urn:shop\"><pair><right>9</right><left>a</left></pair></pairs>");
  EXPECT_THAT(Asked(*shop_),
              ElementsAre(ElementsAre("pairs.pair.left=a"), ElementsAre("pairs.pair.right=9"),
                          ElementsAre("pairs.pair [2]")));
  EXPECT_THAT(data, HasSubstr("<left>a</left><right>9</right><value>v</value>"));
}

TEST_F(ReadTest, OneLeafOfEveryEntryIsReadWithTheKeys) {
  StockShelf();
  const std::string data = Get(std::string(kShelf) + "<item><price/></item></shelf>");
  EXPECT_THAT(Asked(*shop_), ElementsAre(ElementsAre("shelf.item.name", "shelf.item.price")));
  EXPECT_THAT(data, HasSubstr("<item><name>jug</name><price>12</price></item>"
                              "<item><name>cup</name><price>5</price></item>"));
}

TEST_F(ReadTest, WholeContainerIsOneElement) {
  StockShelf();
  const std::string data = Get(std::string(kShelf) + "</shelf>");
  EXPECT_THAT(Asked(*shop_), ElementsAre(ElementsAre("shelf")));
  EXPECT_THAT(data, HasSubstr("<tag>blue</tag><tag>small</tag>"));
  EXPECT_THAT(data, Not(HasSubstr("till")));  // it was given without being asked for
}

TEST_F(ReadTest, StateIsNotReadAsConfiguration) {
  Call("<get-config><source><running/></source><filter>" + std::string(kShelf) +
       "</shelf></filter></get-config>");
  EXPECT_THAT(Asked(*shop_), ElementsAre(ElementsAre("shelf.item.price", "shelf.item.colour",
                                                     "shelf.item.name", "shelf.item.tag")));
}

TEST_F(ReadTest, OtherModulesAskNothing) {
  Get("<shelf xmlns=\"urn:other\"/><nothing/>");
  EXPECT_THAT(shop_->requests(), IsEmpty());
}

TEST_F(ReadTest, NamesWithoutANamespaceMatchInEveryModule) {
  Get("<till xmlns=\"\"><owner/></till>");
  EXPECT_THAT(Asked(*shop_), ElementsAre(ElementsAre("till.owner")));
}

TEST_F(ReadTest, XPathOfOneEntryIsOneLookupAndOneRead) {
  StockShelf();
  Call(
      "<get xmlns:s=\"urn:shop\"><filter type=\"xpath\" "
      "select=\"/s:shelf/s:item[s:name='cup']/s:price\"/></get>");
  EXPECT_THAT(Asked(*shop_),
              ElementsAre(ElementsAre("shelf.item.name=cup"), ElementsAre("shelf.item.price [7]")));
}

TEST_F(ReadTest, XPathOfTheRootIsEverything) {
  StockShelf();
  const std::string all = Call("<get-config><source><running/></source></get-config>").content;
  EXPECT_THAT(all, HasSubstr("urn:shop"));
  EXPECT_EQ(Call("<get-config><source><running/></source>"
                 "<filter type=\"xpath\" select=\" / \"/></get-config>")
                .content,
            all);
}

TEST_F(ReadTest, ValueThatTheModelRefusesIsLeftOut) {
  shop_->set_answerer(
      [](ncdm_test::FakeAgent& agent, const ncdm_test::FakeAgent::Request& request) {
        agent.AnswerValues(request.sid, {{"till.owner", "ann"}, {"till.open", "perhaps"}});
        agent.CloseValues(request.sid);
      });
  const std::string data = Get("<till xmlns=\"urn:shop\"/>");
  EXPECT_THAT(data, HasSubstr("<owner>ann</owner>"));
  EXPECT_THAT(data, Not(HasSubstr("open")));
}

TEST_F(ReadTest, AgentThatGoesAwayIsLeftOut) {
  shop_->set_answerer(
      [](ncdm_test::FakeAgent& agent, const ncdm_test::FakeAgent::Request&) { agent.Close(); });
  const Reply reply = Call("<get><filter><till xmlns=\"urn:shop\"/></filter></get>");
  EXPECT_THAT(reply.errors, IsEmpty());
  EXPECT_THAT(reply.content, Not(HasSubstr("till")));
}

TEST_F(ReadTest, SecondAgentDoesNotGetTheFirstOnesLeaves) {
  auto second = NewShop("second");
  Get("<till xmlns=\"urn:shop\"/>");
  EXPECT_EQ(shop_->requests().size(), 1U);
  EXPECT_THAT(Asked(*second), Not(testing::Contains(testing::Contains("till.owner"))));
}

TEST_F(ReadTest, AgentOfAnUnknownModuleServesNothing) {
  auto other = NewShop("other", "elsewhere");
  Get("<till xmlns=\"urn:shop\"/>");
  EXPECT_THAT(other->requests(), IsEmpty());
}

}  // namespace
}  // namespace ncdm::netconf
