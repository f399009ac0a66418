// A device whose server sends what it should not.
#ifndef TESTS_INTEGRATION_HOSTILE_FIXTURE_H_
#define TESTS_INTEGRATION_HOSTILE_FIXTURE_H_

#include <cstdint>
#include <cstring>
#include <string>

#include "device_app.h"
#include "gmock/gmock.h"
#include "harness.h"
#include "server/names.h"

namespace ncdm_test {

inline constexpr const char* kDisconnected = "disconnected";
inline constexpr const char* kParseFault = "fault PARSE";

class HostileTest : public testing::Test {
 protected:
  HostileTest() {
    app_.PutValue("sys.name", {}, "router");
    app_.PutEntry("net.user", {1}, "root");
    app_.PutEntry("net.user.key", {1, 2}, "100");
    app_.PutElement("sys.dns", {7}, "dns7");
  }

  void SetUp() override {
    device_.StartServer();
    ASSERT_EQ(device_.StartAgent(DeviceApp::RegisterModel), 0);
    ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
    device_.Forget();
  }

  // Sends bytes and, once they are dealt with, an edit that does nothing and is answered. What the
  // bytes were answered with: "", one line a message, or "disconnected".
  std::string Provoke(const std::string& bytes) {
    device_.Forget();
    if (!device_.server().SendBytes(Device::kName, bytes)) return "not connected";
    device_.Settle();
    ncdm::server::Frame nothing;
    nothing.head.type = NC_DM_MSG_TYPE_EDIT;
    nothing.body = ncdm::server::BodyWriter().Int32(2).Take();
    const ncdm::server::Answer end =
        device_.Call(ncdm::server::Request{{nothing}, ncdm::server::AnswerKind::kEdit});
    if (end.outcome == ncdm::server::Outcome::kDisconnected) return kDisconnected;
    if (!end.ok()) return end.error;
    std::string answers;
    for (std::size_t i = 0; i + 1 < device_.frames().size(); ++i) {
      const ncdm::server::Frame& frame = device_.frames()[i];
      if (!answers.empty()) answers += "\n";
      if (frame.head.type == NC_DM_MSG_TYPE_FAULT) {
        const ncdm::server::Fault fault = ncdm::server::DecodeFault(frame);
        answers += ncdm::server::RenderFault(fault.code, fault.path);
      } else {
        answers += ncdm::server::MessageTypeName(frame.head.type);
      }
    }
    return answers;
  }

  static std::string FrameOf(std::int32_t type, const std::string& body, std::int32_t entry_cnt = 0,
                             std::int32_t flag = 0) {
    ncdm::server::Frame frame;
    frame.head.type = type;
    frame.head.sid = 77;
    frame.head.flag = flag;
    frame.head.entry_cnt = entry_cnt;
    frame.body = body;
    return ncdm::server::EncodeFrame(frame);
  }
  // A head alone.
  static std::string HeadOf(std::int32_t type, std::int32_t len) {
    nc_dm_msg_head_t head{};
    head.type = type;
    head.sid = 77;
    head.len = len;
    std::string bytes(sizeof(head), '\0');
    std::memcpy(bytes.data(), &head, sizeof(head));
    return bytes;
  }

  // The connection may have been lost; the data is what it was.
  void ExpectServes() {
    ASSERT_TRUE(device_.RunUntil([&] { return device_.IsConnected(); }));
    const ncdm::server::Answer answer =
        device_.Call(ncdm::server::ReadValues({{.name = "sys"}, {.name = "net"}}));
    EXPECT_THAT(Texts(answer.values),
                testing::ElementsAre("sys.name=router", "sys.dns.7=dns7", "net.user.1.name=root",
                                     "net.user.1.key.2.number=100"));
  }
  // After what ends the connection.
  void ExpectMended() {
    EXPECT_FALSE(device_.IsConnected());
    ASSERT_TRUE(device_.RunUntil([&] { return device_.IsConnected(); }));
    ASSERT_NO_FATAL_FAILURE(device_.WaitUntilRegistered());
    ExpectServes();
  }

  DeviceApp app_;
  Device device_;
};

}  // namespace ncdm_test

#endif  // TESTS_INTEGRATION_HOSTILE_FIXTURE_H_
