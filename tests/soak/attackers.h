// Servers, threads and neighbours that try to hold the agent's event loop, to fill its memory, or
// to have it do what nobody asked for. Each attack is one round: it begins and ends without a
// server.
#ifndef TESTS_SOAK_ATTACKERS_H_
#define TESTS_SOAK_ATTACKERS_H_

#include <array>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "hold_judge.h"
#include "integration/harness.h"

namespace ncdm_test {

class Attackers {
 public:
  struct Attack {
    const char* name;
    void (Attackers::*play)();
  };
  static const std::array<Attack, 16> kAttacks;

  // Entries that the application has in its list all the time.
  static constexpr int kEntries = 300;

  // `look` is called all the time, with true where much is kept.
  Attackers(Device* device, HoldJudge* judge, std::function<void(bool)> look)
      : device_(*device), judge_(*judge), look_(std::move(look)) {}

  // Announces all that the attacks leave in place.
  static void RegisterEverything();
  // Waits until it is applied. Without a server.
  void Settle();

 private:
  // ---- Attacks ----

  void FloodsOfEdits();
  void FloodsOfFilters();
  void FloodsOfLookups();
  void LargestEdit();
  void LargestFilter();
  void LargestLookup();
  void HalfAnEdit();
  void Registrations();
  void AttributesBehindAQueue();
  void LogThatNobodyReads();
  void NeverReads();
  void FarewellsUnasked();
  void ChangesWithoutServer();
  void ReconnectStorm();
  void Garbage();
  void SilentConnections();

  // ---- What they are made of ----

  // A request of so many elements, each of the same bytes.
  struct Large {
    std::string segment;     // one message
    std::size_t elements{};  // of it
    std::string end;         // the message that executes
  };
  static Large LargeRequest(const ncdm::server::Request& full, std::size_t elements);
  static Large Edits(std::string_view name);
  static Large Filters(std::string_view name);
  static Large Lookups(std::string_view name);

  void FloodWithoutEnd(const Large& request);
  // Sends about so many elements, executes them and takes the answer. How many they were.
  std::int64_t SendLargest(const Large& request, std::size_t elements);

  // Runs what can be run; true if anything was.
  bool Turn();
  void TurnWhileBusy();
  void Accept(RawServer* raw);
  // A whole frame, as soon as there is room for it.
  void Send(RawServer* raw, std::string_view frame);
  void Send(RawServer* raw, std::string_view frame, std::size_t times);
  bool HasAgentClosed(const RawServer& raw) const;
  static int Faults(const RawServer& raw);

  int NextNumber() { return ++number_; }

  Device& device_;
  HoldJudge& judge_;
  std::function<void(bool)> look_;
  int number_ = 0;
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_ATTACKERS_H_
