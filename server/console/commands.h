// The console's commands.
#ifndef NCDM_SERVER_CONSOLE_COMMANDS_H_
#define NCDM_SERVER_CONSOLE_COMMANDS_H_

#include <cstddef>
#include <span>
#include <string_view>

#include "server/console/command_line.h"
#include "server/console/session.h"

namespace ncdm::console {

using CommandFunction = void (*)(Session&, const Arguments&);

// What a word of a command is, for completion.
enum class WordKind { kAgent, kPath, kAssignment, kOnOff, kOther };

struct Command {
  std::string_view name;
  std::string_view synopsis;  // behind the name
  std::string_view summary;   // one line
  std::size_t min_words;
  std::size_t max_words;
  std::span<const OptionSpec> options;
  std::span<const WordKind> words;  // the last one goes for all that follow
  CommandFunction run;
};

// In the order of the help.
std::span<const Command> AllCommands();
const Command* FindCommand(std::string_view name);

// Carries out one line; an empty one does nothing. Throws CommandError.
void Execute(Session& session, std::string_view line);

// The commands themselves, by what they need.
void RunAgents(Session& session, const Arguments& arguments);
void RunWait(Session& session, const Arguments& arguments);
void RunUse(Session& session, const Arguments& arguments);
void RunPaths(Session& session, const Arguments& arguments);
void RunModules(Session& session, const Arguments& arguments);
void RunShow(Session& session, const Arguments& arguments);
void RunDebug(Session& session, const Arguments& arguments);
void RunCommit(Session& session, const Arguments& arguments);
void RunTrace(Session& session, const Arguments& arguments);

void RunGet(Session& session, const Arguments& arguments);
void RunFind(Session& session, const Arguments& arguments);

void RunCreate(Session& session, const Arguments& arguments);
void RunMerge(Session& session, const Arguments& arguments);
void RunReplace(Session& session, const Arguments& arguments);
void RunDelete(Session& session, const Arguments& arguments);
void RunRemove(Session& session, const Arguments& arguments);
void RunSet(Session& session, const Arguments& arguments);
void RunUnset(Session& session, const Arguments& arguments);
void RunEdit(Session& session, const Arguments& arguments);

void RunHelp(Session& session, const Arguments& arguments);
void RunQuit(Session& session, const Arguments& arguments);

// ---- Options that several commands take ----

// "--agent", or null.
const std::string* AgentOption(const Arguments& arguments);
// "--datastore", running without it. Throws CommandError.
nc_dm_ds_type_t DatastoreOption(const Arguments& arguments);
// A number of seconds, fractions allowed. Throws CommandError.
server::Milliseconds ParseSeconds(std::string_view text);

// What a command that has nothing else to say says: "ok".
void PrintOk(Session& session);

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_COMMANDS_H_
