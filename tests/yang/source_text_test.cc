#include "yang/generator/source_text.h"

#include <gtest/gtest.h>

namespace ncdm::yang {
namespace {

TEST(LiteralTest, EscapesWhatCWouldRead) {
  EXPECT_EQ(Literal("a\"b\\c\n"), R"("a\"b\\c\n")");
  EXPECT_EQ(Literal("\xc3\xa4"), R"("\303\244")");
  EXPECT_EQ(Literal("\x01"), R"("\001")");
  EXPECT_EQ(Literal("?\?="), R"("?\?=")");
}

TEST(LiteralTest, LongTextsBecomeSeveral) {
  const auto literals = Literals(std::string(20, 'a'), 12);
  EXPECT_EQ(literals, (std::vector<std::string>{"\"aaaaaaaaaa\"", "\"aaaaaaaaaa\""}));
}

TEST(SourceTest, CommentsDoNotEndEarly) {
  Source out;
  out.Comment("a */ b /* c");
  EXPECT_EQ(out.text(), "/* a * / b / * c */\n");
}

TEST(SourceTest, CommentsAreWrapped) {
  Source out;
  out.Comment(std::string(60, 'a') + " " + std::string(60, 'b'), 2);
  EXPECT_EQ(out.text(),
            "  /* " + std::string(60, 'a') + "\n   * " + std::string(60, 'b') + " */\n");
}

TEST(SourceTest, LongCallsAreBroken) {
  Source out;
  const std::string name(90, 'n');
  out.Call("CALL", {name, "1"});
  out.Call("LONG_CALL_OF", {name});
  EXPECT_EQ(out.text(), "CALL(" + name + ", 1);\nLONG_CALL_OF(\n    " + name + ");\n");
}

TEST(SourceTest, LongFieldsStandOnALineOfTheirOwn) {
  Source out;
  out.Field(4, "name", std::string(90, 'v'));
  EXPECT_EQ(out.text(), "    .name =\n        " + std::string(90, 'v') + ",\n");
}

}  // namespace
}  // namespace ncdm::yang
