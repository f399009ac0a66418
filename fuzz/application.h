// A small application for the fuzzers: lists in lists, a list with a hash table, one whose entries
// are applied by exe_cmd, leaf-lists, containers and a leaf of each value type. What its callbacks
// answer is read from the fuzzer's input.
#ifndef FUZZ_APPLICATION_H_
#define FUZZ_APPLICATION_H_

#include <array>

#include "fuzz/input.h"
#include "netconf_dm_agent.h"

namespace ncdm_fuzz {

// Starts the library against the server's socket, with an empty tree. Once a process.
void StartAgent();

// Registers the application's data model and a few instances; its callbacks answer from `input` on.
void StartApplication(Input* input);

// Registers a small part of that model instead, and leaves its announcements to the registration
// task.
void StartSmallApplication(Input* input);

// Checks the tree and takes back all that the library holds, but the connection.
void Reset();

// Takes the pending registrations back when there are more than a few thousand.
void ForgetManyRegistrations();

// Checks that the tree's links and indexes agree.
void CheckTree();

// Paths of the application's model, and some that are none.
extern const std::array<const char*, 40> kPaths;

// Instance paths, for nc_dm_agent_reg.
extern const std::array<const char*, 16> kInstancePaths;

}  // namespace ncdm_fuzz

#endif  // FUZZ_APPLICATION_H_
