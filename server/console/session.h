// What a console's commands share: the server, the agent in use and what it registered, and where
// output goes.
#ifndef NCDM_SERVER_CONSOLE_SESSION_H_
#define NCDM_SERVER_CONSOLE_SESSION_H_

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "server/console/error.h"
#include "server/console/output.h"
#include "server/console/path.h"
#include "server/server.h"

namespace ncdm::console {

class Session {
 public:
  struct Options {
    server::Milliseconds timeout{10000};  // of a request
    server::Milliseconds wait{5000};      // for an agent that a command needs
    server::TraceSink trace{};            // where `trace on` sends the messages
  };
  Session(server::Server& server, Output& output, Options options)
      : server_(server), output_(output), options_(std::move(options)) {}

  server::Server& server() { return server_; }
  Output& output() { return output_; }
  const Options& options() const { return options_; }

  // ---- The agent ----

  // The agent that commands go to unless they name one; empty: the only one.
  const std::string& used_agent() const { return used_agent_; }
  void set_used_agent(std::string name) { used_agent_ = std::move(name); }

  // The agent named, used or only; waits for it to be connected. Throws CommandError.
  std::string ConnectedAgent(const std::string* name);
  // The same, and has announced its paths.
  std::string ReadyAgent(const std::string* name);
  // Waits until a named agent is ready; throws CommandError.
  void WaitUntilReady(const std::string& name, server::Milliseconds timeout);

  // What the agent registered. Valid until a schema is asked for again.
  const Schema& SchemaOf(const std::string& agent);
  // For completion: of the agent that an unadorned command would go to, if it is known now; else
  // null.
  const Schema* CurrentSchema();

  // ---- Requests ----

  // Sends a request and waits for its answer; throws CommandError unless it is good.
  server::Answer Call(const std::string& agent, server::Request request);

  // The ids of the lists along a path, as far as they are narrowed; keys are looked up. Throws
  // CommandError when there is no such entry.
  server::Ids FindIds(const std::string& agent, const ResolvedPath& path);

  // The key values of an entry that is known by its ids.
  std::vector<KeyValue> ReadKeys(const std::string& agent, const SchemaNode& list,
                                 const server::Ids& ids);

  // ---- The trace ----

  void SwitchTrace(bool on) { server_.set_trace(on ? options_.trace : server::TraceSink()); }

  // ---- The end ----

  bool finished() const { return finished_; }
  void Finish() { finished_ = true; }

 private:
  void CheckInterrupted() const;
  std::string ChooseAgent(const std::string* name);
  std::int64_t FindEntry(const std::string& agent, const ListSelector& selector,
                         const server::Ids& outer);

  struct CachedSchema {
    std::string agent;
    std::uint64_t version;
    Schema schema;
  };

  server::Server& server_;
  Output& output_;
  Options options_;
  std::string used_agent_;
  std::optional<CachedSchema> schema_;
  bool finished_ = false;
};

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_SESSION_H_
