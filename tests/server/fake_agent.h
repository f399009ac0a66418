// An agent played by a test: the other end of the server's socket, whose bytes are written by hand
// here, so that neither end's codec is trusted.
#ifndef TESTS_SERVER_FAKE_AGENT_H_
#define TESTS_SERVER_FAKE_AGENT_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncdm_test {

// Bytes of fields, for hand-written bodies.
std::string I32(std::int32_t value);
std::string I64(std::int64_t value);
std::string Lv(std::string_view text);

// A whole frame.
std::string RawFrame(std::int32_t type, std::int32_t sid, std::int32_t flag, std::int32_t entry_cnt,
                     std::int32_t ds_type, std::string_view body);

struct RawMessage {
  std::int32_t type = 0;
  std::int32_t sid = 0;
  std::int32_t flag = 0;
  std::int32_t entry_cnt = 0;
  std::int32_t ds_type = 0;
  std::string body;
};

// Connects to the server's socket below `root`; gives up after 20 s. Owned by the caller.
int ConnectToServer(const std::string& root);

// An agent that keeps what it is asked and answers as it is told.
class FakeAgent {
 public:
  // One request, complete with its executing message.
  struct Request {
    std::int32_t type = 0;
    std::int32_t packet_type = 0;  // of the executing message; 0 where there is none
    std::int32_t ds_type = 0;
    std::int32_t sid = 0;  // of the executing message
    // Elements as text: edits "OP FLAG NAME=VALUE [IDS] defop erropt", reads "NAME=VALUE [IDS]";
    // parts that are zero or absent are left out.
    std::vector<std::string> elements;
  };
  // Answers a request; without one: an edit with instance 0, reads and lookups with nothing.
  using Answerer = std::function<void(FakeAgent&, const Request&)>;

  // Connects, and sends its name.
  explicit FakeAgent(const std::string& root, const std::string& name = "model",
                     std::int32_t attributes = 0);
  ~FakeAgent();
  FakeAgent(const FakeAgent&) = delete;
  FakeAgent& operator=(const FakeAgent&) = delete;

  // ---- Announcing ----
  void Register(std::string_view path, std::int32_t attributes = 0);
  void Unregister(std::string_view path);
  void Module(std::string_view module, std::int32_t type, std::string_view value);
  void Complete();
  void UnregisterClient();
  // Announces the model of ModelPaths and is complete.
  void AnnounceModel();

  // ---- Answering ----
  void set_answerer(Answerer answerer) { answerer_ = std::move(answerer); }
  void AnswerEdit(std::int32_t sid, std::int64_t instance, std::int32_t status = 0);
  void AnswerFault(std::int32_t sid, std::int32_t code, std::string_view path);
  // One segment a call, without the closing message.
  void AnswerValues(std::int32_t sid,
                    const std::vector<std::pair<std::string, std::string>>& values);
  void AnswerIds(std::int32_t sid, const std::vector<std::vector<std::int64_t>>& arrays);
  void CloseValues(std::int32_t sid);
  void CloseIds(std::int32_t sid);

  // ---- Working ----
  // Handles what has arrived, without waiting. False once the server has closed.
  bool Step();
  // Waits for something to arrive and handles it; false after the server closed or 20 s.
  bool WaitAndStep();
  // What was asked so far, barriers left out; and the messages that are no requests.
  const std::vector<Request>& requests() const { return requests_; }
  const std::vector<RawMessage>& messages() const { return messages_; }
  void ForgetRequests() { requests_.clear(); }

  void Send(std::string_view bytes);
  void Close();
  int fd() const { return fd_; }

 private:
  void Handle(const RawMessage& message);
  void Collect(const RawMessage& message);
  void Execute(const RawMessage& message, std::int32_t packet_type);
  void AnswerByDefault(const Request& request);

  int fd_;
  std::string input_;
  Answerer answerer_;
  std::vector<std::string> collected_;
  std::vector<Request> requests_;
  std::vector<RawMessage> messages_;
};

// Paths and attributes of the model: containers, a list with a key, slotted and other leaves, a
// leaf-list and a list inside it, and a list with two keys.
std::vector<std::pair<std::string, std::int32_t>> ModelPaths();

}  // namespace ncdm_test

#endif  // TESTS_SERVER_FAKE_AGENT_H_
