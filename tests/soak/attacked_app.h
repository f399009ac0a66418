// The application that is attacked: two leaves, and a list. Its callbacks do nearly nothing, and
// tell the judge how long they took.
#ifndef TESTS_SOAK_ATTACKED_APP_H_
#define TESTS_SOAK_ATTACKED_APP_H_

#include <cstdint>

namespace ncdm_test {

struct AttackedApp {
  static constexpr const char* kLeaf = "sys.name";  // written and read
  static constexpr const char* kList = "box.table";
  static constexpr const char* kKey = "box.table.name";
  static constexpr const char* kModule = "attacked";

  // The registration function for nc_dm_agent_init.
  static int Register();
  // Announces, or withdraws, instance `id` of the list.
  static void Announce(std::int64_t id);
  static void Withdraw(std::int64_t id);
  static void SetRevision(const char* text);

  // How often the leaf was set, and a value read.
  static std::int64_t sets();
  static std::int64_t gets();
};

}  // namespace ncdm_test

#endif  // TESTS_SOAK_ATTACKED_APP_H_
