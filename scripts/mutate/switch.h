// What an instrumented file of the library asks at each place that mutants change. The environment
// chooses the mutant of a run: NCDM_MUTANT is its number. NCDM_MUTANTS_REACHED names a file of
// NCDM_MUTANTS_ROOM bytes, in which the byte of each place that is reached becomes 1; a mapping, so
// that it says so also when the program crashes.
#ifndef NCDM_MUTATION_SWITCH_H_
#define NCDM_MUTATION_SWITCH_H_

#include <fcntl.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

namespace ncdm_mutation {

inline unsigned char* MapReached() {
  const char* path = getenv("NCDM_MUTANTS_REACHED");
  const char* room = getenv("NCDM_MUTANTS_ROOM");
  if (path == nullptr || room == nullptr) return nullptr;
  const int fd = open(path, O_RDWR | O_CLOEXEC);
  if (fd < 0) abort();
  void* bytes =
      mmap(nullptr, strtoul(room, nullptr, 10), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  close(fd);
  if (bytes == MAP_FAILED) abort();
  return static_cast<unsigned char*>(bytes);
}

inline int ReadActive() {
  const char* number = getenv("NCDM_MUTANT");
  return number == nullptr ? -1 : atoi(number);
}

inline const int kActive = ReadActive();
inline unsigned char* const kReached = MapReached();

inline bool On(int mutant) {
  if (__builtin_expect(kReached != nullptr, 0)) kReached[mutant] = 1;
  return __builtin_expect(kActive == mutant, 0);
}

}  // namespace ncdm_mutation

#define NCDM_MUTANT(number) (::ncdm_mutation::On(number))

#endif  // NCDM_MUTATION_SWITCH_H_
