#include "server/netconf/authorized_keys.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "server/netconf/log.h"

namespace ncdm::netconf {
namespace {

constexpr std::string_view kBlanks = " \t\r";

// Takes the first word of `line`.
std::string_view TakeWord(std::string_view* line) {
  line->remove_prefix(std::min(line->find_first_not_of(kBlanks), line->size()));
  const std::string_view word = line->substr(0, line->find_first_of(kBlanks));
  line->remove_prefix(word.size());
  return word;
}

SshKey ImportKey(const KeyLine& line) {
  ssh_key key = nullptr;
  const ssh_keytypes_e type = ssh_key_type_from_name(line.type.c_str());
  if (ssh_pki_import_pubkey_base64(line.base64.c_str(), type, &key) != SSH_OK) {
    throw std::runtime_error("no public key of type " + line.type);
  }
  return SshKey(key);
}

}  // namespace

std::optional<KeyLine> ParseKeyLine(std::string_view line) {
  const std::string_view type = TakeWord(&line);
  if (type.empty() || type.starts_with('#')) {
    return std::nullopt;
  }
  if (ssh_key_type_from_name(std::string(type).c_str()) == SSH_KEYTYPE_UNKNOWN) {
    throw std::runtime_error("it begins with no type of key that is known here");
  }
  const std::string_view base64 = TakeWord(&line);
  if (base64.empty()) {
    throw std::runtime_error("there is no key behind its type");
  }
  return KeyLine{std::string(type), std::string(base64)};
}

AuthorizedKeys::AuthorizedKeys(std::string path) : path_(std::move(path)) { Read(); }

bool AuthorizedKeys::Accepts(ssh_key key) {
  if (HasChanged()) {
    try {
      Read();
    } catch (const std::exception& error) {
      Log(error.what());
    }
  }
  return std::ranges::any_of(keys_, [&](const SshKey& accepted) {
    return ssh_key_cmp(accepted.get(), key, SSH_KEY_CMP_PUBLIC) == 0;
  });
}

bool AuthorizedKeys::HasChanged() const {
  struct stat now {};
  return stat(path_.c_str(), &now) != 0 || now.st_ino != read_.st_ino ||
         now.st_dev != read_.st_dev || now.st_size != read_.st_size ||
         now.st_mtim.tv_sec != read_.st_mtim.tv_sec || now.st_mtim.tv_nsec != read_.st_mtim.tv_nsec;
}

void AuthorizedKeys::Read() {
  keys_.clear();
  read_ = {};
  errno = 0;
  std::ifstream file(path_);
  struct stat status {};
  if (!file || stat(path_.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) {
    throw std::runtime_error("cannot read the authorized keys '" + path_ + "'" +
                             (errno == 0 ? "" : std::string(": ") + std::strerror(errno)));
  }
  read_ = status;
  std::string line;
  for (unsigned number = 1; std::getline(file, line); ++number) {
    AddLine(line, number);
  }
  if (keys_.empty()) {
    Log("nobody can log in: there is no key in '" + path_ + "'");
  }
}

void AuthorizedKeys::AddLine(std::string_view line, unsigned number) {
  try {
    if (const std::optional<KeyLine> key = ParseKeyLine(line)) {
      keys_.push_back(ImportKey(*key));
    }
  } catch (const std::exception& error) {
    Log("'" + path_ + "', line " + std::to_string(number) + " is left out: " + error.what());
  }
}

}  // namespace ncdm::netconf
