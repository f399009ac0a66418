// The files of `edit`: several edits, carried out in one request.
//
//   # comment, and empty lines, are skipped
//   OPERATION PATH [VALUE]
//
// OPERATION is merge, replace, create, delete, remove, or - for the default operation. Words are
// split as on a command line. PATH leads to a leaf, a leaf-list or a container.
#ifndef NCDM_SERVER_CONSOLE_EDIT_FILE_H_
#define NCDM_SERVER_CONSOLE_EDIT_FILE_H_

#include <istream>
#include <optional>
#include <string>
#include <vector>

#include "server/request.h"

namespace ncdm::console {

struct FileEdit {
  int line = 0;
  server::Operation operation = server::Operation::kNone;
  std::string path;
  std::optional<std::string> value;
};

// Throws CommandError, whose text begins with `title` and the line's number.
std::vector<FileEdit> ReadEditFile(std::istream& file, const std::string& title);

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_EDIT_FILE_H_
