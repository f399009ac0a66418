// The header of a YANG module.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "netconf_dm_yang.h"
#include "support/debug_mask.h"
#include "support/failing_alloc.h"
#include "support/log_lines.h"

namespace ncdm_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kOther = "The tmpstr isn't equal to statment input!\n";
constexpr const char* kShort = "The string length of ptr is less than statement!\n";
constexpr const char* kOneCharacter =
    "The current brk_ov pointer address is equal to the one of file_cont!\n";

// A null text is "<null>".
std::string Text(const char* text) { return text == nullptr ? "<null>" : text; }

// A search of a text: what it gives, and what is left behind the cursor.
struct Found {
  std::string text;
  std::string rest;
  bool operator==(const Found&) const = default;
};

void PrintTo(const Found& found, std::ostream* stream) {
  *stream << '"' << found.text << "\" before \"" << found.rest << '"';
}

using Search = char* (*)(char**, const char*);

Found Run(Search search, std::string text, const char* statement) {
  char* cursor = text.data();
  char* found = search(&cursor, statement);
  Found result = {Text(found), cursor};
  free(found);
  return result;
}

Found Name(const std::string& text, const char* statement = "module ") {
  LogCapture::Get().Clear();
  return Run(nc_dm_yang_raw_search_objname, text, statement);
}

Found Value(const std::string& text, const char* statement = "prefix ") {
  LogCapture::Get().Clear();
  return Run(nc_dm_yang_raw_search_objvalue, text, statement);
}

class YangNameTest : public testing::Test {
 protected:
  const DebugMask mask_;
};

TEST_F(YangNameTest, EndsAtABlankOrABrace) {
  EXPECT_EQ(Name("module demo-if {\n"), (Found{"demo-if", " {\n"}));
  EXPECT_EQ(Name("module demo-if{\n"), (Found{"demo-if", "{\n"}));
  EXPECT_EQ(Name(" \t\r\n module \n demo\r\n{"), (Found{"demo", "\r\n{"}));
  EXPECT_EQ(Name("revision 2019-01-01 { }", "revision "), (Found{"2019-01-01", " { }"}));
  EXPECT_EQ(Name("module {"), (Found{"", "{"}));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(YangNameTest, TakesASemicolonAlong) {
  EXPECT_EQ(Name("revision 2020-02-02;\n{", "revision "), (Found{"2020-02-02;", "\n{"}));
}

TEST_F(YangNameTest, NeedsABraceSomewhereBehind) {
  EXPECT_EQ(Name(" module demo;\n"), (Found{"<null>", " module demo;\n"}));
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc object name buffer!\n"));
  EXPECT_EQ(Name("module demo;\nany\nthing {"), (Found{"demo;", "\nany\nthing {"}));
}

TEST_F(YangNameTest, MovesToAnotherStatement) {
  EXPECT_EQ(Name(" \n// comment {"), (Found{"<null>", "// comment {"}));
  EXPECT_THAT(ErrorLines(), ElementsAre(kOther));
  EXPECT_EQ(Name("submodule x {"), (Found{"<null>", "submodule x {"}));
  EXPECT_EQ(Name("module\tx {"), (Found{"<null>", "module\tx {"}));
  EXPECT_EQ(Name("Module xx {"), (Found{"<null>", "Module xx {"}));
}

TEST_F(YangNameTest, NeedsMoreThanTheStatement) {
  EXPECT_EQ(Name("  module "), (Found{"<null>", "  module "}));
  EXPECT_THAT(ErrorLines(), ElementsAre(kShort));
  EXPECT_EQ(Name(""), (Found{"<null>", ""}));
  EXPECT_THAT(ErrorLines(), ElementsAre(kShort));
  EXPECT_EQ(Name("module  "), (Found{"<null>", "module  "}));
  EXPECT_THAT(ErrorLines(), ElementsAre("The current ptr is null, no need to check start tag!\n"));
}

TEST_F(YangNameTest, RefusesNull) {
  char text[] = "module a {";
  char* cursor = nullptr;
  EXPECT_EQ(nc_dm_yang_raw_search_objname(nullptr, "module "), nullptr);
  EXPECT_EQ(nc_dm_yang_raw_search_objname(&cursor, "module "), nullptr);
  cursor = text;
  EXPECT_EQ(nc_dm_yang_raw_search_objname(&cursor, nullptr), nullptr);
  EXPECT_EQ(cursor, text);
  EXPECT_THAT(ErrorLines(), ElementsAre("The fcptr input is null!\n", "The *fcptr input is null!\n",
                                        "The statment input is null!\n"));
}

TEST_F(YangNameTest, ReportsShortMemory) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char text[] = " module a {";
  char* cursor = text;
  {
    const FailingAlloc failing(0);
    EXPECT_EQ(nc_dm_yang_raw_search_objname(&cursor, "module "), nullptr);
  }
  EXPECT_EQ(cursor, text);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc object name buffer!\n"));
}

using YangValueTest = YangNameTest;

TEST_F(YangValueTest, LosesItsQuotesAndSemicolon) {
  EXPECT_EQ(Value("namespace \"urn:demo:if\";\nrest", "namespace "),
            (Found{"urn:demo:if", "\nrest"}));
  EXPECT_EQ(Value("prefix dif;\r\nrest"), (Found{"dif", "\r\nrest"}));
  EXPECT_EQ(Value("  prefix   dif ; \t\n"), (Found{"dif ", "\n"}));
  EXPECT_EQ(Value("prefix \"dif\"\n"), (Found{"dif", "\n"}));
  EXPECT_EQ(Value("prefix dif\";\";;  \n"), (Found{"dif", "\n"}));
  EXPECT_EQ(Value("prefix \"\"dif\"\";\n"), (Found{"\"dif", "\n"}));
  EXPECT_EQ(Value("prefix ab\n"), (Found{"ab", "\n"}));
  EXPECT_EQ(Value("prefix \n ab;\n"), (Found{"ab", "\n"}));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(YangValueTest, OfOneCharacterIsRefused) {
  for (const char* text :
       {"prefix a;\n", "prefix a\n", "prefix \"a\";\n", "prefix \"a\n", "prefix a; \t\r\n",
        "prefix ;\n", "prefix \"\";\n", "prefix \"\n", "prefix \"  \n", "prefix ;;;;\n"}) {
    EXPECT_EQ(Value(text), (Found{"<null>", text})) << text;
    EXPECT_THAT(ErrorLines(), ElementsAre(kOneCharacter)) << text;
  }
}

TEST_F(YangValueTest, NeedsALineEnd) {
  EXPECT_EQ(Value(" prefix dif;"), (Found{"<null>", " prefix dif;"}));
  EXPECT_THAT(ErrorLines(), ElementsAre("The current brk_ov is null!\n"));
  EXPECT_EQ(Value("prefix \t\n"), (Found{"<null>", "prefix \t\n"}));
  EXPECT_THAT(ErrorLines(), ElementsAre("The current ptr is null, no need to continue!\n"));
}

TEST_F(YangValueTest, MovesToAnotherStatement) {
  EXPECT_EQ(Value("\n namespace \"urn\";\n"), (Found{"<null>", "namespace \"urn\";\n"}));
  EXPECT_THAT(ErrorLines(), ElementsAre(kOther));
  EXPECT_EQ(Value(" prefix "), (Found{"<null>", " prefix "}));
  EXPECT_THAT(ErrorLines(), ElementsAre(kShort));
}

TEST_F(YangValueTest, RefusesNull) {
  char text[] = "prefix ab;\n";
  char* cursor = nullptr;
  EXPECT_EQ(nc_dm_yang_raw_search_objvalue(nullptr, "prefix "), nullptr);
  EXPECT_EQ(nc_dm_yang_raw_search_objvalue(&cursor, "prefix "), nullptr);
  cursor = text;
  EXPECT_EQ(nc_dm_yang_raw_search_objvalue(&cursor, nullptr), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("The fcptr input is null!\n", "The *fcptr input is null!\n",
                                        "The statment input is null!\n"));
}

TEST_F(YangValueTest, GivesNullWhenMemoryIsShort) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  char text[] = "prefix ab;\n";
  char* cursor = text;
  const FailingAlloc failing(0);
  EXPECT_EQ(nc_dm_yang_raw_search_objvalue(&cursor, "prefix "), nullptr);
  EXPECT_EQ(cursor, text);
}

class YangDocTest : public testing::Test {
 protected:
  // Module name, namespace, prefix and version, as far as they were found.
  std::vector<std::string> Read(const std::string& text) {
    LogCapture::Get().Clear();
    nc_dm_yang_doc_t* doc = nc_dm_yang_read_doc(text.c_str());
    if (doc == nullptr) return {};
    std::vector<std::string> result = {Text(doc->module_name), Text(doc->ns), Text(doc->prefix),
                                       Text(doc->version)};
    nc_dm_yang_doc_free(doc);
    return result;
  }

  const DebugMask mask_;
};

constexpr const char* kModule =
    "module demo-if {\n"
    "  namespace \"urn:demo:if\";\n"
    "  prefix dif;\n"
    "  revision 2019-01-01 {\n"
    "  }\n"
    "  revision 2018-01-01 {\n"
    "  }\n"
    "}\n";

TEST_F(YangDocTest, ReadsAHeader) {
  EXPECT_THAT(Read(kModule), ElementsAre("demo-if", "urn:demo:if", "dif", "2019-01-01"));
  EXPECT_THAT(
      InfoLines(),
      ElementsAre("The ydoc->module_name is 'demo-if'.\n", "The ydoc->ns is 'urn:demo:if'.\n",
                  "The ydoc->prefix is 'dif'.\n", "The ydoc->version is '2019-01-01'.\n"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(YangDocTest, ReadsAHeaderWithTheLineEndsOfOtherSystems) {
  std::string text;
  for (const char* c = kModule; *c != '\0'; ++c) text += *c == '\n' ? "\r\n" : std::string(1, *c);
  EXPECT_THAT(Read(text), ElementsAre("demo-if", "urn:demo:if", "dif", "2019-01-01"));
}

TEST_F(YangDocTest, PassesOverOtherLines) {
  EXPECT_THAT(Read("module demo-if {\n"
                   "\n"
                   "  yang-version 1.1;\n"
                   "  namespace \"urn:demo:if\";\n"
                   "  // what follows is short\n"
                   "  prefix dif;\n"
                   "  organization \"none\";\n"
                   "  revision 2019-01-01 {\n"),
              ElementsAre("demo-if", "urn:demo:if", "dif", "2019-01-01"));
  EXPECT_THAT(ErrorLines(), ElementsAre(kOther, "The ydoc->ns is null, continue!\n", kOther,
                                        "The ydoc->prefix is null, continue!\n", kOther,
                                        "The ydoc->version is null, continue!\n"));
}

TEST_F(YangDocTest, HasNoNameBehindAComment) {
  EXPECT_THAT(Read(std::string("// demo\n") + kModule),
              ElementsAre("<null>", "urn:demo:if", "dif", "2019-01-01"));
  EXPECT_THAT(ErrorLines(), ElementsAre(kOther, "The ydoc->module_name is null!\n", kOther,
                                        "The ydoc->ns is null, continue!\n"));
}

TEST_F(YangDocTest, HasTheBraceOnALineOfItsOwn) {
  EXPECT_THAT(Read("module demo\n{\n  namespace \"urn\";\n  prefix dif;\n"),
              ElementsAre("demo", "urn", "dif", "<null>"));
}

TEST_F(YangDocTest, LooksForStatementsInOneOrder) {
  EXPECT_THAT(Read("module demo {\n  prefix dif;\n  namespace \"urn\";\n"),
              ElementsAre("demo", "urn", "<null>", "<null>"));
  EXPECT_THAT(Read("module demo {\n  revision 2019-01-01 {\n  prefix dif;\n"),
              ElementsAre("demo", "<null>", "<null>", "<null>"));
}

TEST_F(YangDocTest, HasNoNamespaceOnALastLineWithoutLineEnd) {
  EXPECT_THAT(Read("module demo {\n  namespace \"urn:demo:if\";"),
              ElementsAre("demo", "<null>", "<null>", "<null>"));
  EXPECT_THAT(ErrorLines(),
              ElementsAre("The current brk_ov is null!\n", "The ydoc->ns is null, continue!\n",
                          kOther, "The ydoc->prefix is null, continue!\n"));
}

TEST_F(YangDocTest, GoesOnBehindAPrefixOfOneCharacter) {
  EXPECT_THAT(Read("module demo {\n"
                   "  namespace \"urn\";\n"
                   "  prefix a;\n"
                   "  revision 2019-01-01 {\n"),
              ElementsAre("demo", "urn", "<null>", "2019-01-01"));
  EXPECT_THAT(ErrorLines(), ElementsAre(kOneCharacter, "The ydoc->prefix is null, continue!\n",
                                        kOther, "The ydoc->prefix is null, continue!\n",  //
                                        kShort, "The ydoc->prefix is null, continue!\n",  //
                                        kOther, "The ydoc->version is null, continue!\n"));
  EXPECT_THAT(Read("module demo {\n"
                   "  namespace \"urn\";\n"
                   "  prefix a;\n"
                   "  prefix bb;\n"
                   "  revision 2019-01-01 {\n"),
              ElementsAre("demo", "urn", "bb", "2019-01-01"));
  EXPECT_THAT(ErrorLines(), ElementsAre(kOneCharacter, "The ydoc->prefix is null, continue!\n"));
}

TEST_F(YangDocTest, FindsAShortLineThatCouldNotHoldTheStatementBefore) {
  EXPECT_THAT(Read("module demo {\nprefix ab\n"), ElementsAre("demo", "<null>", "ab", "<null>"));
}

TEST_F(YangDocTest, ReadsARevisionUpToTheNextBlank) {
  EXPECT_THAT(Read("module demo {\n namespace \"urn\";\n prefix dif;\n"
                   " revision 2020-02-02;\n container c {\n"),
              ElementsAre("demo", "urn", "dif", "2020-02-02;"));
  EXPECT_THAT(Read("module demo {\n namespace \"urn\";\n prefix dif;\n revision 2020-02-02;\n"),
              ElementsAre("demo", "urn", "dif", "<null>"));
}

TEST_F(YangDocTest, MayBeAlmostNothing) {
  EXPECT_THAT(Read(""), ElementsAre("<null>", "<null>", "<null>", "<null>"));
  EXPECT_THAT(ErrorLines(), ElementsAre(kShort, "The ydoc->module_name is null!\n"));
  EXPECT_THAT(Read("\n"), ElementsAre("<null>", "<null>", "<null>", "<null>"));
  EXPECT_THAT(ErrorLines(), ElementsAre(kShort, "The ydoc->module_name is null!\n",       //
                                        kShort, "The ydoc->ns is null, continue!\n",      //
                                        kShort, "The ydoc->prefix is null, continue!\n",  //
                                        kShort, "The ydoc->version is null, continue!\n"));
  EXPECT_THAT(Read("module demo {"), ElementsAre("demo", "<null>", "<null>", "<null>"));
  EXPECT_THAT(ErrorLines(), IsEmpty());
}

TEST_F(YangDocTest, RefusesNull) {
  EXPECT_EQ(nc_dm_yang_read_doc(nullptr), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("The file_cont input is null!\n"));
  nc_dm_yang_doc_free(nullptr);
}

TEST_F(YangDocTest, EndsForEveryPrefixOfAText) {
  const std::string text = std::string("\r\n") + kModule + "prefix a;\n namespace ;\n revision x";
  for (size_t length = 0; length <= text.size(); ++length) {
    EXPECT_EQ(Read(text.substr(0, length)).size(), 4u) << length;
    EXPECT_LE(ErrorLines().size(), 4 + 6 * length);
  }
}

TEST_F(YangDocTest, LeaksNothingWhateverAllocationFails) {
  NCDM_SKIP_WITHOUT_FAILING_ALLOC();
  g_nc_dm_agent_dbg = 0;
  bool has_failed = true;
  for (int successes = 0; has_failed; ++successes) {
    const int live = FailingAlloc::Live();
    nc_dm_yang_doc_t* doc = nullptr;
    {
      const FailingAlloc failing(successes);
      doc = nc_dm_yang_read_doc(kModule);
      has_failed = FailingAlloc::HasFailed();
    }
    EXPECT_EQ(doc == nullptr, successes == 0);
    nc_dm_yang_doc_free(doc);
    EXPECT_EQ(FailingAlloc::Live(), live) << successes;
    ASSERT_LT(successes, 10);
  }
  const FailingAlloc failing(0);
  g_nc_dm_agent_dbg = NC_DM_DBG_ERROR;
  EXPECT_EQ(nc_dm_yang_read_doc(kModule), nullptr);
  EXPECT_THAT(ErrorLines(), ElementsAre("Failed to malloc yang doc!\n"));
}

}  // namespace
}  // namespace ncdm_test
