// A typed line, cut into words; and words, sorted into options and arguments.
#ifndef NCDM_SERVER_CONSOLE_COMMAND_LINE_H_
#define NCDM_SERVER_CONSOLE_COMMAND_LINE_H_

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ncdm::console {

// Words stand between blanks. "..." and '...' hold blanks together and vanish; a backslash in "..."
// takes the next character as it is (\n and \t are line end and tab). Between [ and ] everything is
// kept as typed, quotes included, for the path parser. A line whose first word begins with # is
// empty. Throws CommandError for an unclosed quote or bracket.
std::vector<std::string> SplitWords(std::string_view line);

// An option that a command takes.
struct OptionSpec {
  std::string_view name;  // "--datastore"
  bool has_value = true;
};

struct GivenOption {
  std::string name;
  std::string value;
};

struct Arguments {
  std::vector<std::string> positional;
  std::vector<GivenOption> options;

  // The value of an option, or null. An option without value has an empty one.
  const std::string* Option(std::string_view name) const;
  bool Has(std::string_view name) const { return Option(name) != nullptr; }
};

// Sorts the words behind the command's name: "--name value", "--name=value", and "--" before
// arguments that begin with "--". Throws CommandError for an option that is not in `known`, is
// given twice or lacks its value.
Arguments SortWords(std::string_view command, std::span<const std::string> words,
                    std::span<const OptionSpec> known);

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_COMMAND_LINE_H_
