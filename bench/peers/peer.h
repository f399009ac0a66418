// One way to serve the list of ports, as its client sees it.
//
// An entry has the leaves of bench/model.h: index, speed, enabled and alias. Entries are numbered
// from 0.
#ifndef BENCH_PEERS_PEER_H_
#define BENCH_PEERS_PEER_H_

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace bench::peers {

inline constexpr int kLeaves = 4;
inline constexpr std::string_view kAlias = "uplink-7";  // of every entry

class Peer {
 public:
  virtual ~Peer() = default;

  virtual std::string_view name() const = 0;
  // Each is a whole exchange: the request is made, the answer is read and must be the expected one,
  // or a std::runtime_error is thrown.
  virtual void ReadAlias(std::int64_t entry) = 0;
  virtual void WriteAlias(std::int64_t entry) = 0;
  virtual void ReadList() = 0;

  // The process that serves the list, and those between it and the client.
  virtual pid_t application() const = 0;
  virtual std::vector<pid_t> between() const = 0;
};

}  // namespace bench::peers

#endif  // BENCH_PEERS_PEER_H_
