// The check of a socket's path, on which others may have put something.
#ifndef NETCONF_DM_AGENT_TRUSTED_PATH_H_
#define NETCONF_DM_AGENT_TRUSTED_PATH_H_

#include <cstddef>

namespace nc {

// True if only root and the effective user can have made what exists along `path`: no component is
// a symbolic link, and one in a directory that others may write belongs to root or to the effective
// user. The first `root_len` characters are trusted as they are. Otherwise false, with an error
// that names the component.
bool IsTrustedPath(const char* path, size_t root_len);

}  // namespace nc

#endif  // NETCONF_DM_AGENT_TRUSTED_PATH_H_
