// The application's side of a model: its operations where it has some, the store where it has none.
#ifndef YANG_RUNTIME_APPLICATION_H_
#define YANG_RUNTIME_APPLICATION_H_

#include <cstdint>
#include <map>
#include <set>
#include <utility>

#include "ncdm_model.h"
#include "store.h"

namespace ncdm::model {

// What a callback answers when an entry does not exist, and when a request is refused.
inline constexpr int kNoSuchEntry = NCDM_NO_SUCH_ENTRY;
inline constexpr int kRefused = -1;

class Application {
 public:
  static Application& Instance();

  // A record of the node's defaults; read from their texts once.
  static const Record& Defaults(const ncdm_node_t& node);

  // Reads a record. 0; kNoSuchEntry; otherwise negative.
  int Load(const ncdm_node_t& node, const Ids& ids, Record& record);

  // True if the entry that the node stands in is there.
  bool HasPlace(const ncdm_node_t& node, const Ids& ids);

  // Hands a record over and keeps it. `ids` names an existing entry, which was `before`.
  int Change(const ncdm_node_t& node, const Ids& ids, const Record& before, Record& after);

  // The same for a new entry under the lists of `outer`. Its id, or negative.
  int64_t Create(const ncdm_node_t& node, const Ids& outer, Record& record);

  // Removes an entry; the defaults of a leaf-list are still there then. 0; kNoSuchEntry; otherwise
  // negative.
  int Remove(const ncdm_node_t& node, const Ids& ids);

  // The id of the entry with the keys of `record`; 0 when there is none.
  int64_t Find(const ncdm_node_t& node, const Ids& outer, const Record& record);

  Store& store() { return store_; }

  // Tell the agent of an entry that came or went without a request for it. Before the start nothing
  // is said: the registration tells of all that is there.
  bool Announce(const ncdm_node_t& node, const Ids& ids);
  void Withdraw(const ncdm_node_t& node, const Ids& ids);

  // Records that the data file brought. What of them is state is written back to it; other state
  // is the application's to tell anew after a restart.
  void SetFromFile(const ncdm_node_t& node, const Ids& ids) { from_file_.emplace(&node, ids); }
  bool IsFromFile(const ncdm_node_t& node, const Ids& ids) const {
    return from_file_.contains({&node, ids});
  }
  void ForgetFile() { from_file_.clear(); }

  // From now on entries that appear are announced, and records are read once a request.
  void Start(zu_thread_master* master) { master_ = master; }
  bool started() const { return master_ != nullptr; }

  // What was read for the request at work is read anew.
  void Forget() { read_node_ = nullptr; }

 private:
  // A read asks for the leaves of an entry one by one. The record that the application filled for
  // the first of them serves the others too, until the loop runs on.
  void Remember(const ncdm_node_t& node, const Ids& ids, const Record& record);

  Store store_;
  std::map<const ncdm_node_t*, Record> defaults_;
  std::set<std::pair<const ncdm_node_t*, Ids>> from_file_;
  // Entries that the agent is told are gone, which it takes in some time later.
  std::set<std::pair<const ncdm_node_t*, Ids>> withdrawn_;
  zu_thread_master* master_ = nullptr;
  const ncdm_node_t* read_node_ = nullptr;
  Ids read_ids_;
  Record read_record_;
  bool forget_scheduled_ = false;
};

}  // namespace ncdm::model

#endif  // YANG_RUNTIME_APPLICATION_H_
