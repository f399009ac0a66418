// The command line of the programs around the library. CLI11 stands behind it: its templates take
// seconds to compile, which they do here, once for all programs.
#ifndef NCDM_OPTIONS_PARSER_H_
#define NCDM_OPTIONS_PARSER_H_

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace CLI {
class App;
}

namespace ncdm::options {

// What an option fills: a flag with true, anything else with its value. One that is called by a
// name and may be repeated takes one value each time.
using Target =
    std::variant<bool*, std::string*, std::vector<std::string>*, std::uint16_t*, double*>;

struct Option {
  const char* names;  // such as "-o,--output"; without a dash it is an operand
  Target target;
  const char* help;
  const char* value_name = nullptr;   // in the usage, in place of the value's type
  const char* environment = nullptr;  // the variable that stands in for it
  const char* excludes = nullptr;     // an option added before, beside which it is refused
  std::optional<double> most = {};    // a number from 0 to this one
  bool required = false;
  bool nonempty = false;
  bool shows_default = false;
};

// The text is of one or more lines.
class WrongUsage : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Parser {
 public:
  explicit Parser(const char* description, const char* name = "");
  Parser(Parser&&) noexcept;
  ~Parser();

  // `text` is what --version prints.
  void SetVersion(const std::string& text, const char* help = "Print the version and end");
  void Add(std::initializer_list<Option> options);
  // A subcommand; once there is one, one has to be given.
  Parser AddCommand(const char* name, const char* description);

  // Nothing when the program shall go on. Otherwise what was asked for, or what is wrong, has been
  // printed, and this is the status to end with: 0 when it was asked for.
  std::optional<int> Parse(int argc, const char* const* argv);
  // The same without printing: what was asked for, empty when the program shall go on. Throws
  // WrongUsage.
  std::string ParseQuietly(int argc, const char* const* argv);

 private:
  explicit Parser(CLI::App* app);
  void AddOption(const Option& option);

  std::unique_ptr<CLI::App> own_;  // not that of a subcommand
  CLI::App* app_;
};

}  // namespace ncdm::options

#endif  // NCDM_OPTIONS_PARSER_H_
