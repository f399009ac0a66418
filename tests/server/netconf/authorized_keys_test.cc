#include "server/netconf/authorized_keys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "support/temp_dir.h"

namespace ncdm::netconf {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

SshKey MakeKey() {
  ssh_key key = nullptr;
  ssh_pki_generate(SSH_KEYTYPE_ED25519, 0, &key);
  return SshKey(key);
}

std::string LineOf(const SshKey& key) {
  char* base64 = nullptr;
  ssh_pki_export_pubkey_base64(key.get(), &base64);
  std::string line = std::string("ssh-ed25519 ") + base64;
  ssh_string_free_char(base64);
  return line;
}

class AuthorizedKeysTest : public testing::Test {
 protected:
  void Write(const std::string& text) { std::ofstream(path_) << text; }

  ncdm_test::TempDir dir_;
  const std::string path_ = dir_.path() + "/authorized_keys";
  const SshKey alice_ = MakeKey();
  const SshKey bob_ = MakeKey();
};

TEST(KeyLineTest, TypeAndKeyAreTakenAndTheCommentIsNot) {
  const auto line = ParseKeyLine("  ssh-ed25519\tAAAA a comment\r");
  ASSERT_TRUE(line.has_value());
  EXPECT_EQ(line->type, "ssh-ed25519");
  EXPECT_EQ(line->base64, "AAAA");
}

TEST(KeyLineTest, BlankLinesAndCommentsAreNoKeys) {
  for (const char* line : {"", " \t\r", "# ssh-ed25519 AAAA", "  #"}) {
    EXPECT_EQ(ParseKeyLine(line), std::nullopt) << line;
  }
}

TEST(KeyLineTest, OtherLinesAreRefused) {
  for (const char* line : {"no-pty ssh-ed25519 AAAA", "AAAA", "ssh-ed25519", "ssh-foo AAAA"}) {
    EXPECT_THROW(ParseKeyLine(line), std::runtime_error) << line;
  }
}

TEST_F(AuthorizedKeysTest, KeyInTheFileIsAcceptedAndAnotherIsNot) {
  Write("# people\n\n" + LineOf(alice_) + " alice@example\n");
  AuthorizedKeys keys(path_);
  EXPECT_TRUE(keys.Accepts(alice_.get()));
  EXPECT_FALSE(keys.Accepts(bob_.get()));
}

TEST_F(AuthorizedKeysTest, WrongLinesAreLeftOutAndTheOthersHold) {
  Write("nonsense\nssh-ed25519 ???\nno-pty " + LineOf(alice_) + "\n" + LineOf(bob_));
  AuthorizedKeys keys(path_);
  EXPECT_FALSE(keys.Accepts(alice_.get()));
  EXPECT_TRUE(keys.Accepts(bob_.get()));
}

TEST_F(AuthorizedKeysTest, FileIsReadAgainWhenItHasChanged) {
  Write(LineOf(alice_));
  AuthorizedKeys keys(path_);
  Write("# gone\n" + LineOf(bob_));
  EXPECT_FALSE(keys.Accepts(alice_.get()));
  EXPECT_TRUE(keys.Accepts(bob_.get()));
  std::filesystem::remove(path_);
  EXPECT_FALSE(keys.Accepts(bob_.get()));
}

TEST_F(AuthorizedKeysTest, FileThatCannotBeReadIsNamed) {
  EXPECT_THAT([&] { AuthorizedKeys keys(path_); },
              ThrowsMessage<std::runtime_error>(HasSubstr(path_)));
  EXPECT_THAT([&] { AuthorizedKeys keys(dir_.path()); },
              ThrowsMessage<std::runtime_error>(HasSubstr(dir_.path())));
}

}  // namespace
}  // namespace ncdm::netconf
