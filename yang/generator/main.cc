// ncdm-yang: from a YANG module to the source of an application.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "module.h"
#include "options/parser.h"
#include "version.h"
#include "writers.h"

namespace ncdm::yang {
namespace {

namespace fs = std::filesystem;

struct Request {
  std::string module;
  std::vector<std::string> paths;
  std::string folder;
  bool cxx = false;
  std::vector<std::string> expect;
  std::vector<std::string> whole;
  std::vector<std::string> no_delete;
  std::vector<std::string> times;
  std::vector<std::string> further;
};

std::string ReadFile(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

// What is there already stays untouched, its time of change too.
void Write(const fs::path& file, const std::string& text) {
  if (fs::exists(file) && ReadFile(file) == text) return;
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream << text;
  if (!stream.flush()) throw Refusal(file.string() + ": cannot be written");
}

void WriteOnce(const fs::path& file, const std::string& text) {
  if (!fs::exists(file)) Write(file, text);
}

// The prefix that the tool runs from, when CMake does not look there by itself.
std::string PackageHint() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error) return "";
  const fs::path prefix = program.parent_path().parent_path();
  if (prefix == "/usr" || prefix == "/usr/local" || prefix == "/") return "";
  return prefix.string();
}

// A list may be named as it is registered: "interfaces.interface.{i}.address".
std::string WithoutMarkers(std::string path) {
  constexpr std::string_view kMarker = ".{i}";
  for (size_t at = path.find(kMarker); at != std::string::npos; at = path.find(kMarker)) {
    path.erase(at, kMarker.size());
  }
  return path;
}

std::pair<std::string, uint32_t> ParseExpectation(const std::string& text) {
  const size_t equals = text.rfind('=');
  const std::string number = equals == std::string::npos ? "" : text.substr(equals + 1);
  const bool digits = !number.empty() && number.size() < 10 &&
                      number.find_first_not_of("0123456789") == std::string::npos;
  if (!digits || equals == 0) throw Refusal("--expect " + text + ": it is PATH=NUMBER");
  return {WithoutMarkers(text.substr(0, equals)), static_cast<uint32_t>(std::stoul(number))};
}

std::vector<std::string> SplitPaths(const std::vector<std::string>& arguments) {
  std::vector<std::string> paths;
  for (const std::string& argument : arguments) {
    std::istringstream parts(argument);
    for (std::string part; std::getline(parts, part, ':');) {
      if (!part.empty()) paths.push_back(part);
    }
  }
  return paths;
}

void Generate(const Request& request) {
  Wishes wishes;
  wishes.search_paths = SplitPaths(request.paths);
  wishes.further_modules = request.further;
  for (const std::string& list : request.whole) {
    wishes.whole_entries.push_back(WithoutMarkers(list));
  }
  for (const std::string& leaf : request.no_delete) {
    wishes.no_delete.push_back(WithoutMarkers(leaf));
  }
  for (const std::string& leaf : request.times) wishes.times.push_back(WithoutMarkers(leaf));
  for (const std::string& text : request.expect) {
    wishes.expected_entries.push_back(ParseExpectation(text));
  }
  const Module module = ReadModule(request.module, wishes);
  for (const std::string& note : module.notes) fprintf(stderr, "note: %s\n", note.c_str());

  const Style style{request.cxx, PackageHint()};
  const fs::path folder = request.folder;
  fs::create_directories(folder);
  const auto file = [&](const std::string& end) { return folder / (module.name + end); };
  Write(file(".h"), WriteHeader(module));
  Write(file(std::string("-model") + style.extension()), WriteModel(module));
  Write(file(".cmake"), WriteCMakeModel(module, style));
  WriteOnce(file(std::string("-agent") + style.extension()), WriteAgent(module));
  WriteOnce(file(std::string("-test") + style.extension()), WriteTest(module));
  WriteOnce(folder / "CMakeLists.txt", WriteCMakeLists(module, style));
}

int Run(int argc, char** argv) {
  Request request;
  options::Parser options("From a YANG module to a running application.", "ncdm-yang");
  options.SetVersion(std::string("ncdm-yang ") + kVersion,
                     "Display program version information and exit");
  options::Parser generate = options.AddCommand(
      "generate",
      "Writes an application around a module: its records and tables (written anew "
      "each time), a program, its test and CMake file (written once).");
  generate.Add({
      {.names = "module",
       .target = &request.module,
       .help = "the module's file",
       .value_name = "MODULE.yang",
       .required = true},
      {.names = "further",
       .target = &request.further,
       .help = "files of further modules, whose augments, identities and deviations count",
       .value_name = "[MODULE.yang...]"},
      {.names = "-p,--path",
       .target = &request.paths,
       .help = "folder of imported modules; those in it that add to the module count",
       .value_name = "PATH"},
      {.names = "-o,--output",
       .target = &request.folder,
       .help = "folder to write to",
       .value_name = "DIR",
       .required = true},
      {.names = "--cxx", .target = &request.cxx, .help = "C++20 instead of C11"},
      {.names = "--expect",
       .target = &request.expect,
       .help = "how many entries a list will have; from 10000 on it has a hash table",
       .value_name = "LIST=N"},
      {.names = "--whole",
       .target = &request.whole,
       .help = "list whose entries are applied in one operation, whatever its keys",
       .value_name = "LIST"},
      {.names = "--no-delete",
       .target = &request.no_delete,
       .help = "leaf that an edit may change and not delete",
       .value_name = "LEAF"},
      {.names = "--time",
       .target = &request.times,
       .help = "leaf of text that is a date and time, a struct tm",
       .value_name = "LEAF"},
  });
  if (const std::optional<int> status = options.Parse(argc, argv)) return *status;
  Generate(request);
  return 0;
}

}  // namespace
}  // namespace ncdm::yang

int main(int argc, char** argv) {
  try {
    return ncdm::yang::Run(argc, argv);
  } catch (const std::exception& error) {
    fprintf(stderr, "ncdm-yang: %s\n", error.what());
    return 1;
  }
}
