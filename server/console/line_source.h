// Where command lines come from.
#ifndef NCDM_SERVER_CONSOLE_LINE_SOURCE_H_
#define NCDM_SERVER_CONSOLE_LINE_SOURCE_H_

#include <functional>
#include <istream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ncdm::console {

class LineSource {
 public:
  virtual ~LineSource() = default;
  // The next line without its end; nothing when there are no more.
  virtual std::optional<std::string> Next() = 0;
  // Of the line last read, for errors: "-e 2", "setup.txt:14"; empty where people see what they
  // typed.
  virtual std::string Place() const = 0;
};

// The commands of -e options.
class ExpressionSource : public LineSource {
 public:
  explicit ExpressionSource(std::vector<std::string> expressions)
      : expressions_(std::move(expressions)) {}
  std::optional<std::string> Next() override;
  std::string Place() const override;

 private:
  std::vector<std::string> expressions_;
  std::size_t next_ = 0;
};

// A file that is there as a whole.
class FileSource : public LineSource {
 public:
  FileSource(std::unique_ptr<std::istream> file, std::string name)
      : file_(std::move(file)), name_(std::move(name)) {}
  std::optional<std::string> Next() override;
  std::string Place() const override;

 private:
  std::unique_ptr<std::istream> file_;
  std::string name_;
  int line_ = 0;
};

enum class WaitResult { kReady, kInterrupted, kEnd };

// Waits until the descriptor can be read, and keeps everything else running meanwhile.
using WaitFunction = std::function<WaitResult(int fd)>;

// A descriptor whose lines may take their time, such as a pipe.
class DescriptorSource : public LineSource {
 public:
  DescriptorSource(int fd, std::string name, WaitFunction wait)
      : fd_(fd), name_(std::move(name)), wait_(std::move(wait)) {}
  std::optional<std::string> Next() override;
  std::string Place() const override;

 private:
  bool ReadMore();

  int fd_;
  std::string name_;
  WaitFunction wait_;
  std::string buffer_;
  bool at_end_ = false;
  int line_ = 0;
};

}  // namespace ncdm::console

#endif  // NCDM_SERVER_CONSOLE_LINE_SOURCE_H_
