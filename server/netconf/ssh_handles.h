// libssh's handles, each with an owner.
#ifndef NCDM_SERVER_NETCONF_SSH_HANDLES_H_
#define NCDM_SERVER_NETCONF_SSH_HANDLES_H_

#include <libssh/libssh.h>
#include <libssh/server.h>

#include <memory>

namespace ncdm::netconf {

template <auto Free>
struct SshDeleter {
  template <typename Handle>
  void operator()(Handle* handle) const {
    Free(handle);
  }
};

using SshKey = std::unique_ptr<ssh_key_struct, SshDeleter<ssh_key_free>>;
using SshSession = std::unique_ptr<ssh_session_struct, SshDeleter<ssh_free>>;
using SshBind = std::unique_ptr<ssh_bind_struct, SshDeleter<ssh_bind_free>>;
using SshEvent = std::unique_ptr<ssh_event_struct, SshDeleter<ssh_event_free>>;

}  // namespace ncdm::netconf

#endif  // NCDM_SERVER_NETCONF_SSH_HANDLES_H_
