// A process that is started for a measurement and ended with it, and a folder for its files.
#ifndef BENCH_PEERS_CHILD_H_
#define BENCH_PEERS_CHILD_H_

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

namespace bench::peers {

class Folder {
 public:
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

class Child {
 public:
  using Environment = std::vector<std::pair<std::string, std::string>>;

  // Its output goes to `log`. Throws std::runtime_error when there is nothing to start.
  Child(std::vector<std::string> command, const Environment& environment, const std::string& log);
  // Asks it to end, and makes it.
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }
  // Throws std::runtime_error, with the end of the log, when it has ended.
  void CheckRuns() const;

 private:
  std::string program_;
  std::string log_;
  mutable pid_t pid_ = -1;
};

// A program beside the running one.
std::string BesideThis(const std::string& name);

}  // namespace bench::peers

#endif  // BENCH_PEERS_CHILD_H_
