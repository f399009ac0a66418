// Measures the same list served by this library and by AgentX subagents, in turns, all processes on
// one core.
//
//   peers [--entries N] [--seconds N] [--json FILE]
//
// --seconds is how long each kind of request is measured. The figures are the processor time that
// one request takes of all processes together, the client's included, and that of the application
// alone.

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/clock.h"
#include "bench/peers/agentx_peer.h"
#include "bench/peers/library_peer.h"
#include "bench/placement.h"
#include "bench/samples.h"

namespace bench::peers {
namespace {

struct Options {
  std::int64_t entries = 10'000;
  int seconds = 40;
  std::string json;
};

struct Kind {
  const char* name;
  bool is_of_list;  // read at once: costs are those of a leaf
  void (*ask)(Peer& peer, std::int64_t entry);
};

constexpr std::array<Kind, 3> kKinds = {{
    {"read-leaf", false, [](Peer& peer, std::int64_t entry) { peer.ReadAlias(entry); }},
    {"write-leaf", false, [](Peer& peer, std::int64_t entry) { peer.WriteAlias(entry); }},
    {"read-list", true, [](Peer& peer, std::int64_t /*entry*/) { peer.ReadList(); }},
}};

constexpr int kRequestsOfTurn = 50;
constexpr int kMinTurns = 3;

// Nanoseconds of a request; of a list, of one of its leaves.
struct Costs {
  Samples all;          // processor time of every process
  Samples application;  // of the application's
  Samples wall;
};

// Processor time of each, and the time that passed.
struct Moment {
  std::int64_t client = 0;
  std::int64_t between = 0;
  std::int64_t application = 0;
  std::int64_t wall = 0;

  static Moment Now(const Peer& peer) {
    Moment now;
    now.client = NanosecondsOf(CLOCK_PROCESS_CPUTIME_ID);
    for (const pid_t pid : peer.between()) now.between += CpuNsOf(pid);
    now.application = CpuNsOf(peer.application());
    now.wall = NowNs();
    return now;
  }
};

// One turn: some requests of a kind, to entries all over the list.
void TakeTurn(Peer& peer, const Kind& kind, const Options& options, std::mt19937_64& random,
              Costs* costs) {
  std::uniform_int_distribution<std::int64_t> any(0, options.entries - 1);
  const int requests = kind.is_of_list ? 1 : kRequestsOfTurn;
  const Moment before = Moment::Now(peer);
  for (int i = 0; i < requests; ++i) kind.ask(peer, any(random));
  const Moment after = Moment::Now(peer);
  const double parts = kind.is_of_list ? static_cast<double>(options.entries * kLeaves) : requests;
  const auto add = [&](Samples& samples, std::int64_t nanoseconds) {
    samples.Add(static_cast<double>(nanoseconds) / parts);
  };
  const std::int64_t application = after.application - before.application;
  add(costs->application, application);
  add(costs->all, after.client - before.client + after.between - before.between + application);
  add(costs->wall, after.wall - before.wall);
}

using Peers = std::vector<std::unique_ptr<Peer>>;

std::vector<Costs> Measure(const Peers& peers, const Kind& kind, const Options& options) {
  std::vector<Costs> costs(peers.size());
  std::mt19937_64 random(1);
  const std::int64_t deadline = NowNs() + std::int64_t{options.seconds} * 1'000'000'000;
  // In turns, so that all meet the same weather.
  for (int turn = 0; turn < kMinTurns || NowNs() < deadline; ++turn) {
    for (std::size_t i = 0; i < peers.size(); ++i) {
      TakeTurn(*peers[i], kind, options, random, &costs[i]);
    }
  }
  return costs;
}

nlohmann::json JsonOf(const Kind& kind, const Peer& peer, const Costs& costs) {
  return {{"request", kind.name},           {"peer", peer.name()},
          {"ns", costs.all.Median()},       {"application_ns", costs.application.Median()},
          {"wall_ns", costs.wall.Median()}, {"turns", costs.all.size()}};
}

void Print(const nlohmann::json& figure, const nlohmann::json& library) {
  const double all = figure["ns"];
  const double application = figure["application_ns"];
  const double base = library["ns"];
  const double base_application = library["application_ns"];
  std::printf("%-12s %-12s %12.0f %8.2f %14.0f %8.2f %12.0f\n",
              figure["request"].get<std::string>().c_str(),
              figure["peer"].get<std::string>().c_str(), all, all / base, application,
              application / base_application, figure["wall_ns"].get<double>());
  std::fflush(stdout);
}

Options Parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (i + 1 == argc) throw std::invalid_argument(argument + " needs a value, or is unknown");
    const std::string value = argv[++i];
    if (argument == "--entries") {
      options.entries = std::stoll(value);
    } else if (argument == "--seconds") {
      options.seconds = std::stoi(value);
    } else if (argument == "--json") {
      options.json = value;
    } else {
      throw std::invalid_argument("unknown argument " + argument);
    }
  }
  if (options.entries < 1) throw std::invalid_argument("no entries");
  return options;
}

Peers StartAll(const Options& options) {
  Peers peers;
  peers.push_back(std::make_unique<LibraryPeer>(options.entries));
  peers.push_back(std::make_unique<AgentxPeer>(Helper::kTableData, options.entries));
  peers.push_back(std::make_unique<AgentxPeer>(Helper::kTableTdata, options.entries));
  Place(0, Placement::kOneCore);
  for (const auto& peer : peers) {
    Place(peer->application(), Placement::kOneCore);
    for (const pid_t pid : peer->between()) Place(pid, Placement::kOneCore);
  }
  return peers;
}

void Run(const Options& options) {
  const Peers peers = StartAll(options);
  nlohmann::json figures = nlohmann::json::array();
  std::printf("%-12s %-12s %12s %8s %14s %8s %12s\n", "request", "served by", "cpu ns", "ratio",
              "application ns", "ratio", "passed ns");
  for (const Kind& kind : kKinds) {
    const std::vector<Costs> costs = Measure(peers, kind, options);
    const nlohmann::json library = JsonOf(kind, *peers[0], costs[0]);
    for (std::size_t i = 0; i < peers.size(); ++i) {
      figures.push_back(JsonOf(kind, *peers[i], costs[i]));
      Print(figures.back(), library);
    }
  }
  if (options.json.empty()) return;
  const nlohmann::json json = {
      {"peers", {{"entries", options.entries}, {"leaves", kLeaves}, {"figures", figures}}}};
  std::ofstream file(options.json);
  file << json.dump(1) << "\n";
  if (!file) throw std::runtime_error("cannot write " + options.json);
}

}  // namespace
}  // namespace bench::peers

int main(int argc, char** argv) {
  try {
    bench::peers::Run(bench::peers::Parse(argc, argv));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "peers: %s\n", error.what());
    return 1;
  }
}
