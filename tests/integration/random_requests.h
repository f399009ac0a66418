// Requests at random that mostly concern what a model has.
#ifndef TESTS_INTEGRATION_RANDOM_REQUESTS_H_
#define TESTS_INTEGRATION_RANDOM_REQUESTS_H_

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "plain_device.h"

namespace ncdm_test {

class RandomRequests {
 public:
  RandomRequests(unsigned seed, const PlainDevice* model);

  ModelRequest Next();

  // For other random choices of the same run.
  int Below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }
  bool Chance(int percent) { return Below(100) < percent; }
  template <typename T>
  const T& OneOf(const std::vector<T>& all) {
    return all[static_cast<std::size_t>(Below(static_cast<int>(all.size())))];
  }

  const std::vector<const Schema*>& lists() const { return lists_; }
  // A key of a list, or an element of a leaf-list.
  std::string Key(const Schema& leaf);
  // The ids of an instance of a list: mostly of one that is there.
  Ids InstanceIds(const Schema* list);

 private:
  using EditElement = ncdm::server::EditElement;
  using ReadElement = ncdm::server::ReadElement;
  struct Op {
    ncdm::server::Operation operation;
    ncdm::server::DefaultOperation default_operation;
    ncdm::server::ErrorOption error_option;
  };

  std::string Word(const char* prefix, int count) { return prefix + std::to_string(Below(count)); }
  std::string ValidValue(const Schema& leaf);
  std::optional<std::string> Value(const Schema& leaf, bool alone);
  Ids IdsAround(const Schema* list);
  std::string Name(const Schema& at);
  Op Operations();
  EditElement Edit(const Schema& at, const Ids& ids, const Op& op,
                   std::optional<std::string> value);
  ModelRequest Entry();
  EditElement SubtreeEdit(const Schema& leaf, const Ids& ids, const Op& op, bool alone);
  ModelRequest Subtree();
  ModelRequest WholeContainer();
  EditElement OddEdit();
  ReadElement ReadPlace();
  ModelRequest Read();
  ModelRequest Find();
  std::string SomeValue(const Schema& leaf);

  std::mt19937 random_;
  const PlainDevice* model_;
  std::vector<const Schema*> leaves_;
  std::vector<const Schema*> lists_;
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_RANDOM_REQUESTS_H_
