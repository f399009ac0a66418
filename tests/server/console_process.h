// ncdm-console as a process of its own.
#ifndef TESTS_SERVER_CONSOLE_PROCESS_H_
#define TESTS_SERVER_CONSOLE_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "tests/server/fake_agent.h"

namespace ncdm_test {

class ConsoleProcess {
 public:
  enum class Input { kNone, kPipe, kTerminal };

  // Starts the console; TMPDIR and HOME are `root`. With a terminal, it is output and errors, too.
  ConsoleProcess(const std::string& root, std::vector<std::string> arguments,
                 Input input = Input::kNone);
  // Kills it if it still runs.
  ~ConsoleProcess();
  ConsoleProcess(const ConsoleProcess&) = delete;
  ConsoleProcess& operator=(const ConsoleProcess&) = delete;

  void Write(const std::string& text);
  void CloseInput();
  void Signal(int number);

  // Serves the agent (if any) until the output holds the text; false when the process ends before,
  // or after 60 s.
  bool ServeUntil(FakeAgent* agent, const std::string& text);
  // Serves the agent (if any) until the process has ended; its exit code, or -1.
  int Serve(FakeAgent* agent = nullptr);

  const std::string& output() const { return output_; }
  const std::string& errors() const { return errors_; }

 private:
  // One step of waiting; false at the end of output.
  bool Step(FakeAgent* agent);

  pid_t pid_ = -1;
  int input_ = -1;
  int output_fd_ = -1;
  int errors_fd_ = -1;
  std::string output_;
  std::string errors_;
};

}  // namespace ncdm_test

#endif  // TESTS_SERVER_CONSOLE_PROCESS_H_
