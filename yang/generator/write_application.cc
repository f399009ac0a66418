#include <algorithm>
#include <sstream>

#include "source_text.h"
#include "writers.h"

namespace ncdm::yang {
namespace {

void Lines(Source& out, const std::string& text) {
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) out.Line(line);
}

constexpr const char* kMain = R"(static zu_thread_master* loop;

static void stop(int number) {
  (void)number;
  zu_thread_master_stop(loop);
}

static int usage(const char* program) {
  fprintf(stderr, "usage: %s [--name NAME] [--data FILE]\n", program);
  fprintf(stderr, "  --name NAME  name under which the server knows this process\n");
  fprintf(stderr, "  --data FILE  JSON file that a start reads and a commit writes\n");
  return 2;
}

static int run(const char* program, const char* name, const char* data_file) {
  if (getenv("TMPDIR") == NULL) {
    fprintf(stderr, "%s: set TMPDIR to the directory that holds the server's socket\n", program);
    return 1;
  }
  loop = zu_thread_master_create();
  if (loop == NULL) return 1;
  signal(SIGINT, stop);
  signal(SIGTERM, stop);
  set_operations();
  const ncdm_model_t* model = &MODEL;
  if (ncdm_model_start(model, name, loop, data_file) != 0) {
    fprintf(stderr, "%s: the start failed\n", program);
    return 1;
  }
  zu_thread_master_run(loop);
  zu_thread_master_destroy(loop);
  return 0;
}

int main(int argc, char** argv) {
  const struct option options[] = {
      {"name", required_argument, NULL, 'n'},
      {"data", required_argument, NULL, 'd'},
      {"help", no_argument, NULL, 'h'},
      {NULL, 0, NULL, 0},
  };
  const char* name = "PROGRAM";
  const char* data_file = NULL;
  int option = 0;
  while ((option = getopt_long(argc, argv, "", options, NULL)) != -1) {
    if (option == 'n') {
      name = optarg;
    } else if (option == 'd') {
      data_file = optarg;
    } else {
      const int status = usage(argv[0]);
      return option == 'h' ? 0 : status;
    }
  }
  if (optind != argc) return usage(argv[0]);
  return run(argv[0], name, data_file);
}
)";

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
  return text;
}

// ---- The unit test's values: those at the model's limits ----

struct Sample {
  std::string text;
  bool accepted;
};

constexpr size_t kLongestSample = 60;

void IntegerSamples(const Type& type, std::vector<Sample>& samples) {
  if (type.ranges.empty()) {
    samples.push_back({"1", true});
    samples.push_back({"99999999999999999999", false});
    return;
  }
  const auto text = [&](int64_t value) {
    return type.is_unsigned ? std::to_string(static_cast<uint64_t>(value)) : std::to_string(value);
  };
  const Range& range = type.ranges.front();
  samples.push_back({text(range.min), true});
  samples.push_back({text(range.max), true});
  const int64_t lowest = type.is_unsigned ? 0 : INT64_MIN;
  if (range.min != lowest) samples.push_back({text(range.min - 1), false});
}

void TextSamples(const Type& type, std::vector<Sample>& samples) {
  // What a pattern accepts cannot be told from it.
  if (!type.patterns.empty()) return;
  const size_t least = type.ranges.empty() ? 1 : static_cast<size_t>(type.ranges.front().min);
  const size_t most =
      type.ranges.empty() ? kLongestSample : static_cast<size_t>(type.ranges.back().max);
  if (least <= kLongestSample) samples.push_back({std::string(least, 'a'), true});
  if (most < kLongestSample) samples.push_back({std::string(most + 1, 'a'), false});
  if (least > 0 && least <= kLongestSample && !type.ranges.empty()) {
    samples.push_back({std::string(least - 1, 'a'), false});
  }
}

std::vector<Sample> Samples(const Type& type) {
  std::vector<Sample> samples;
  switch (type.kind) {
    case Kind::kBool:
      return {{"true", true}, {"false", true}, {"yes", false}};
    case Kind::kDecimal64:
      return {{"1.", false}, {"a", false}};
    case Kind::kText:
      TextSamples(type, samples);
      return samples;
    case Kind::kUnion:
      return samples;
    case Kind::kEnum:
      return {
          {type.names.front().text, true}, {type.names.back().text, true}, {"no such name", false}};
    case Kind::kBits:
      return {{"", true}, {type.names.front().text, true}, {"no-such-bit", false}};
    case Kind::kBinary:
      return {{"=", false}};
    case Kind::kEmpty:
      return {{"", true}, {"a", false}};
    case Kind::kTime:
      return {{"2024-05-06T07:08:09", true}, {"2024-05-06", false}};
    default:
      IntegerSamples(type, samples);
      return samples;
  }
}

void WriteSamples(const Module& module, Source& out) {
  for (const Node& node : module.nodes) {
    for (const Leaf& leaf : node.leaves) {
      for (const Sample& sample : Samples(leaf.type)) {
        if (sample.text.size() > kLongestSample) continue;
        out.Line("    {");
        out.Field(8, "node", "&" + node.c_name + "_node");
        out.TextField(8, "leaf", leaf.name);
        out.TextField(8, "text", sample.text);
        out.Field(8, "accepted", sample.accepted ? "true" : "false");
        out.Line("    },");
      }
    }
  }
  // So that the table is never empty.
  out.Line("    {");
  out.Field(8, "node", "&" + module.nodes.front().c_name + "_node");
  out.TextField(8, "leaf", "no such leaf");
  out.TextField(8, "text", "");
  out.Field(8, "accepted", "false");
  out.Line("    },");
}

constexpr const char* kTestHead = R"(struct sample {
  const ncdm_node_t* node;
  const char* leaf;
  const char* text;
  bool accepted;
};

static const struct sample samples[] = {
)";

constexpr const char* kTestBody = R"(};

static int failures = 0;

static void fail(const ncdm_node_t* node, const char* leaf, const char* what) {
  fprintf(stderr, "%s, leaf '%s': %s\n", node->path, leaf, what);
  ++failures;
}

/* What is accepted comes back as it was written. */
static void check_sample(const struct sample* sample) {
  void* record = calloc(1, sample->node->size);
  char text[NCDM_TEXT_SIZE];
  if (record == NULL) return fail(sample->node, sample->leaf, "no memory");
  const bool accepted = ncdm_record_set(sample->node, record, sample->leaf, sample->text) == 0;
  if (accepted != sample->accepted) {
    fail(sample->node, sample->leaf, accepted ? "takes a value too many" : "refuses a value");
  } else if (accepted && (ncdm_record_get(sample->node, record, sample->leaf, text) != 0 ||
                          strcmp(text, sample->text) != 0)) {
    fail(sample->node, sample->leaf, "gives another value back");
  }
  free(record);
}

/* A new record has the defaults of the module. */
static void check_defaults(const ncdm_node_t* node) {
  void* record = calloc(1, node->size);
  if (record == NULL) return fail(node, "", "no memory");
  ncdm_record_init(node, record);
  for (size_t i = 0; i < node->leaf_count; ++i) {
    const ncdm_leaf_t* leaf = &node->leaves[i];
    char text[NCDM_TEXT_SIZE];
    if (leaf->initial != NULL && (ncdm_record_get(node, record, leaf->name, text) != 0 ||
                                  strcmp(text, leaf->initial) != 0)) {
      fail(node, leaf->name, "has no default");
    }
  }
  free(record);
}

int main(void) {
  for (size_t i = 0; i < sizeof samples / sizeof samples[0]; ++i) check_sample(&samples[i]);
  const ncdm_model_t* model = &MODEL;
  for (size_t i = 0; i < model->node_count; ++i) check_defaults(model->nodes[i]);
  return failures == 0 ? 0 : 1;
}
)";

std::string Once(const Module& module, const std::string& file, const std::string& what) {
  return file + " - " + what + " " + module.name + ".";
}

}  // namespace

std::string WriteAgent(const Module& module) {
  Source out;
  std::vector<std::string> head = {
      Once(module, module.name + "-agent", "the application around the YANG module"),
      "",
      "First " + Origin(module) + "; from now on it is yours: it is not written again.",
      "",
      "As it stands it keeps everything in memory, and the configuration in the data file at a "
      "commit. Replace what the device does itself in set_operations. There are tables for:",
      ""};
  for (const Node& node : module.nodes) head.push_back("  " + node.c_name + "_operations");
  out.BlockComment(head);
  Lines(out, "#include <getopt.h>\n#include <signal.h>\n#include <stdio.h>\n#include <stdlib.h>\n");
  out.Line();
  out.Line("#include \"" + module.name + ".h\"");
  out.Line("#include \"zu_thread.h\"");
  out.Line();
  out.Line("/* " + std::string("Such as NAME_operations.apply = apply_NAME; see ") + module.name +
           ".h. */");
  out.Line("static void set_operations(void) {}");
  out.Line();
  Lines(out, Replaced(Replaced(kMain, "MODEL", module.c_name + "_model"), "PROGRAM",
                      module.name + "-agent"));
  return out.text();
}

std::string WriteTest(const Module& module) {
  Source out;
  out.BlockComment(
      {Once(module, module.name + "-test",
            "values that the agent takes and refuses,"
            " for the YANG module"),
       "", "First " + Origin(module) + "; from now on it is yours: it is not written again."});
  out.Line("#include \"" + module.name + ".h\"");
  out.Line();
  Lines(out, "#include <stdio.h>\n#include <stdlib.h>\n#include <string.h>\n");
  out.Line();
  Lines(out, kTestHead);
  WriteSamples(module, out);
  Lines(out, Replaced(kTestBody, "MODEL", module.c_name + "_model"));
  return out.text();
}

std::string WriteCMakeModel(const Module& module, const Style& style) {
  Source out;
  const std::string hint =
      style.package_hint.empty() ? "" : " HINTS \"" + style.package_hint + "\"";
  const std::string target = module.name + "-model";
  out.Line("# The library " + target + " of the YANG module " + module.name + ".");
  out.Line("# Do not edit: " + Origin(module) + ", and is written anew from it.");
  out.Line("if(NOT TARGET netconf_dm_agent::ncdm-model)");
  out.Line("  find_package(netconf_dm_agent REQUIRED" + hint + ")");
  out.Line("endif()");
  out.Line("add_library(" + target + " STATIC ${CMAKE_CURRENT_LIST_DIR}/" + target +
           style.extension() + ")");
  out.Line("target_include_directories(" + target + " PUBLIC ${CMAKE_CURRENT_LIST_DIR})");
  out.Line("target_compile_features(" + target +
           std::string(style.cxx ? " PUBLIC cxx_std_20)" : " PUBLIC c_std_11)"));
  out.Line("target_compile_options(" + target + " PRIVATE -Wall -Wextra -Wconversion)");
  out.Line("target_link_libraries(" + target + " PUBLIC netconf_dm_agent::ncdm-model)");
  if (HasPatterns(module)) {
    out.Line("target_link_libraries(" + target + " PRIVATE netconf_dm_agent::ncdm-model-pattern)");
  }
  return out.text();
}

std::string WriteCMakeLists(const Module& module, const Style& style) {
  Source out;
  const std::string agent = module.name + "-agent";
  const std::string test = module.name + "-test";
  out.Line("# " + agent + " and its test.");
  out.Line("# First " + Origin(module) + "; from now on it is yours: it is not written again.");
  out.Line("cmake_minimum_required(VERSION 3.25)");
  out.Line("project(" + agent + " LANGUAGES " + (style.cxx ? "CXX" : "C") + ")");
  out.Line();
  out.Line("include(" + module.name + ".cmake)  # the library " + module.name + "-model");
  out.Line();
  out.Line("add_executable(" + agent + " " + agent + style.extension() + ")");
  out.Line("target_link_libraries(" + agent + " PRIVATE " + module.name + "-model)");
  out.Line();
  out.Line("include(CTest)");
  out.Line("if(BUILD_TESTING)");
  out.Line("  add_executable(" + test + " " + test + style.extension() + ")");
  out.Line("  target_link_libraries(" + test + " PRIVATE " + module.name + "-model)");
  out.Line("  add_test(NAME " + test + " COMMAND " + test + ")");
  out.Line("endif()");
  return out.text();
}

}  // namespace ncdm::yang
