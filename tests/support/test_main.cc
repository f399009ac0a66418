#include "test_main.h"

#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace ncdm_test {
namespace {

std::vector<void (*)()>& StartActions() {
  static std::vector<void (*)()> actions;
  return actions;
}

// Every open descriptor with what it refers to.
std::map<int, std::string> OpenDescriptors() {
  std::map<int, std::string> result;
  std::unique_ptr<DIR, int (*)(DIR*)> directory(opendir("/proc/self/fd"), &closedir);
  if (!directory) return result;
  while (const dirent* entry = readdir(directory.get())) {
    if (entry->d_name[0] == '.') continue;
    const int fd = atoi(entry->d_name);
    if (fd == dirfd(directory.get())) continue;
    char target[256];
    const std::string link = std::string("/proc/self/fd/") + entry->d_name;
    const ssize_t length = readlink(link.c_str(), target, sizeof(target));
    result[fd] = length < 0 ? "?" : std::string(target, static_cast<size_t>(length));
  }
  return result;
}

// Fails a test that leaves a descriptor open. (LeakSanitizer does the same for memory.)
class DescriptorLeakListener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo&) override {
    for (auto* action : StartActions()) action();
    before_ = OpenDescriptors();
  }

  void OnTestEnd(const testing::TestInfo&) override {
    for (const auto& [fd, target] : OpenDescriptors()) {
      if (!before_.contains(fd)) {
        ADD_FAILURE() << "the test leaves descriptor " << fd << " open: " << target;
      }
    }
  }

  std::map<int, std::string> before_;
};

}  // namespace

bool AtTestStart(void (*action)()) {
  StartActions().push_back(action);
  return true;
}

}  // namespace ncdm_test

int main(int argc, char** argv) {
  testing::InitGoogleMock(&argc, argv);
  // The machine's log is not the place for what tests provoke.
  setenv("NC_DM_LOG", "stderr", 0);
  testing::UnitTest::GetInstance()->listeners().Append(new ncdm_test::DescriptorLeakListener);
  return RUN_ALL_TESTS();
}
