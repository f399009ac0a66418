// Operations without a device, for tests of the transport. In the namespace urn:test:
//   <echo>TEXT</echo>     <data> with <text>TEXT</text>, at once
//   <later>MS</later>     <ok/> after so many milliseconds
//   <never/>              no answer
//   <big>N</big>          <data> with N bytes of text
//   <refuse/>             an error with everything that an error can have
//   <throw/>              an exception
//   <sessions/>           <data> with a <session> for each, and the counters
// and <data/> for any other.
#ifndef TESTS_SERVER_NETCONF_FAKE_OPERATIONS_H_
#define TESTS_SERVER_NETCONF_FAKE_OPERATIONS_H_

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "server/netconf/operations.h"
#include "server/netconf/xml_element.h"

namespace ncdm::netconf {

class FakeOperations : public Operations {
 public:
  explicit FakeOperations(const Sessions* sessions = nullptr) : sessions_(sessions) {}

  std::vector<std::string> Capabilities() const override;
  void SessionOpened(const Client& client) override;
  void SessionEnded(const Client& client) override;
  void Start(const Client& client, std::string rpc, DoneFunction done) override;
  int PollFd() const override { return -1; }
  std::optional<Clock::time_point> NextDeadline() const override;
  void Run() override;

  // What happened, a line each: "open 1 admin", "end 1", "echo".
  std::vector<std::string> events;
  // Of <never/>.
  std::vector<DoneFunction> owed;

 private:
  Reply Answer(const XmlElement& operation) const;
  std::string ListSessions() const;

  const Sessions* sessions_;
  std::multimap<Clock::time_point, DoneFunction> later_;
};

}  // namespace ncdm::netconf

#endif  // TESTS_SERVER_NETCONF_FAKE_OPERATIONS_H_
