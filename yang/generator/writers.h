// What is written for a module, file by file. Every function gives the file's text.
#ifndef YANG_GENERATOR_WRITERS_H_
#define YANG_GENERATOR_WRITERS_H_

#include <string>

#include "module.h"

namespace ncdm::yang {

struct Style {
  bool cxx = false;
  std::string package_hint;  // a folder where CMake finds the agent's package; empty for the usual

  const char* extension() const { return cxx ? ".cc" : ".c"; }
};

// Written anew each time.
std::string WriteHeader(const Module& module);
std::string WriteModel(const Module& module);
std::string WriteCMakeModel(const Module& module, const Style& style);

// Written once, and then the developer's.
std::string WriteAgent(const Module& module);
std::string WriteTest(const Module& module);
std::string WriteCMakeLists(const Module& module, const Style& style);

// "written by ncdm-yang 1.0.0 from demo-vlans.yang, revision 2026-11-21".
std::string Origin(const Module& module);

// The type of a leaf's member: "uint16_t", "char".
std::string MemberType(const Type& type);

// True if some type has a pattern, so that the application needs PCRE2.
bool HasPatterns(const Module& module);

}  // namespace ncdm::yang

#endif  // YANG_GENERATOR_WRITERS_H_
