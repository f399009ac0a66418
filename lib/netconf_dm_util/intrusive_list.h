// Intrusive lists: what every record of this library is chained with.
//
// A list is a list_head; a record carries its link as a member (the first one, for its main list).
// These are ranges over the records, so that no caller walks links by hand:
//
//   for (auto& node : nc::Records<nc_dm_agent_node_t>(&parent->sub_lst)) ...
//   for (auto& leaf : nc::Records<Node, &Node::key_lst>(&parent->sub_key_lst)) ...
//   for (auto& node : nc::RecordsSafely<nc_dm_val_node_t>(&list->head)) {
//     nc::Unlink(&node.lst);
//     free(&node);
//   }
//
// RecordsSafely reads the next link before the body runs, so that the body may unlink and free the
// current record, and no other.
#ifndef NETCONF_DM_UTIL_INTRUSIVE_LIST_H_
#define NETCONF_DM_UTIL_INTRUSIVE_LIST_H_

#include <cstddef>
#include <cstdint>
#include <iterator>

#include "netconf_dm_util.h"

namespace nc {

inline void InitList(list_head* head) {
  head->next = head;
  head->prev = head;
}

inline bool IsEmpty(const list_head* head) { return head->next == head; }

inline void LinkBefore(list_head* position, list_head* link) {
  link->prev = position->prev;
  link->next = position;
  position->prev->next = link;
  position->prev = link;
}

inline void PushBack(list_head* head, list_head* link) { LinkBefore(head, link); }

// Leaves the link an empty list of its own, so that a second Unlink is harmless.
inline void Unlink(list_head* link) {
  link->prev->next = link->next;
  link->next->prev = link->prev;
  InitList(link);
}

// Moves all of `from` to the tail of `to`, in order.
inline void MoveAll(list_head* from, list_head* to) {
  if (IsEmpty(from)) return;
  from->next->prev = to->prev;
  to->prev->next = from->next;
  from->prev->next = to;
  to->prev = from->prev;
  InitList(from);
}

// Distance of a link member from the start of its record; folds to a constant.
template <typename Record, list_head Record::*Link>
inline size_t LinkOffset() {
  alignas(Record) static char probe[sizeof(Record)];
  const auto* record = reinterpret_cast<const Record*>(probe);
  return static_cast<size_t>(reinterpret_cast<const char*>(&(record->*Link)) - probe);
}

// The record that a link belongs to.
template <typename Record, list_head Record::*Link>
inline Record* RecordOf(list_head* link) {
  return reinterpret_cast<Record*>(reinterpret_cast<char*>(link) - LinkOffset<Record, Link>());
}

namespace internal {

// The main link's name differs by record; this finds it.
template <typename Record>
constexpr auto MainLink() {
  if constexpr (requires { &Record::lst; }) {
    return &Record::lst;
  } else {
    return &Record::list;
  }
}

template <typename Record, list_head Record::*Link, bool kSafe>
class Range {
 public:
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Record;
    using difference_type = std::ptrdiff_t;
    using pointer = Record*;
    using reference = Record&;

    Iterator() = default;
    explicit Iterator(list_head* at) : at_(at), next_(kSafe ? at->next : nullptr) {}

    Record& operator*() const { return *RecordOf<Record, Link>(at_); }
    Record* operator->() const { return RecordOf<Record, Link>(at_); }
    Iterator& operator++() {
      if constexpr (kSafe) {
        at_ = next_;
        next_ = at_->next;
      } else {
        at_ = at_->next;
      }
      return *this;
    }
    Iterator operator++(int) {
      Iterator before = *this;
      ++*this;
      return before;
    }
    bool operator==(const Iterator& other) const { return at_ == other.at_; }

   private:
    list_head* at_ = nullptr;
    list_head* next_ = nullptr;
  };

  explicit Range(const list_head* head) : head_(const_cast<list_head*>(head)) {}
  Iterator begin() const { return Iterator(head_->next); }
  Iterator end() const { return Iterator(head_); }

 private:
  list_head* head_;
};

}  // namespace internal

template <typename Record, list_head Record::*Link = internal::MainLink<Record>()>
internal::Range<Record, Link, false> Records(const list_head* head) {
  return internal::Range<Record, Link, false>(head);
}

template <typename Record, list_head Record::*Link = internal::MainLink<Record>()>
internal::Range<Record, Link, true> RecordsSafely(const list_head* head) {
  return internal::Range<Record, Link, true>(head);
}

}  // namespace nc

#endif  // NETCONF_DM_UTIL_INTRUSIVE_LIST_H_
