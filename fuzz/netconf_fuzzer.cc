// What a NETCONF client that has logged in may send: a session gets the bytes once whole and once
// in pieces, and has to answer the same, in messages that a client can read.

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

#include <algorithm>
#include <string>
#include <vector>

#include "fuzz/input.h"
#include "fuzz/platform.h"
#include "server/netconf/log.h"
#include "server/netconf/session.h"

// This fuzzer is of the server alone: the other ones' platform is not linked.
void ncdm_fuzz::Fail(const char* file, int line, const char* what) {
  fprintf(stderr, "%s:%d: %s\n", file, line, what);
  abort();
}

namespace {

namespace netconf = ncdm::netconf;

// Answers each request with what it asked for, as data or as an error.
class Echo : public netconf::Operations {
 public:
  std::vector<std::string> Capabilities() const override {
    return {"urn:ietf:params:netconf:base:1.1"};
  }
  void SessionOpened(const netconf::Client& /*client*/) override { ++open_; }
  void SessionEnded(const netconf::Client& /*client*/) override { --open_; }
  void Start(const netconf::Client& /*client*/, std::string rpc, DoneFunction done) override {
    const netconf::XmlElement root = netconf::ParseXmlTop(rpc);
    NCDM_FUZZ_CHECK(root.Is(netconf::kBaseNamespace, "rpc") && root.children.size() == 1);
    const netconf::XmlElement& operation = root.children.front();
    netconf::RpcError error;
    error.tag = "operation-failed";
    error.message = operation.text;
    error.info = {{"bad-element", operation.name}, {"bad-namespace", operation.name_space}};
    done({{}, {error}});
  }
  int PollFd() const override { return -1; }
  std::optional<Clock::time_point> NextDeadline() const override { return std::nullopt; }
  void Run() override {}

  int open() const { return open_; }

 private:
  int open_ = 0;
};

std::string TakeOutput(netconf::Session* session) {
  std::string output;
  while (!session->output().empty()) {
    const size_t size = session->output().size();
    output.append(session->output());
    session->Written(size);
  }
  return output;
}

std::string Serve(std::string_view bytes, size_t piece) {
  Echo operations;
  netconf::SessionTable table;
  std::string output;
  {
    netconf::Session session(operations, table, {"user", "host"}, [] {});
    for (; !bytes.empty() && session.wants_input();
         bytes.remove_prefix(std::min(piece, bytes.size()))) {
      session.Receive(bytes.substr(0, piece));
      output += TakeOutput(&session);
    }
    session.EndInput();
    output += TakeOutput(&session);
    NCDM_FUZZ_CHECK(session.finished());
  }
  NCDM_FUZZ_CHECK(operations.open() == 0);
  return output;
}

void CheckReadable(const std::string& output) {
  netconf::MessageReader reader;
  reader.Append(output);
  std::optional<std::string> message = reader.Next();
  NCDM_FUZZ_CHECK(message && netconf::ParseXmlTop(*message).name == "hello");
  if (reader.held() > 0) {
    reader.set_framing(output.ends_with("\n##\n") ? netconf::Framing::kChunked
                                                  : netconf::Framing::kEndOfMessage);
  }
  while ((message = reader.Next())) {
    NCDM_FUZZ_CHECK(netconf::ParseXmlTop(*message).name == "rpc-reply");
  }
  NCDM_FUZZ_CHECK(reader.held() == 0);
}

const char kHello[] =
    "<hello xmlns='urn:ietf:params:xml:ns:netconf:base:1.0'><capabilities><capability>"
    "urn:ietf:params:netconf:base:1.";
const char kHelloEnd[] = "</capability></capabilities></hello>]]>]]>";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  netconf::set_log_sink([](std::string_view /*line*/) {});
  ncdm_fuzz::Input input(bytes, size);
  const uint8_t version = input.Byte();  // of the client; another one says its own hello, or none
  const size_t piece = 1 + input.Below(64);
  std::string stream = input.Rest();
  if (version == '0' || version == '1') {
    stream = kHello + std::string(1, static_cast<char>(version)) + kHelloEnd + stream;
  }
  const std::string whole = Serve(stream, std::max<size_t>(stream.size(), 1));
  CheckReadable(whole);
  NCDM_FUZZ_CHECK(Serve(stream, piece) == whole);
  return 0;
}
