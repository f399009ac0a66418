#include "bench/model.h"

#include <iterator>
#include <stdexcept>

namespace bench {
namespace {

struct Outer {
  const char* name;
  std::int64_t id;  // of the entry that holds the ports
};
constexpr Outer kOuter[] = {{"chassis", 3}, {"slot", 5}};

struct LeafKind {
  const char* name;
  nc_dm_val_type_t type;
  const char* text;
};
constexpr LeafKind kFirstLeaves[] = {
    {"index", NC_DM_VAL_TYPE_UINT, "1"},
    {"speed", NC_DM_VAL_TYPE_ULONGLONG, "1000000000"},
    {"enabled", NC_DM_VAL_TYPE_BOOL, "true"},
    {"alias", NC_DM_VAL_TYPE_STRING, "uplink-7"},
};

const LeafKind& KindOf(int leaf) {
  return kFirstLeaves[static_cast<std::size_t>(leaf) % std::size(kFirstLeaves)];
}

int OuterCount(const Model& model) { return model.depth - 1; }

const Outer* FirstOuter(const Model& model) { return std::end(kOuter) - OuterCount(model); }

}  // namespace

std::vector<std::string> Model::ToArguments() const {
  std::vector<std::string> arguments = {
      "--depth=" + std::to_string(depth), "--entries=" + std::to_string(entries),
      "--leaves=" + std::to_string(leaves), "--paths=" + std::to_string(paths)};
  if (hash) arguments.emplace_back("--hash");
  if (second_list) arguments.emplace_back("--second-list");
  if (command) arguments.emplace_back("--command");
  if (hold_probe) arguments.emplace_back("--hold-probe");
  if (slow_start) arguments.emplace_back("--slow-start");
  return arguments;
}

Model Model::FromArguments(const std::vector<std::string>& arguments) {
  Model model;
  for (const std::string& argument : arguments) {
    const std::size_t equals = argument.find('=');
    const std::string key = argument.substr(0, equals);
    const auto number = [&] { return std::stoll(argument.substr(equals + 1)); };
    if (key == "--depth") {
      model.depth = static_cast<int>(number());
    } else if (key == "--entries") {
      model.entries = number();
    } else if (key == "--leaves") {
      model.leaves = static_cast<int>(number());
    } else if (key == "--paths") {
      model.paths = static_cast<int>(number());
    } else if (key == "--hash") {
      model.hash = true;
    } else if (key == "--second-list") {
      model.second_list = true;
    } else if (key == "--command") {
      model.command = true;
    } else if (key == "--hold-probe") {
      model.hold_probe = true;
    } else if (key == "--slow-start") {
      model.slow_start = true;
    } else {
      throw std::invalid_argument("unknown argument " + argument);
    }
  }
  if (model.depth < 1 || model.depth > 1 + static_cast<int>(std::size(kOuter)) ||
      model.leaves < 1 || model.leaves > kMaxLeaves) {
    throw std::invalid_argument("no such model");
  }
  return model;
}

std::string Model::ToString() const {
  std::string text = hash ? "hash" : "tree";
  text += " depth=" + std::to_string(depth);
  text += " n=" + std::to_string(entries);
  text += " leaves=" + std::to_string(leaves);
  if (second_list) text += " second-list";
  if (command) text += " command";
  return text;
}

std::vector<std::int64_t> Model::OuterIds() const {
  std::vector<std::int64_t> ids;
  for (const Outer* outer = FirstOuter(*this); outer != std::end(kOuter); ++outer) {
    ids.push_back(outer->id);
  }
  return ids;
}

std::string Model::PortName() const {
  std::string name = "system.";
  for (const Outer* outer = FirstOuter(*this); outer != std::end(kOuter); ++outer) {
    name += std::string(outer->name) + ".";
  }
  return name + "port";
}

std::string Model::PortPath(const std::string& list) const {
  std::string path = "system.";
  for (const Outer* outer = FirstOuter(*this); outer != std::end(kOuter); ++outer) {
    path += std::string(outer->name) + ".{i}.";
  }
  return path + list + ".{i}";
}

std::string Model::LeafName(int leaf) {
  const std::string name = KindOf(leaf).name;
  return leaf < static_cast<int>(std::size(kFirstLeaves)) ? name : name + std::to_string(leaf);
}

nc_dm_val_type_t Model::LeafType(int leaf) { return KindOf(leaf).type; }

std::string Model::LeafText(int leaf) { return KindOf(leaf).text; }

}  // namespace bench
