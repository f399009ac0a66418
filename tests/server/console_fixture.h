// The console's commands in one thread with a server and agents.
#ifndef TESTS_SERVER_CONSOLE_FIXTURE_H_
#define TESTS_SERVER_CONSOLE_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "server/console/commands.h"
#include "server/console/session.h"
#include "support/temp_dir.h"
#include "tests/server/fake_agent.h"

namespace ncdm_test {

class ConsoleFixture : public testing::Test {
 protected:
  ConsoleFixture() { UseJson(false); }

  static ncdm::server::Server::Options ServerOptions(ConsoleFixture* fixture) {
    ncdm::server::Server::Options options;
    options.root = fixture->directory_.path();
    options.pump = [fixture] {
      const std::vector<FakeAgent*> agents = fixture->agents_;  // an agent's step may change it
      for (FakeAgent* agent : agents) {
        agent->Step();
      }
    };
    return options;
  }

  void UseJson(bool json) {
    using std::chrono_literals::operator""s;
    output_ = std::make_unique<ncdm::console::Output>(text_, json);
    session_ = std::make_unique<ncdm::console::Session>(
        server_, *output_, ncdm::console::Session::Options{20s, wait_});
  }

  // An agent with the model, ready.
  std::unique_ptr<FakeAgent> NewModelAgent(const std::string& name = "model") {
    using std::chrono_literals::operator""s;
    auto agent = std::make_unique<FakeAgent>(directory_.path(), name);
    agents_.push_back(agent.get());
    agent->AnnounceModel();
    EXPECT_TRUE(server_.WaitForAgent(name, 20s));
    return agent;
  }

  // What a command prints.
  std::string Run(const std::string& line) {
    text_.str("");
    try {
      ncdm::console::Execute(*session_, line);
    } catch (const ncdm::console::CommandError& error) {
      ADD_FAILURE() << line << ": " << error.what();
    }
    return text_.str();
  }

  // What it refuses with.
  std::string Error(const std::string& line) {
    text_.str("");
    try {
      ncdm::console::Execute(*session_, line);
    } catch (const ncdm::console::CommandError& error) {
      EXPECT_EQ(text_.str(), "") << line;
      EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
      return error.what();
    }
    return "no error, but: " + text_.str();
  }

  std::string WriteFile(const std::string& name, const std::string& text) {
    std::string path = directory_.path() + "/" + name;
    std::ofstream(path) << text;
    return path;
  }

  TempDir directory_;
  std::vector<FakeAgent*> agents_;
  ncdm::server::Milliseconds wait_{20};
  ncdm::server::Server server_{ServerOptions(this)};
  std::ostringstream text_;
  std::unique_ptr<ncdm::console::Output> output_;
  std::unique_ptr<ncdm::console::Session> session_;
};

}  // namespace ncdm_test

#endif  // TESTS_SERVER_CONSOLE_FIXTURE_H_
