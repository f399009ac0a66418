// The list served by this library: bench-agent, and the server library as its client.
#ifndef BENCH_PEERS_LIBRARY_PEER_H_
#define BENCH_PEERS_LIBRARY_PEER_H_

#include "bench/model.h"
#include "bench/peers/child.h"
#include "bench/peers/peer.h"
#include "server/server.h"

namespace bench::peers {

class LibraryPeer final : public Peer {
 public:
  // Waits until all is served. Throws std::runtime_error.
  explicit LibraryPeer(std::int64_t entries);

  std::string_view name() const override { return "library"; }
  void ReadAlias(std::int64_t entry) override;
  void WriteAlias(std::int64_t entry) override;
  void ReadList() override;
  pid_t application() const override { return application_.pid(); }
  std::vector<pid_t> between() const override { return {}; }

 private:
  ncdm::server::Answer Ask(ncdm::server::Request request);
  void WaitUntilAnnounced();

  Model model_;
  Folder folder_;
  ncdm::server::Server server_;
  Child application_;
};

}  // namespace bench::peers

#endif  // BENCH_PEERS_LIBRARY_PEER_H_
