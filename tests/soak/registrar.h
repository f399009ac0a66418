// A thread of the application that uses every registration call, on a part of the tree that is its
// own, and keeps account of what must have come of it.
#ifndef TESTS_SOAK_REGISTRAR_H_
#define TESTS_SOAK_REGISTRAR_H_

#include <atomic>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace ncdm_test {

class Registrar {
 public:
  explicit Registrar(int number);

  // Makes calls, a few for each turn of the event loop, until it is told to stop.
  void Run(const std::atomic<std::int64_t>& turns, const std::atomic<bool>& stop);

  std::int64_t calls() const { return calls_; }
  std::int64_t failures() const { return failures_; }

  // The following only while it does not run.

  // What the server must hold, in the form of HeldModel.
  std::vector<std::string> Announced() const;
  // Lists, and the ids of the instances that there must be, by the paths of the lists' keys.
  const std::map<std::string, std::set<std::int64_t>>& instances() const { return instances_; }

 private:
  int Below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }
  void Count(int result);
  void Call();
  void NewLeaf();
  void KnownLeaf();
  void RegisterLeaf(int leaf);
  void RegisterLists();
  void Range();
  void AddInstance();
  void RemoveInstance();
  void YangAttribute();
  std::string RandomList();

  const std::string root_;
  std::mt19937 random_;
  int leaves_ = 0;
  int revisions_ = 0;
  std::map<std::string, int> paths_;  // with their attributes
  std::map<std::string, std::string> revisions_of_;
  std::map<std::string, std::set<std::int64_t>> instances_;
  std::atomic<std::int64_t> calls_{0};
  std::atomic<std::int64_t> failures_{0};
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_REGISTRAR_H_
