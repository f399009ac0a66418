#include "run_options.h"

#include <cstdlib>

namespace ncdm_test {
namespace {

int NumberFrom(const char* variable, int otherwise) {
  const char* text = std::getenv(variable);
  return text == nullptr ? otherwise : std::atoi(text);
}

}  // namespace

std::chrono::milliseconds RunTime(std::chrono::milliseconds otherwise) {
  const int seconds = NumberFrom("NCDM_SOAK_SECONDS", 0);
  return seconds == 0 ? otherwise : std::chrono::seconds(seconds);
}

int Restarts(int otherwise) { return NumberFrom("NCDM_SOAK_RESTARTS", otherwise); }

int Rounds(int otherwise) { return NumberFrom("NCDM_SOAK_ROUNDS", otherwise); }

unsigned Seed() { return static_cast<unsigned>(NumberFrom("NCDM_SOAK_SEED", 1)); }

std::string SampleFile() {
  const char* path = std::getenv("NCDM_SOAK_CSV");
  return path == nullptr ? std::string() : std::string(path);
}

}  // namespace ncdm_test
