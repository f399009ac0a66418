// Lines typed at a terminal, with editing, history and completion.
#ifndef NCDM_SERVER_CONSOLE_LINE_EDITOR_H_
#define NCDM_SERVER_CONSOLE_LINE_EDITOR_H_

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "server/console/completion.h"
#include "server/console/line_source.h"

namespace ncdm::console {

class LineEditor : public LineSource {
 public:
  struct Callbacks {
    WaitFunction wait;                                          // for the terminal
    std::function<std::string()> prompt;                        // asked for each line
    std::function<Completion(std::string_view line)> complete;  // what stands before the cursor
  };
  // `history_file`: read now and written at the end; empty for none. Throws std::runtime_error.
  LineEditor(Callbacks callbacks, std::string history_file);
  ~LineEditor() override;

  std::optional<std::string> Next() override;
  std::string Place() const override { return ""; }

  // Prints a line above the prompt and what is typed there; while a command runs, on standard
  // error.
  void Say(const std::string& line);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation_;
};

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_LINE_EDITOR_H_
