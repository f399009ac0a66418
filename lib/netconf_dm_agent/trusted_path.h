// Whether a socket's place in the file system is ours.
#ifndef NETCONF_DM_AGENT_TRUSTED_PATH_H_
#define NETCONF_DM_AGENT_TRUSTED_PATH_H_

#include <cstddef>

namespace nc {

// True if nobody but root and the effective user can have put what stands along `path` behind its
// first `root_len` characters, which are the administrator's word: no component is a symbolic link,
// and one that lies in a directory that others may write belongs to root or to the effective user.
// What does not exist is nobody's. Otherwise false, with an error that names the component.
bool IsTrustedPath(const char* path, size_t root_len);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_TRUSTED_PATH_H_
