// Measures the library from the server's end of a socket, and in process where the goals ask for
// it.
//
//   end-to-end [--quick] [--only NAME] [--json FILE]
//   end-to-end --profile NAME [--rounds N] [--wrapper COMMAND] [MODEL...]
//
// --only measures the figures whose names contain NAME.
// --profile measures nothing: it sends an agent that many requests of one kind, and prints how many
// operations that were. --wrapper puts a profiler's command before the agent's. MODEL are arguments
// of bench-agent.

#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/goals.h"
#include "bench/profile.h"
#include "bench/scenario.h"

namespace bench {
namespace {

struct Options {
  Settings settings;
  std::string json;
  std::string profile;
  int rounds = 1000;
  std::string wrapper;
  std::vector<std::string> model;
};

Options Parse(int argc, char** argv) {
  Options options;
  const auto value = [&](int* i) -> std::string {
    if (*i + 1 >= argc) throw std::invalid_argument(std::string(argv[*i]) + " needs a value");
    return argv[++*i];
  };
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--quick") {
      options.settings.quick = true;
    } else if (argument == "--only") {
      options.settings.only = value(&i);
    } else if (argument == "--json") {
      options.json = value(&i);
    } else if (argument == "--profile") {
      options.profile = value(&i);
    } else if (argument == "--rounds") {
      options.rounds = std::stoi(value(&i));
    } else if (argument == "--wrapper") {
      options.wrapper = value(&i);
    } else {
      options.model.push_back(argument);
    }
  }
  if (options.profile.empty() && !options.model.empty()) {
    throw std::invalid_argument("unknown argument " + options.model[0]);
  }
  return options;
}

nlohmann::json JsonOf(const Figure& figure) {
  return {{"name", figure.name},           {"index", figure.index},
          {"depth", figure.depth},         {"n", figure.n},
          {"leaves", figure.leaves},       {"variant", figure.variant},
          {"placement", figure.placement}, {"unit", figure.unit},
          {"median", figure.median},       {"p99", figure.p99},
          {"floor", figure.floor},         {"floor_p99", figure.floor_p99},
          {"ratio", figure.Ratio()},       {"error", figure.error}};
}

nlohmann::json JsonOf(const Verdict& verdict) {
  return {{"goal", verdict.goal},         {"figure", verdict.figure}, {"floor", verdict.floor},
          {"unit", verdict.unit},         {"value", verdict.value},   {"limit", verdict.limit},
          {"at_least", verdict.at_least}, {"met", verdict.met},       {"note", verdict.note}};
}

void WriteJson(const std::string& path, const Results& results,
               const std::vector<Verdict>& verdicts) {
  nlohmann::json json = {{"figures", nlohmann::json::array()}, {"goals", nlohmann::json::array()}};
  for (const Figure& figure : results.figures()) json["figures"].push_back(JsonOf(figure));
  for (const Verdict& verdict : verdicts) json["goals"].push_back(JsonOf(verdict));
  std::ofstream file(path);
  file << json.dump(1) << "\n";
  if (!file) throw std::runtime_error("cannot write " + path);
}

std::vector<std::string> Words(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

void Profile(const Options& options) {
  SetAgentWrapper(Words(options.wrapper));
  const double operations =
      RunProfile(options.profile, Model::FromArguments(options.model), options.rounds);
  std::printf("operations %.0f\n", operations);
}

void Measure(const Options& options) {
  Results results;
  PrintTableHead();
  MeasureRegistration(options.settings, &results);
  MeasureHold(options.settings, &results);
  MeasureInstances(options.settings, &results);
  MeasureLists(options.settings, &results);
  const std::vector<Verdict> verdicts = Judge(results.figures(), CallbackNs());
  if (!options.json.empty()) WriteJson(options.json, results, verdicts);
  Print(verdicts);
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  try {
    const bench::Options options = bench::Parse(argc, argv);
    if (options.profile.empty()) {
      bench::Measure(options);
    } else {
      bench::Profile(options);
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "end-to-end: %s\n", error.what());
    return 1;
  }
}
