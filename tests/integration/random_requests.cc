#include "random_requests.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace ncdm_test {

using namespace ncdm::server;  // NOLINT: requests and answers

RandomRequests::RandomRequests(unsigned seed, const PlainDevice* model)
    : random_(seed), model_(model) {
  for (const LeafDefinition& definition : kLeaves) {
    const Schema* leaf = model->schema().FindPath(PlainPath(definition.path));
    leaves_.push_back(leaf);
    const Schema* list = leaf->EnclosingList();
    if (list != nullptr && std::ranges::count(lists_, list) == 0) lists_.push_back(list);
  }
}

ModelRequest RandomRequests::Next() {
  ModelRequest request;
  const int kind = Below(100);
  if (kind < 35) {
    request = Entry();
  } else if (kind < 70) {
    request = Subtree();
  } else if (kind < 90) {
    request = Read();
  } else {
    request = Find();
  }
  if (Chance(12)) {
    if (Chance(4)) request = WholeContainer();
    request.datastore = NC_DM_DATASTORE_SDN;
  }
  return request;
}

// ---- Values ----

// A key of a list, or an element of a leaf-list.
std::string RandomRequests::Key(const Schema& leaf) {
  const bool is_text = IsTextType(leaf.leaf.type);
  if (Chance(6)) {
    return std::string(
        OneOf<std::string_view>(is_text ? std::vector{kRefusedText, kZeroText, kLockedText}
                                        : std::vector{kRefusedNumber, kZeroNumber, kLockedNumber}));
  }
  return is_text ? Word("n", leaf.depth <= 1 ? 24 : 8) : std::to_string(1 + Below(6));
}

std::string RandomRequests::ValidValue(const Schema& leaf) {
  switch (leaf.leaf.type) {
    case NC_DM_VAL_TYPE_BOOL:
      return OneOf<std::string>({"true", "false", "1", "0"});
    case NC_DM_VAL_TYPE_SHORT:
      return OneOf<std::string>({"-32768", "-1", "0", "7", "32767"});
    case NC_DM_VAL_TYPE_USHORT:
      return OneOf<std::string>({"0", "8", "65535"});
    case NC_DM_VAL_TYPE_INT:
      return OneOf<std::string>({"-2147483648", "-5", "0", "99", "2147483647"});
    case NC_DM_VAL_TYPE_UINT:
      return OneOf<std::string>({"0", "1500", "9000", "4294967295"});
    case NC_DM_VAL_TYPE_LONGLONG:
      return OneOf<std::string>({"-9223372036854775808", "0", "12345678901"});
    case NC_DM_VAL_TYPE_ULONGLONG:
      return OneOf<std::string>({"0", "100000000000", "18446744073709551615"});
    default:
      return Chance(5) ? std::string(static_cast<std::size_t>(Below(256)), 'x') : Word("v", 20);
  }
}

// `alone`: a number may be out of range. Behind such a one no number of the same request is
// taken, which is a matter of its own.
std::optional<std::string> RandomRequests::Value(const Schema& leaf, bool alone) {
  const bool is_text = IsTextType(leaf.leaf.type);
  const int kind = Below(100);
  if (kind < 4) return std::nullopt;
  if (kind < 9) return std::string(is_text ? kRefusedText : kRefusedNumber);
  if (kind < 14 && !is_text) {
    return alone && Chance(50) ? std::string("99999999999999999999") : std::string("abc");
  }
  return ValidValue(leaf);
}

// ---- Places ----

// The ids of an instance of a list: mostly of one that is there.
Ids RandomRequests::InstanceIds(const Schema* list) {
  if (list == nullptr) return {};
  Ids ids = InstanceIds(list->EnclosingList());
  const std::vector<std::int64_t> there = model_->InstancesAt(*list, ids);
  const int kind = Below(100);
  if (kind < 92 && !there.empty()) {
    ids.push_back(OneOf(there));
  } else if (kind < 98) {
    ids.push_back(DeviceId(list->path, Key(*list->keys.at(0))));
  } else {
    ids.push_back(OneOf<std::int64_t>({0, -3, 1, 77}));
  }
  return ids;
}

// The ids of the lists around a place, now and then too few or too many.
Ids RandomRequests::IdsAround(const Schema* list) {
  Ids ids = InstanceIds(list);
  if (Chance(2) && !ids.empty()) ids.pop_back();
  if (Chance(2)) ids.push_back(1 + Below(3));
  return ids;
}

// A path as the server may write it.
std::string RandomRequests::Name(const Schema& at) {
  if (!Chance(20)) return at.path;
  std::vector<const Schema*> way;
  for (const Schema* up = &at; up->parent != nullptr; up = up->parent) way.push_back(up);
  std::string name;
  for (auto up = way.rbegin(); up != way.rend(); ++up) {
    if (!name.empty()) name += '.';
    name += (*up)->name;
    if ((*up)->kind == Schema::Kind::kList) name += ".{i}";
  }
  return name;
}

// ---- Requests ----

RandomRequests::Op RandomRequests::Operations() {
  Op op{Operation::kMerge, DefaultOperation::kUnset, ErrorOption::kUnset};
  const int kind = Below(100);
  if (kind < 42) {
    op.operation = Operation::kMerge;
  } else if (kind < 56) {
    op.operation = Operation::kCreate;
  } else if (kind < 60) {
    op.operation = Operation::kReplace;
  } else if (kind < 75) {
    op.operation = Operation::kDelete;
  } else if (kind < 84) {
    op.operation = Operation::kRemove;
  } else if (kind < 98) {
    op.operation = Operation::kNone;
    op.default_operation = static_cast<DefaultOperation>(Below(5));
  } else {
    op.operation = static_cast<Operation>(9);
  }
  op.error_option = static_cast<ErrorOption>(Below(4));
  return op;
}

EditElement RandomRequests::Edit(const Schema& at, const Ids& ids, const Op& op,
                                 std::optional<std::string> value) {
  return {.name = Name(at),
          .value = std::move(value),
          .ids = ids,
          .operation = op.operation,
          .default_operation = op.default_operation,
          .error_option = op.error_option};
}

ModelRequest RandomRequests::Entry() {
  ModelRequest request{.kind = ModelRequest::Kind::kEntry};
  const Schema& list = *OneOf(lists_);
  const Ids ids = Chance(3) ? InstanceIds(&list) : IdsAround(list.EnclosingList());
  const Op op = Operations();
  request.as_command = Chance(list.has_command ? 30 : 10);
  for (const Schema* key : list.keys) {
    EditElement& edit = request.edits.emplace_back(Edit(*key, ids, op, Key(*key)));
    edit.key = key->leaf.flag & (NC_DM_FLAG_KEY | NC_DM_FLAG_KEY_SETTABLE);
    if (Chance(2)) edit.value = "abc";
  }
  // The list's own callbacks are not asked for more than the key.
  if (request.as_command && !list.has_command) return request;
  const int extra = list.has_command ? Below(4) : Chance(20) ? 1 : 0;
  for (int i = 0; i < extra; ++i) {
    const Schema& leaf = *OneOf(list.children);
    if (leaf.kind != Schema::Kind::kLeaf) continue;
    Op own = op;
    own.error_option = static_cast<ErrorOption>(Below(4));
    if (Chance(5)) own = Operations();
    EditElement edit = Edit(leaf, ids, own, Value(leaf, false));
    if (Chance(3)) edit.name = list.path + ".bogus";
    request.edits.push_back(std::move(edit));
  }
  if (Chance(1)) request.edits.clear();
  return request;
}

EditElement RandomRequests::SubtreeEdit(const Schema& leaf, const Ids& ids, const Op& op,
                                        bool alone) {
  if (leaf.kind == Schema::Kind::kLeafList) {
    EditElement edit = Edit(leaf, ids, op, Key(leaf));
    // An element may be named by its id.
    if (Chance(10) && op.operation == Operation::kDelete) {
      edit.ids.push_back(DeviceId(leaf.path, *edit.value));
      edit.value.reset();
    }
    return edit;
  }
  if (leaf.kind == Schema::Kind::kContainer) return Edit(leaf, ids, op, {});
  return Edit(leaf, ids, op, Value(leaf, alone));
}

ModelRequest RandomRequests::Subtree() {
  ModelRequest request{.kind = ModelRequest::Kind::kSubtree};
  if (Chance(5)) {
    request.edits.push_back(OddEdit());
    return request;
  }
  const bool is_together = Chance(60);
  const int count = Chance(40) ? 1 : 2 + Below(4);
  const Schema* leaf = OneOf(leaves_);
  Ids ids = IdsAround(leaf->EnclosingList());
  Op op = Operations();
  for (int i = 0; i < count; ++i) {
    request.edits.push_back(SubtreeEdit(*leaf, ids, op, count == 1));
    if (is_together) {
      const Schema* sibling = OneOf(leaf->parent->children).get();
      if (sibling->kind != Schema::Kind::kList) leaf = sibling;
      if (Chance(30)) op = Operations();
    } else {
      leaf = OneOf(leaves_);
      ids = IdsAround(leaf->EnclosingList());
      op = Operations();
    }
  }
  return request;
}

ModelRequest RandomRequests::WholeContainer() {
  Op op = Operations();
  op.operation = Chance(80) ? Operation::kRemove : Operation::kMerge;
  const Schema* container = model_->schema().FindPath(OneOf<std::string>({"net", "sys"}));
  return {.kind = ModelRequest::Kind::kSubtree, .edits = {Edit(*container, {}, op, {})}};
}

// Containers, lists, and names that are not there.
EditElement RandomRequests::OddEdit() {
  const Op op = Operations();
  const int kind = Below(100);
  if (kind < 3) return WholeContainer().edits[0];
  if (kind < 45) {
    const Schema* container = model_->schema().FindPath(
        OneOf<std::string>({"sys.clock", "sys.ntp", "net.user.prefs", "net.port.limits"}));
    return Edit(*container, IdsAround(container->EnclosingList()), op, {});
  }
  const Schema& leaf = *OneOf(leaves_);
  const Ids ids = IdsAround(leaf.EnclosingList());
  EditElement edit = Edit(leaf, ids, op, ValidValue(leaf));
  if (kind < 60) {
    edit.name = leaf.parent->path + ".bogus";
  } else if (kind < 70) {
    edit.name += ".more";
  } else if (kind < 80) {
    edit.name = "bogus." + edit.name;
  } else if (kind < 90) {
    edit.name = "net..user";
  } else if (leaf.EnclosingList() != nullptr) {
    edit.name = leaf.EnclosingList()->path;
  }
  return edit;
}

ReadElement RandomRequests::ReadPlace() {
  const Schema* at = OneOf(leaves_);
  while (at->parent->parent != nullptr && Chance(40)) at = at->parent;
  ReadElement read;
  const bool is_list = at->kind == Schema::Kind::kList;
  const Ids whole = InstanceIds(is_list ? at : at->EnclosingList());
  const auto keep = Chance(50) ? whole.size() : static_cast<std::size_t>(Below(4));
  read.ids =
      Ids(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(std::min(keep, whole.size())));
  if (Chance(3)) read.ids.push_back(5);
  read.name = Name(*at);
  if (Chance(2)) read.name += ".more";
  if (Chance(1)) read.name = "bogus";
  if (Chance(1)) read.name = ".net";
  return read;
}

ModelRequest RandomRequests::Read() {
  ModelRequest request{.kind = ModelRequest::Kind::kRead};
  const int count = Chance(60) ? 1 : 1 + Below(4);
  for (int i = 0; i < count; ++i) {
    request.reads.push_back(ReadPlace());
    if (Chance(8)) request.reads.back().value = Word("given", 3);
  }
  if (count == 1 && Chance(50)) request.kind = ModelRequest::Kind::kReadOne;
  if (Chance(1)) {
    request.kind = ModelRequest::Kind::kRead;
    request.reads.clear();
  }
  return request;
}

ModelRequest RandomRequests::Find() {
  ModelRequest request{.kind = ModelRequest::Kind::kFind};
  const int count = Chance(75) ? 1 : 2;
  for (int i = 0; i < count; ++i) {
    const Schema& leaf = *OneOf(leaves_);
    ReadElement read{.name = Name(leaf)};
    read.value = SomeValue(leaf);
    if (Chance(40)) {
      const Ids ids = InstanceIds(leaf.EnclosingList());
      read.ids = Ids(ids.begin(), ids.begin() + Below(static_cast<int>(ids.size()) + 1));
    }
    if (Chance(2)) read.value.reset();
    if (Chance(2)) read.name = leaf.parent->path;
    if (Chance(1)) read.name = "a..b";
    request.reads.push_back(std::move(read));
  }
  return request;
}

// A value that the leaf has somewhere, mostly.
std::string RandomRequests::SomeValue(const Schema& leaf) {
  std::vector<std::string> there;
  for (const auto& [path, text] : model_->data().values()) {
    // Numbers are ids in these paths.
    std::string plain;
    for (const std::string& name : Names(path)) {
      if (!std::isdigit(static_cast<unsigned char>(name[0]))) {
        plain += (plain.empty() ? "" : ".") + name;
      }
    }
    if (plain == leaf.path) there.push_back(text);
  }
  return there.empty() || Chance(5) ? ValidValue(leaf) : OneOf(there);
}

}  // namespace ncdm_test
