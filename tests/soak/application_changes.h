// What the application announces and takes back of its own accord, at random. The model is told at
// once, so that no request may be compared before the agent's queue is empty.
#ifndef TESTS_SOAK_APPLICATION_CHANGES_H_
#define TESTS_SOAK_APPLICATION_CHANGES_H_

#include <string>
#include <vector>

#include "integration/model_device.h"
#include "integration/random_requests.h"

namespace ncdm_test {

class ApplicationChanges {
 public:
  ApplicationChanges(ModelDevice* both, RandomRequests* random) : both_(*both), random_(*random) {}

  // Announces or takes back an entry or an element. Now and then there is nothing that fits.
  void One();
  void Several(int count) {
    while (count-- > 0) One();
  }
  // Announces so many routes, which all reads of "net" will give.
  void Routes(int count);
  // Announces the schema once more.
  void Schema();

  // Takes back all there is, and waits for it: nothing is left then but the schema.
  void WithdrawEverything();
  // The little of everything that was there at the start, again.
  void PutAgain();

 private:
  using ModelSchema = ncdm_test::Schema;

  bool IsThere(const ModelSchema* list, const Ids& ids) const;
  std::string Keys(const ModelSchema& list);
  nc_dm_node_src_t Source();
  void AnnounceEntry(const ModelSchema& list);
  void AnnounceElement(const ModelSchema& leaf_list);
  std::int64_t ElementId(const ModelSchema& leaf_list, const Ids& owner,
                         const std::string& text) const;
  void Withdraw(const ModelSchema& list, const Ids& ids);
  void WithdrawOne(const ModelSchema& list);
  const ModelSchema* AnyListOrLeafList();

  ModelDevice& both_;
  RandomRequests& random_;
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_APPLICATION_CHANGES_H_
