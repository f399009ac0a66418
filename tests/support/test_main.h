// What every test program does around its tests.
#ifndef TESTS_SUPPORT_TEST_MAIN_H_
#define TESTS_SUPPORT_TEST_MAIN_H_

namespace ncdm_test {

// Has `action` called before each test. For doubles that live as long as the process.
// Returns true, so that a namespace-scope constant can be initialised with the call.
bool AtTestStart(void (*action)());

}  // namespace ncdm_test

#endif  // TESTS_SUPPORT_TEST_MAIN_H_
