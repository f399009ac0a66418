#include "server/console/commands.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>
#include <vector>

#include "server/names.h"

namespace ncdm::console {
namespace {

constexpr std::size_t kMany = std::numeric_limits<std::size_t>::max();

constexpr OptionSpec kAgent{"--agent"};
constexpr OptionSpec kDatastore{"--datastore"};
constexpr OptionSpec kDefaultOperation{"--default-operation"};
constexpr OptionSpec kErrorOption{"--error-option"};
constexpr OptionSpec kOperation{"--operation"};
constexpr OptionSpec kCommand{"--command", false};
constexpr OptionSpec kTable{"--table", false};
constexpr OptionSpec kTree{"--tree", false};

constexpr OptionSpec kAgentAlone[] = {kAgent};
constexpr OptionSpec kGetOptions[] = {kAgent, kDatastore, kTable, kTree};
constexpr OptionSpec kFindOptions[] = {kAgent, kDatastore};
constexpr OptionSpec kEntryOptions[] = {kAgent, kDatastore, kDefaultOperation, kErrorOption,
                                        kCommand};
constexpr OptionSpec kLeafOptions[] = {kAgent, kDatastore, kDefaultOperation, kErrorOption,
                                       kOperation};
constexpr OptionSpec kFileOptions[] = {kAgent, kDatastore, kDefaultOperation, kErrorOption};

constexpr WordKind kAgentWord[] = {WordKind::kAgent, WordKind::kOther};
constexpr WordKind kPathWord[] = {WordKind::kPath, WordKind::kOther};
constexpr WordKind kEntryWords[] = {WordKind::kPath, WordKind::kAssignment};
constexpr WordKind kOnOffWord[] = {WordKind::kOnOff};
constexpr WordKind kDebugWords[] = {WordKind::kOnOff, WordKind::kOther};
constexpr WordKind kPlainWords[] = {WordKind::kOther};

constexpr Command kCommands[] = {
    {"agents", "", "the agents that are or were connected", 0, 0, {}, kPlainWords, RunAgents},
    {"wait",
     "AGENT [SECONDS]",
     "until the agent is connected and has announced its paths",
     1,
     2,
     {},
     kAgentWord,
     RunWait},
    {"use", "[AGENT]", "send the commands that follow to this agent", 0, 1, {}, kAgentWord, RunUse},
    {"paths", "[AGENT]", "the paths that an agent registered", 0, 1, kAgentAlone, kAgentWord,
     RunPaths},
    {"modules", "[AGENT]", "the YANG modules that an agent announced", 0, 1, kAgentAlone,
     kAgentWord, RunModules},
    {"get", "PATH [VALUE]", "read everything at and below a path; with VALUE what equals it", 1, 2,
     kGetOptions, kPathWord, RunGet},
    {"find", "PATH VALUE", "the instances whose leaf has this value", 2, 2, kFindOptions, kPathWord,
     RunFind},
    {"create", "PATH[KEY=VALUE,...] [LEAF=VALUE ...]", "a list entry that must not exist yet", 1,
     kMany, kEntryOptions, kEntryWords, RunCreate},
    {"merge", "PATH[KEY=VALUE,...] [LEAF=VALUE ...]", "a list entry that may exist", 1, kMany,
     kEntryOptions, kEntryWords, RunMerge},
    {"replace", "PATH[KEY=VALUE,...] [LEAF=VALUE ...]", "the same, to replace what is there", 1,
     kMany, kEntryOptions, kEntryWords, RunReplace},
    {"delete", "PATH[KEY=VALUE,...]", "a list entry that must exist", 1, 1, kEntryOptions,
     kPathWord, RunDelete},
    {"remove", "PATH[KEY=VALUE,...]", "a list entry that may be missing", 1, 1, kEntryOptions,
     kPathWord, RunRemove},
    {"set", "PATH VALUE", "a leaf, or one more value of a leaf-list", 2, 2, kLeafOptions, kPathWord,
     RunSet},
    {"unset", "PATH [VALUE]", "a leaf, a container, or one value of a leaf-list", 1, 2,
     kLeafOptions, kPathWord, RunUnset},
    {"edit", "FILE", "several leaves in one request, from lines OPERATION PATH [VALUE]", 1, 1,
     kFileOptions, kPlainWords, RunEdit},
    {"commit", "", "let the agent make its configuration lasting", 0, 0, kAgentAlone, kPlainWords,
     RunCommit},
    {"show", "", "let the agent dump its tree into its log", 0, 0, kAgentAlone, kPlainWords,
     RunShow},
    {"debug", "on|off BITS", "switch the agent's log: error,info,packet,timing or a number", 2, 2,
     kAgentAlone, kDebugWords, RunDebug},
    {"trace",
     "on|off",
     "print each message on standard error as it passes",
     1,
     1,
     {},
     kOnOffWord,
     RunTrace},
    {"help", "[COMMAND]", "this, or more about one command", 0, 1, {}, kPlainWords, RunHelp},
    {"quit", "", "end", 0, 0, {}, kPlainWords, RunQuit},
    {"exit", "", "the same", 0, 0, {}, kPlainWords, RunQuit},
};

std::string Usage(const Command& command) {
  std::string usage(command.name);
  if (!command.synopsis.empty()) {
    usage += " " + std::string(command.synopsis);
  }
  return usage;
}

}  // namespace

std::span<const Command> AllCommands() { return kCommands; }

const Command* FindCommand(std::string_view name) {
  const auto* command = std::ranges::find(kCommands, name, &Command::name);
  return command == std::end(kCommands) ? nullptr : command;
}

void Execute(Session& session, std::string_view line) {
  const std::vector<std::string> words = SplitWords(line);
  if (words.empty()) {
    return;
  }
  const Command* command = FindCommand(words.front());
  if (command == nullptr) {
    throw CommandError("there is no command '" + words.front() + "'; help lists them");
  }
  const Arguments arguments =
      SortWords(command->name, std::span(words).subspan(1), command->options);
  const std::size_t count = arguments.positional.size();
  if (count < command->min_words || count > command->max_words) {
    throw CommandError("usage: " + Usage(*command));
  }
  try {
    command->run(session, arguments);
  } catch (const server::RequestError& error) {
    throw CommandError(error.what());
  }
}

const std::string* AgentOption(const Arguments& arguments) { return arguments.Option("--agent"); }

nc_dm_ds_type_t DatastoreOption(const Arguments& arguments) {
  const std::string* name = arguments.Option("--datastore");
  if (name == nullptr) {
    return NC_DM_DATASTORE_RUNNING;
  }
  const auto datastore = server::DatastoreFromName(*name);
  if (!datastore) {
    throw CommandError("there is no datastore '" + *name +
                       "': it is running, candidate, startup, sdn, config or url");
  }
  return *datastore;
}

server::Milliseconds ParseSeconds(std::string_view text) {
  constexpr double kMaxSeconds = 1e6;
  double seconds = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
  if (error != std::errc() || end != text.data() + text.size() || !(seconds >= 0) ||
      seconds > kMaxSeconds) {
    throw CommandError("'" + std::string(text) + "' is no number of seconds");
  }
  return server::Milliseconds(static_cast<server::Milliseconds::rep>(seconds * 1000));
}

void PrintOk(Session& session) {
  if (session.output().json()) {
    session.output().Print(Json{{"ok", true}});
  } else {
    session.output().Line("ok");
  }
}

void RunQuit(Session& session, const Arguments& /*arguments*/) { session.Finish(); }

}  // namespace ncdm::console
