// The help, which is also the console's manual.
#include <algorithm>

#include "server/console/commands.h"

namespace ncdm::console {
namespace {

constexpr std::string_view kGeneral =
    "\n"
    "PATH may be typed as registered (interfaces.interface.{i}.mtu), without markers\n"
    "(interfaces.interface.mtu), with ids in place (interfaces.interface.3.mtu) or with\n"
    "an entry's keys (interfaces.interface[name=eth0].mtu). Several keys stand in one pair of\n"
    "brackets or in one each: [vrf=red,dest=10.0.0.0/8], [vrf='red'][dest='10.0.0.0/8'],\n"
    "[vrf='red' and dest='10.0.0.0/8']. Reads take it with lists left open behind the last id.\n"
    "Quote words with blanks: set system.contact \"the lab\". What agents send is shown with its\n"
    "control characters escaped (\\n, \\x1b).\n"
    "A line that begins with # is a comment. help COMMAND tells more.\n";

struct Topic {
  std::string_view command;
  std::string_view text;
};

constexpr std::string_view kEntryHelp =
    "The entry is named by all its keys: interfaces.interface[name=eth0]; the lists around\n"
    "it by id or by keys. Leaves are named relative to the entry: mtu=9000 ipv4.mtu=1500;\n"
    "a leaf-list may be given several times.\n"
    "Keys and leaves with a slot travel in one request, which the agent carries out as one\n"
    "command or through the list's callbacks; other leaves follow in a second request.\n";

constexpr std::string_view kDeleteHelp =
    "The entry is named by all its keys: interfaces.interface[name=eth0]; or by its id,\n"
    "and then its keys are read first. unset takes leaves and containers.\n";

constexpr Topic kTopics[] = {
    {"wait", "SECONDS may have a fraction; without it the time of --timeout goes.\n"},
    {"use", "Without AGENT: back to the only one that is connected.\n"},
    {"get",
     "Prints PATH = VALUE lines. --table prints the entries of a list as rows and their\n"
     "leaves as columns, after a column of instance ids (id, or {i} beside a leaf of that name).\n"
     "--tree prints what is inside what, indented; as JSON, nested objects, with lists and\n"
     "leaf-lists as arrays, whole numbers and true and false as such, and an entry's id as @id.\n"
     "With VALUE, which takes a leaf, only the instances with that value are printed. find\n"
     "asks the agent for those instead of reading all.\n"},
    {"find", "Ids in PATH narrow the search to the entries below.\n"},
    {"commit", "Prints sent: agents do not answer whether their configuration lasts now.\n"},
    {"trace",
     "Each line is the time, the agent, > to it or < from it, and the message. The option\n"
     "--trace switches it on from the start.\n"},
    {"create", kEntryHelp},
    {"merge", kEntryHelp},
    {"replace", kEntryHelp},
    {"delete", kDeleteHelp},
    {"remove", kDeleteHelp},
    {"set", "--operation is merge (without it), replace, create or none.\n"},
    {"unset",
     "Of a container, everything below it goes. --operation is delete (without it), remove\n"
     "or none.\n"},
    {"edit",
     "Each line of FILE is OPERATION PATH [VALUE], where OPERATION is merge, replace, create,\n"
     "delete, remove, or - for the default operation; empty lines and lines that begin with #\n"
     "are skipped. PATH leads to a leaf, a leaf-list or a container. Example:\n"
     "  merge interfaces.interface.3.mtu 1500\n"
     "  delete interfaces.interface.3.description\n"},
    {"debug", "Example: debug on error,packet; debug off 0xff\n"},
};

struct OptionHelp {
  std::string_view option;
  std::string_view text;
};

constexpr OptionHelp kOptionHelp[] = {
    {"--agent", "--agent NAME               send it to this agent"},
    {"--datastore", "--datastore NAME           running, candidate, startup, sdn, config or url"},
    {"--default-operation", "--default-operation NAME   merge, replace or none"},
    {"--error-option",
     "--error-option NAME        stop-on-error, continue-on-error or rollback-on-error"},
    {"--operation", "--operation NAME           what is done to the leaf"},
    {"--command", "--command                  as a command, whatever callbacks the list has"},
    {"--table", "--table                    a list's entries as a table"},
    {"--tree", "--tree                     what is inside what; nested as JSON"},
};

std::string Usage(const Command& command) {
  return command.synopsis.empty() ? std::string(command.name)
                                  : std::string(command.name) + " " + std::string(command.synopsis);
}

std::string WithoutLineEnd(std::string_view text) {
  return std::string(text.substr(0, text.find_last_not_of('\n') + 1));
}

void PrintAll(Output& output) {
  std::size_t width = 0;
  for (const Command& command : AllCommands()) {
    width = std::max(width, Usage(command).size());
  }
  for (const Command& command : AllCommands()) {
    std::string line = Usage(command);
    line.append(width - line.size() + 2, ' ');
    output.Text(line + std::string(command.summary));
  }
  output.Text(WithoutLineEnd(kGeneral));
}

void PrintOne(Output& output, const Command& command) {
  output.Text(Usage(command));
  output.Text(std::string("  ") + std::string(command.summary));
  const auto* topic = std::ranges::find(kTopics, command.name, &Topic::command);
  if (topic != std::end(kTopics)) {
    output.Text(WithoutLineEnd(topic->text));
  }
  for (const OptionSpec& option : command.options) {
    const auto* help = std::ranges::find(kOptionHelp, option.name, &OptionHelp::option);
    output.Text(std::string("  ") + std::string(help->text));
  }
}

}  // namespace

void RunHelp(Session& session, const Arguments& arguments) {
  if (arguments.positional.empty()) {
    PrintAll(session.output());
    return;
  }
  const Command* command = FindCommand(arguments.positional.front());
  if (command == nullptr) {
    throw CommandError("there is no command '" + arguments.positional.front() +
                       "'; help lists them");
  }
  PrintOne(session.output(), *command);
}

}  // namespace ncdm::console
