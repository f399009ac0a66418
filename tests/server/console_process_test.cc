#include "tests/server/console_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/temp_dir.h"
#include "tests/server/fake_agent.h"

namespace ncdm_test {
namespace {

using Json = nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using Input = ConsoleProcess::Input;

constexpr int kEdit = 13;
constexpr int kFilter = 17;

class ConsoleProcessTest : public testing::Test {
 protected:
  // An agent with the model, that reads as two interfaces and refuses to delete.
  std::unique_ptr<FakeAgent> NewModelAgent(const std::string& name = "model") {
    auto agent = std::make_unique<FakeAgent>(directory_.path(), name);
    agent->AnnounceModel();
    agent->set_answerer(&Answer);
    return agent;
  }

  static void Answer(FakeAgent& self, const FakeAgent::Request& request) {
    if (request.type == kFilter) {
      self.AnswerValues(request.sid, {{"interfaces.interface.3.name", "eth3"},
                                      {"interfaces.interface.3.mtu", "1500"},
                                      {"interfaces.interface.7.name", "eth7"}});
      self.CloseValues(request.sid);
    } else if (request.type == kEdit && request.elements.at(0).starts_with("4 ")) {
      self.AnswerFault(request.sid, -10, "interface");
    } else if (request.type == kEdit) {
      self.AnswerEdit(request.sid, 5);
    } else {
      self.CloseIds(request.sid);
    }
  }

  std::string WriteFile(const std::string& name, const std::string& text) {
    std::string path = directory_.path() + "/" + name;
    std::ofstream(path) << text;
    return path;
  }

  static std::vector<Json> JsonLines(const std::string& text) {
    std::vector<Json> documents;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
      documents.push_back(Json::parse(line));
    }
    return documents;
  }

  TempDir directory_;
};

constexpr const char* kRead = "get interfaces.interface";
constexpr const char* kCreate = "create interfaces.interface[name=eth5] mtu=9000";
constexpr const char* kDelete = "delete interfaces.interface[name=eth5]";

TEST_F(ConsoleProcessTest, CarriesOutExpressions) {
  ConsoleProcess console(directory_.path(), {"--root", directory_.path(), "-e", "wait model 20",
                                             "-e", kRead, "--execute", kCreate});
  const auto agent = NewModelAgent();
  EXPECT_EQ(console.Serve(agent.get()), 0) << console.errors();
  EXPECT_EQ(console.output(),
            "ok\n"
            "interfaces.interface.3.name = eth3\n"
            "interfaces.interface.3.mtu = 1500\n"
            "interfaces.interface.7.name = eth7\n"
            "ok interfaces.interface.5\n");
  EXPECT_EQ(console.errors(), "");
  EXPECT_FALSE(std::filesystem::exists(directory_.ServerSocket()));
}

TEST_F(ConsoleProcessTest, RootIsTakenFromTheEnvironment) {
  ConsoleProcess console(directory_.path(), {"--wait", "20", "-e", kRead});
  const auto agent = NewModelAgent();
  EXPECT_EQ(console.Serve(agent.get()), 0) << console.errors();
}

TEST_F(ConsoleProcessTest, StopsAtTheFirstFailure) {
  ConsoleProcess console(directory_.path(),
                         {"--wait", "20", "-e", kRead, "-e", kDelete, "-e", kRead});
  const auto agent = NewModelAgent();
  EXPECT_EQ(console.Serve(agent.get()), 1);
  EXPECT_EQ(console.errors(), "-e 2: fault DATA_MISSING: interface\n");
  EXPECT_EQ(agent->requests().size(), 2U);
}

TEST_F(ConsoleProcessTest, GoesOnAfterAFailureWhenToldSo) {
  ConsoleProcess console(directory_.path(), {"--wait", "20", "--keep-going", "-e", "get nothing",
                                             "-e", kDelete, "-e", kCreate});
  const auto agent = NewModelAgent();
  EXPECT_EQ(console.Serve(agent.get()), 1);
  EXPECT_EQ(console.errors(),
            "-e 1: no registered path begins with 'nothing'\n"
            "-e 2: fault DATA_MISSING: interface\n");
  EXPECT_EQ(console.output(), "ok interfaces.interface.5\n");
}

TEST_F(ConsoleProcessTest, EchoShowsEachCommandBeforeItRuns) {
  ConsoleProcess console(directory_.path(),
                         {"--echo", "--wait", "20", "-e", kCreate, "-e", kDelete});
  const auto agent = NewModelAgent();
  EXPECT_EQ(console.Serve(agent.get()), 1);
  EXPECT_EQ(console.output(),
            std::string("> ") + kCreate + "\nok interfaces.interface.5\n> " + kDelete + "\n");
}

TEST_F(ConsoleProcessTest, QuitEndsEarly) {
  ConsoleProcess console(directory_.path(), {"-e", "quit", "-e", "get nothing"});
  EXPECT_EQ(console.Serve(), 0);
}

TEST_F(ConsoleProcessTest, JsonForMachines) {
  ConsoleProcess console(directory_.path(),
                         {"--json", "--wait", "20", "-e", "wait model", "-e", kRead, "-e",
                          "get interfaces.interface --table", "-e", kCreate, "-e", "agents", "-e",
                          "find interfaces.interface.name x", "-e", kDelete});
  const auto agent = NewModelAgent();
  EXPECT_EQ(console.Serve(agent.get()), 1);
  const std::vector<Json> results = JsonLines(console.output());
  ASSERT_EQ(results.size(), 6U) << console.errors();
  EXPECT_EQ(results[0], Json({{"ok", true}}));
  EXPECT_EQ(results[1].size(), 3U);
  EXPECT_EQ(results[1][1], Json({{"path", "interfaces.interface.3.mtu"}, {"value", "1500"}}));
  EXPECT_EQ(results[2][0]["values"]["mtu"], "1500");
  EXPECT_EQ(results[2][1]["ids"], Json({7}));
  EXPECT_EQ(results[3]["instance"], 5);
  EXPECT_EQ(results[4][0]["agent"], "model");
  EXPECT_EQ(results[5], Json::array());
  const std::vector<Json> errors = JsonLines(console.errors());
  ASSERT_EQ(errors.size(), 1U);
  EXPECT_EQ(errors[0], Json({{"error", "fault DATA_MISSING: interface"},
                             {"place", "-e 7"},
                             {"fault", "DATA_MISSING"},
                             {"path", "interface"}}));
}

TEST_F(ConsoleProcessTest, CarriesOutAScript) {
  const std::string script = WriteFile("script",
                                       "# a script\n"
                                       "wait model 20\n"
                                       "\n" +
                                           std::string(kCreate) + "\n" + kDelete + "\n");
  ConsoleProcess console(directory_.path(), {"--script", script});
  const auto agent = NewModelAgent();
  EXPECT_EQ(console.Serve(agent.get()), 1);
  EXPECT_EQ(console.output(), "ok\nok interfaces.interface.5\n");
  EXPECT_EQ(console.errors(), script + ":5: fault DATA_MISSING: interface\n");
}

TEST_F(ConsoleProcessTest, CarriesOutStandardInput) {
  ConsoleProcess console(directory_.path(), {"--wait", "20"}, Input::kPipe);
  console.Write(std::string(kCreate) + "\nget");
  console.Write(" x y z\n");
  console.CloseInput();
  const auto agent = NewModelAgent();
  EXPECT_EQ(console.Serve(agent.get()), 1);
  EXPECT_EQ(console.output(), "ok interfaces.interface.5\n");
  EXPECT_EQ(console.errors(), "standard input:2: usage: get PATH [VALUE]\n");
}

TEST_F(ConsoleProcessTest, ServesAgentsWhileNothingIsTyped) {
  ConsoleProcess console(directory_.path(), {}, Input::kPipe);
  const auto agent = NewModelAgent();
  ASSERT_TRUE(agent->WaitAndStep());  // the registration is answered
  ASSERT_EQ(agent->messages().size(), 1U);
  console.Write(std::string(kCreate) + "\n");
  EXPECT_TRUE(console.ServeUntil(agent.get(), "ok interfaces.interface.5\n"));
  console.CloseInput();
  EXPECT_EQ(console.Serve(agent.get()), 0);
}

TEST_F(ConsoleProcessTest, WaitsForAnAgentThatComesBack) {
  ConsoleProcess console(directory_.path(), {"--wait", "20", "-e", kRead});
  // Complete comes before the paths, as an agent sends it that reconnects.
  FakeAgent agent(directory_.path());
  agent.set_answerer(&Answer);
  agent.Complete();
  ASSERT_TRUE(agent.WaitAndStep());
  agent.Register("interfaces.interface.{i}.name", 17);
  EXPECT_EQ(console.Serve(&agent), 0) << console.errors();
  EXPECT_THAT(console.output(), StartsWith("interfaces.interface.3.name = eth3\n"));
}

TEST_F(ConsoleProcessTest, TraceShowsEveryFrameOnStandardError) {
  ConsoleProcess console(directory_.path(), {"--trace", "--wait", "20", "-e", "get system"});
  const auto agent = NewModelAgent();
  EXPECT_EQ(console.Serve(agent.get()), 0);
  EXPECT_THAT(console.errors(),
              AllOf(testing::ContainsRegex("^[0-9:]+\\.[0-9]+ model < REG_NAME sid=-1 \"model\" "),
                    HasSubstr("model > REG_RSP sid=0 OK\n"),
                    HasSubstr("model > FILTER sid=1 ds=running segment entries=1: \"system\"\n"),
                    HasSubstr("model < FILTER_RSP sid=2 end\n")));
}

TEST_F(ConsoleProcessTest, AgentThatDoesNotAnswerRunsIntoTheTimeout) {
  ConsoleProcess console(directory_.path(),
                         {"--wait", "20", "--timeout", "0.05", "-e", "get system"});
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent&, const FakeAgent::Request&) {});
  EXPECT_EQ(console.Serve(agent.get()), 1);
  EXPECT_EQ(console.errors(), "-e 1: agent 'model' did not answer in time\n");
}

TEST_F(ConsoleProcessTest, AgentThatGoesAwayIsAnError) {
  ConsoleProcess console(directory_.path(), {"--wait", "20", "-e", "get system"});
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request&) { self.Close(); });
  EXPECT_EQ(console.Serve(agent.get()), 1);
  EXPECT_EQ(console.errors(), "-e 1: agent 'model' went away before it answered\n");
}

TEST_F(ConsoleProcessTest, WithoutAnAgentCommandsFail) {
  ConsoleProcess console(directory_.path(), {"--wait", "0.05", "-e", "get system"});
  EXPECT_EQ(console.Serve(), 1);
  EXPECT_EQ(console.errors(), "-e 1: no agent is connected\n");
}

TEST_F(ConsoleProcessTest, UsageErrorsHaveTheirOwnCode) {
  const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
      {{"--bogus"}, "--bogus"},
      {{"-e", "agents", "--script", "x"}, "--script"},
      {{"--timeout", "never"}, "--timeout"},
      {{"--script", "/nonexistent"}, "cannot read the script '/nonexistent'"},
      {{"--root", "/proc/none", "-e", "agents"}, "cannot create /proc/none: "},
  };
  for (const auto& [arguments, words] : cases) {
    ConsoleProcess console(directory_.path(), arguments);
    EXPECT_EQ(console.Serve(), 2) << words;
    EXPECT_THAT(console.errors() + console.output(), HasSubstr(words));
  }
  ConsoleProcess help(directory_.path(), {"--help"});
  EXPECT_EQ(help.Serve(), 0);
  EXPECT_THAT(help.output(), AllOf(HasSubstr("--root"), HasSubstr("--trace")));
}

TEST_F(ConsoleProcessTest, SecondServerIsRefused) {
  ConsoleProcess first(directory_.path(), {}, Input::kPipe);
  const auto agent = NewModelAgent();  // the first one listens
  ConsoleProcess second(directory_.path(), {"-e", "agents"});
  EXPECT_EQ(second.Serve(), 2);
  EXPECT_EQ(second.errors(),
            "ncdm-console: another server listens at " + directory_.ServerSocket() + "\n");
  first.CloseInput();
  EXPECT_EQ(first.Serve(agent.get()), 0);
}

class SignalTest : public ConsoleProcessTest, public testing::WithParamInterface<int> {};

TEST_P(SignalTest, EndsAScriptInOrder) {
  ConsoleProcess console(directory_.path(),
                         {"--keep-going", "-e", "wait other 50", "-e", "agents"});
  const auto agent = NewModelAgent();
  ASSERT_TRUE(agent->WaitAndStep());
  console.Signal(GetParam());
  EXPECT_EQ(console.Serve(agent.get()), 1);
  EXPECT_FALSE(std::filesystem::exists(directory_.ServerSocket()));
}

INSTANTIATE_TEST_SUITE_P(All, SignalTest, testing::Values(SIGINT, SIGTERM, SIGHUP));

TEST_F(ConsoleProcessTest, SaysItsVersion) {
  ConsoleProcess console(directory_.path(), {"--version"});
  EXPECT_EQ(console.Serve(), 0);
  EXPECT_THAT(console.output(), testing::MatchesRegex("ncdm-console [0-9]+\\.[0-9]+.*\n"));
}

TEST_F(ConsoleProcessTest, ErrorsForgeNoLines) {
  ConsoleProcess console(directory_.path(), {"--wait", "20", "-e", kRead});
  const auto agent = NewModelAgent();
  agent->set_answerer([](FakeAgent& self, const FakeAgent::Request& request) {
    self.AnswerFault(request.sid, 0, "a\nb\x1b");
  });
  EXPECT_EQ(console.Serve(agent.get()), 1);
  EXPECT_EQ(console.errors(), "-e 1: refused, without a reason: a\\nb\\x1b\n");
}

TEST_F(ConsoleProcessTest, TraceIsSwitchedByACommand) {
  ConsoleProcess console(directory_.path(), {"--wait", "20", "-e", kRead, "-e", "trace on", "-e",
                                             kCreate, "-e", "trace off", "-e", kRead});
  const auto agent = NewModelAgent();
  EXPECT_EQ(console.Serve(agent.get()), 0) << console.errors();
  EXPECT_THAT(
      console.errors(),
      testing::MatchesRegex("[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\\.[0-9][0-9][0-9] model > EDIT .*"));
  EXPECT_THAT(console.errors(), testing::Not(HasSubstr("FILTER")));
}

// ---- At a terminal ----

TEST_F(ConsoleProcessTest, AgentsThatComeAndGoAreNoticedAtThePrompt) {
  ConsoleProcess console(directory_.path(), {}, Input::kTerminal);
  ASSERT_TRUE(console.ServeUntil(nullptr, "ncdm> "));
  console.Write("get sys");
  ASSERT_TRUE(console.ServeUntil(nullptr, "get sys"));
  auto agent = NewModelAgent();
  ASSERT_TRUE(console.ServeUntil(agent.get(), "agent 'model' has connected\r\n"))
      << console.output();
  // What was typed stands at the new prompt and goes on.
  ASSERT_TRUE(console.ServeUntil(agent.get(), "has connected\r\nncdm> get sys"))
      << console.output();
  agent.reset();
  ASSERT_TRUE(console.ServeUntil(nullptr, "agent 'model' is gone\r\n")) << console.output();
  console.Write(
      "\x15"
      "exit\r");
  EXPECT_EQ(console.Serve(), 0);
}

TEST_F(ConsoleProcessTest, LinesAreEditedCompletedAndRemembered) {
  {
    ConsoleProcess console(directory_.path(), {}, Input::kTerminal);
    ASSERT_TRUE(console.ServeUntil(nullptr, "ncdm> ")) << console.output();
    const auto agent = NewModelAgent();
    ASSERT_TRUE(agent->WaitAndStep());  // served while the prompt stands
    console.Write("ag\t\r");
    EXPECT_TRUE(console.ServeUntil(agent.get(), "agent  state  paths  modules\r\n"))
        << console.output();
    console.Write("get int\tin\t.7.n\t\r");
    EXPECT_TRUE(console.ServeUntil(agent.get(), "interfaces.interface.7.name = eth7\r\n"))
        << console.output();
    EXPECT_EQ(agent->requests().back().elements.at(0), "interfaces.interface.name [7]");
    console.Write("re\t\t");
    EXPECT_TRUE(console.ServeUntil(agent.get(), "replace\r\nremove\r\n")) << console.output();
    console.Write(
        "\x15"
        "get nothing\r");  // ^U empties the line
    EXPECT_TRUE(console.ServeUntil(agent.get(), "no registered path begins with 'nothing'\r\n"));
    console.Write("use model\r");
    EXPECT_TRUE(console.ServeUntil(agent.get(), "ncdm(model)> "));
    console.Write("quit\r");
    EXPECT_EQ(console.Serve(agent.get()), 0);
  }
  std::ifstream history(directory_.path() + "/.ncdm_console_history");
  std::stringstream text;
  text << history.rdbuf();
  EXPECT_THAT(text.str(), AllOf(HasSubstr("agents\n"), HasSubstr("use"), HasSubstr("quit")));

  // The last line but one of the session before is still there.
  ConsoleProcess console(directory_.path(), {}, Input::kTerminal);
  ASSERT_TRUE(console.ServeUntil(nullptr, "ncdm> "));
  console.Write("\x10\x10\x10\r");  // ^P three times: get nothing
  EXPECT_TRUE(console.ServeUntil(nullptr, "no agent is connected\r\n")) << console.output();
  console.Write("quit\r");
  EXPECT_EQ(console.Serve(), 0);
}

TEST_F(ConsoleProcessTest, InterruptAtThePromptDropsTheLine) {
  ConsoleProcess console(directory_.path(), {}, Input::kTerminal);
  ASSERT_TRUE(console.ServeUntil(nullptr, "ncdm> "));
  console.Write("get a");
  ASSERT_TRUE(console.ServeUntil(nullptr, "get a"));
  console.Write("\x03");  // ^C
  console.Write("agents\r");
  EXPECT_TRUE(console.ServeUntil(nullptr, "no agent has connected yet\r\n")) << console.output();
  console.Write("quit\r");
  EXPECT_EQ(console.Serve(), 0);
}

TEST_F(ConsoleProcessTest, InterruptEndsTheCommandAndNotTheConsole) {
  ConsoleProcess console(directory_.path(), {"--timeout", "50"}, Input::kTerminal);
  const auto agent = NewModelAgent();
  agent->set_answerer([&](FakeAgent&, const FakeAgent::Request&) { console.Signal(SIGINT); });
  ASSERT_TRUE(console.ServeUntil(agent.get(), "ncdm> "));
  console.Write("get system\r");
  EXPECT_TRUE(console.ServeUntil(agent.get(), "interrupted\r\n")) << console.output();
  console.Signal(SIGTERM);
  EXPECT_EQ(console.Serve(agent.get()), 0);
}

}  // namespace
}  // namespace ncdm_test
