// Who may log in: a file of public keys, as sshd has it for a user.
#ifndef NCDM_SERVER_NETCONF_AUTHORIZED_KEYS_H_
#define NCDM_SERVER_NETCONF_AUTHORIZED_KEYS_H_

#include <sys/stat.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/netconf/ssh_handles.h"

namespace ncdm::netconf {

// A line `type base64 [comment]`.
struct KeyLine {
  std::string type;
  std::string base64;
};

// Nothing for a blank line and a comment. Throws std::runtime_error for any other line that is none
// of this form; so is one that begins with options, since nothing here would heed them.
std::optional<KeyLine> ParseKeyLine(std::string_view line);

class AuthorizedKeys {
 public:
  // Throws std::runtime_error when the file cannot be read. A line without a key is logged and
  // accepts nobody.
  explicit AuthorizedKeys(std::string path);

  // True if the file has this public key now: it is read again when it has changed.
  bool Accepts(ssh_key key);

 private:
  void Read();
  void AddLine(std::string_view line, unsigned number);
  bool HasChanged() const;

  std::string path_;
  std::vector<SshKey> keys_;
  struct stat read_ {};  // the file when it was read
};

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_AUTHORIZED_KEYS_H_
