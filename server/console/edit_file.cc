#include "server/console/edit_file.h"

#include "server/console/command_line.h"
#include "server/console/error.h"
#include "server/names.h"

namespace ncdm::console {
namespace {

server::Operation ParseOperation(const std::string& word) {
  if (word == "-") {
    return server::Operation::kNone;
  }
  const auto operation = server::OperationFromName(word);
  if (!operation || *operation == server::Operation::kNone) {
    throw CommandError("there is no operation '" + word +
                       "': it is merge, replace, create, delete, remove or -");
  }
  return *operation;
}

FileEdit ParseEdit(const std::vector<std::string>& words) {
  FileEdit edit;
  edit.operation = ParseOperation(words[0]);
  if (words.size() < 2 || words.size() > 3) {
    throw CommandError("a line is OPERATION PATH [VALUE]");
  }
  edit.path = words[1];
  if (words.size() == 3) {
    edit.value = words[2];
  }
  return edit;
}

}  // namespace

std::vector<FileEdit> ReadEditFile(std::istream& file, const std::string& title) {
  std::vector<FileEdit> edits;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    try {
      const std::vector<std::string> words = SplitWords(line);
      if (!words.empty()) {
        edits.push_back(ParseEdit(words));
        edits.back().line = number;
      }
    } catch (const CommandError& error) {
      throw CommandError(title + ":" + std::to_string(number) + ": " + error.what());
    }
  }
  return edits;
}

}  // namespace ncdm::console
