// A running bench-agent and the connection that it made.
#ifndef BENCH_AGENT_PROCESS_H_
#define BENCH_AGENT_PROCESS_H_

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/link.h"
#include "bench/model.h"
#include "server/listener.h"

namespace bench {

// Put before the agent's own command line, such as a profiler's.
void SetAgentWrapper(std::vector<std::string> command);

class AgentProcess {
 public:
  // Starts the agent, waits until it is ready and takes its connection. Throws std::runtime_error.
  explicit AgentProcess(const Model& model);
  ~AgentProcess();
  AgentProcess(const AgentProcess&) = delete;
  AgentProcess& operator=(const AgentProcess&) = delete;

  const Model& model() const { return model_; }
  pid_t pid() const { return pid_; }
  Link& link() { return *link_; }

  // What the agent reported under a key; 0 when it did not.
  std::int64_t Reported(const std::string& key) const;

  // Closes the connection and waits for the next one.
  void Reconnect();

  // Ends the agent in good order; its last reports are there then.
  void Stop();

 private:
  void Start();
  void Accept();
  // False when the agent has closed the pipe.
  bool ReadReports(bool until_ready);

  Model model_;
  std::string root_;
  std::optional<ncdm::server::Listener> listener_;
  pid_t pid_ = -1;
  ncdm::server::Descriptor report_;
  std::string report_rest_;
  std::map<std::string, std::int64_t> reported_;
  std::optional<Link> link_;
};

}  // namespace bench

#endif  // BENCH_AGENT_PROCESS_H_
