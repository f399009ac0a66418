#include "bench/goals.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace bench {
namespace {

constexpr std::int64_t kSmall = 100;
constexpr std::int64_t kMiddle = 10'000;
constexpr std::int64_t kLarge = 1'000'000;
constexpr std::int64_t kInstances = 1000;
constexpr std::int64_t kManyInstances = 100'000;

struct Key {
  std::string name;
  std::string index;
  int depth = 0;
  std::int64_t n = 0;
  std::string placement{"one-core"};
  std::string variant{};
};

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof(text), value < 100 ? "%.2f" : "%.0f", value);
  return text;
}

class GoalBook {
 public:
  explicit GoalBook(const std::vector<Figure>& figures) : figures_(figures) {}

  const Figure* Find(const Key& key) const {
    const auto found = std::find_if(figures_.begin(), figures_.end(), [&](const Figure& figure) {
      return figure.name == key.name && figure.index == key.index && figure.depth == key.depth &&
             figure.n == key.n && figure.placement == key.placement &&
             figure.variant == key.variant;
    });
    return found == figures_.end() ? nullptr : &*found;
  }

  // The figure against its floor.
  void AgainstFloor(const std::string& goal, const Key& key, double limit) {
    const Figure* figure = Find(key);
    if (figure == nullptr) return;
    if (!figure->error.empty()) return Fail(goal, limit, figure->error);
    if (figure->floor <= 0) return;
    Add(goal, figure->median, figure->floor, figure->unit, figure->Ratio(), limit);
  }

  // The figure at one size against that at another.
  void AgainstOther(const std::string& goal, const Key& large, const Key& small, double limit) {
    const Figure* figure = Find(large);
    const Figure* other = Find(small);
    if (figure == nullptr || other == nullptr || other->median <= 0) return;
    Add(goal, figure->median, other->median, figure->unit, figure->median / other->median, limit);
    // Memory that no cache holds is slower for everybody.
    if (other->floor > 0)
      verdicts_.back().note = "floor grows " + Number(figure->floor / other->floor);
  }

  void AtMost(const std::string& goal, double value, const std::string& unit, double limit) {
    Add(goal, value, 0, unit, value, limit);
  }

  void AtLeast(const std::string& goal, double value, const std::string& unit, double limit) {
    verdicts_.push_back({goal, value, 0, unit, value, limit, true, value >= limit, {}});
  }

  void Fail(const std::string& goal, double limit, const std::string& error) {
    Verdict verdict;
    verdict.goal = goal + ": " + error;
    verdict.limit = limit;
    verdicts_.push_back(std::move(verdict));
  }

  std::vector<Verdict> Take() { return std::move(verdicts_); }

 private:
  void Add(const std::string& goal, double figure, double floor, const std::string& unit,
           double value, double limit) {
    verdicts_.push_back({goal, figure, floor, unit, value, limit, false, value <= limit, {}});
  }

  const std::vector<Figure>& figures_;
  std::vector<Verdict> verdicts_;
};

std::string At(std::int64_t n) { return ", n=" + std::to_string(n); }

Key ListKey(const std::string& name, const std::string& index, std::int64_t n) {
  return {name, index, 2, n};
}

void JudgeReads(const std::string& index, double callback_ns, GoalBook* judge) {
  for (const std::int64_t n : {kSmall, kLarge}) {
    judge->AgainstFloor("one leaf, " + index + At(n), ListKey("read-leaf", index, n), 2.0);
  }
  judge->AgainstOther("one leaf, " + index + ", n=1000000 to n=100",
                      ListKey("read-leaf", index, kLarge), ListKey("read-leaf", index, kSmall),
                      1.25);
  for (const std::int64_t n : {kMiddle, kLarge}) {
    const Key key = ListKey("read-list", index, n);
    if (const Figure* figure = judge->Find(key)) {
      judge->AtLeast("whole list, " + index + At(n), 1e9 / figure->median, "leaf/s", 2'500'000);
    }
    // What the texts cost that are owned one by one is in these limits.
    judge->AgainstFloor("whole list, " + index + At(n), key, n == kLarge ? 5.5 : 5.0);
  }
  for (const std::int64_t n : {kMiddle, kLarge}) {
    if (const Figure* figure = judge->Find(ListKey("get-id", index, n))) {
      judge->AtMost("get-id beyond the callback, " + index + At(n), figure->median - callback_ns,
                    "ns/entry", 150);
    }
  }
}

void JudgeEdits(const std::string& index, GoalBook* judge) {
  for (const std::string name : {"create-entry", "create-entry-command"}) {
    for (const std::int64_t n : {kSmall, kLarge}) {
      judge->AgainstFloor(name + ", " + index + At(n), ListKey(name, index, n), 3);
    }
    judge->AgainstOther(name + ", " + index + ", n=1000000 to n=100", ListKey(name, index, kLarge),
                        ListKey(name, index, kSmall), 1.5);
  }
}

void JudgeInstances(const std::string& index, GoalBook* judge) {
  for (const std::string order : {"rising", "falling", "random"}) {
    const auto key = [&](std::int64_t n) {
      return Key{"create-remove-instance", index, 0, n, "in-process", order};
    };
    const std::string goal = "create and remove an instance, " + index + " " + order;
    for (const std::int64_t n : {kInstances, kManyInstances, kLarge}) {
      judge->AgainstFloor(goal + At(n), key(n), 1.5);
    }
    for (const std::int64_t n : {kManyInstances, kLarge}) {
      judge->AgainstOther(goal + At(n) + " to n=1000", key(n), key(kInstances), 1.5);
    }
  }
}

void JudgeAfterRemovals(GoalBook* judge) {
  for (const std::string name : {"search", "create"}) {
    for (const std::int64_t n : {kManyInstances, kLarge}) {
      const Key key = {name + "-instance", "tree", 0, n, "in-process", "after-removals"};
      judge->AgainstFloor(name + " an instance after removals, against a tree that grew" + At(n),
                          key, 1.3);
    }
  }
}

void JudgeRegistration(GoalBook* judge) {
  judge->AgainstFloor("registration of 5,000 paths, sent", {"register-send", "", 0, 5000}, 2);
  judge->AgainstFloor("registration of 5,000 paths, with the calls", {"register", "", 0, 5000}, 2);
  if (const Figure* hold = judge->Find({"hold", "", 0, 5000, "unpinned"})) {
    const std::string goal = "second thread held while 5,000 paths are sent";
    if (hold->error.empty()) {
      judge->AtMost(goal, hold->median, "us", 5000);
    } else {
      judge->Fail(goal, 5000, hold->error);
    }
  }
}

void JudgeMemory(const std::string& index, GoalBook* judge) {
  const Figure* memory = judge->Find({"memory", index, 2, kLarge, "-"});
  if (memory == nullptr) return;
  const std::string goal = "memory of 1,000,000 entries, " + index;
  if (!memory->error.empty()) return judge->Fail(goal, 1280, memory->error);
  judge->AtMost(goal, memory->median, memory->unit, 1280);
}

}  // namespace

std::vector<Verdict> Judge(const std::vector<Figure>& figures, double callback_ns) {
  GoalBook judge(figures);
  for (const std::string index : {"tree", "hash"}) {
    JudgeReads(index, callback_ns, &judge);
    JudgeEdits(index, &judge);
    JudgeInstances(index, &judge);
    JudgeMemory(index, &judge);
  }
  JudgeAfterRemovals(&judge);
  JudgeRegistration(&judge);
  return judge.Take();
}

void Print(const std::vector<Verdict>& verdicts) {
  std::printf("\n%-66s %10s %10s %-9s %9s %10s  %s\n", "goal", "figure", "floor", "unit", "ratio",
              "limit", "");
  for (const Verdict& verdict : verdicts) {
    std::printf(
        "%-66s %10s %10s %-9s %9s %c%9s  %s%s\n", verdict.goal.c_str(),
        Number(verdict.figure).c_str(), verdict.floor > 0 ? Number(verdict.floor).c_str() : "-",
        verdict.unit.c_str(), verdict.floor > 0 ? Number(verdict.value).c_str() : "-",
        verdict.at_least ? '>' : '<', Number(verdict.limit).c_str(),
        verdict.met ? "met" : "NOT MET", verdict.note.empty() ? "" : ("; " + verdict.note).c_str());
  }
}

}  // namespace bench
