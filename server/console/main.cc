// ncdm-console: the NETCONF server's side of the protocol as a tool, for people and for scripts.
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "options/parser.h"
#include "server/console/agent_notices.h"
#include "server/console/commands.h"
#include "server/console/line_editor.h"
#include "server/console/line_source.h"
#include "server/console/session.h"
#include "server/console/trace_line.h"
#include "server/names.h"
#include "server/printable.h"

namespace ncdm::console {
namespace {

constexpr int kSuccess = 0;
constexpr int kCommandFailed = 1;
constexpr int kUsageError = 2;

constexpr int kPollMs = 200;  // a signal just before the wait is noticed after it

constexpr double kScriptWait = 5;
constexpr double kInteractiveWait = 2;

// Set by signals: SIGINT ends the command that is running, the others the console.
volatile std::sig_atomic_t g_interrupted = 0;
volatile std::sig_atomic_t g_terminated = 0;

void OnSignal(int number) {
  g_interrupted = 1;
  if (number != SIGINT) {
    g_terminated = 1;
  }
}

void CatchSignals() {
  struct sigaction action {};
  action.sa_handler = OnSignal;
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    sigaction(number, &action, nullptr);
  }
}

struct Settings {
  std::string root;
  std::vector<std::string> expressions;
  std::string script;
  bool json = false;
  bool trace = false;
  bool keep_going = false;
  bool echo = false;
  double timeout = 10;
  double wait = -1;  // by the way the console runs

  bool interactive() const {
    return expressions.empty() && script.empty() && isatty(STDIN_FILENO) != 0;
  }
};

server::Milliseconds FromSeconds(double seconds) {
  return server::Milliseconds(static_cast<server::Milliseconds::rep>(seconds * 1000));
}

std::string HistoryFile() {
  const char* home = std::getenv("HOME");
  return home == nullptr ? "" : std::string(home) + "/.ncdm_console_history";
}

class Console {
 public:
  Console(server::Server& server, const Settings& settings)
      : server_(server),
        settings_(settings),
        interactive_(settings.interactive()),
        output_(std::cout, settings.json),
        session_(server, output_, SessionOptions(settings)) {
    if (settings.trace) {
      session_.SwitchTrace(true);
    }
    if (interactive_) {
      server.set_agent_handler([this](const server::Agent& agent) { NoticeAgent(agent); });
    }
  }
  ~Console() {
    server_.set_agent_handler({});
    session_.SwitchTrace(false);
  }
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;

  int Run() {
    const std::unique_ptr<LineSource> source = OpenSource();
    bool failed = false;
    while (!session_.finished() && !IsEnded() && !(failed && StopsAtFailure())) {
      const std::optional<std::string> line = source->Next();
      if (!line) {
        break;
      }
      failed = !RunLine(*line, source->Place()) || failed;
    }
    editor_ = nullptr;  // it goes with the source
    if (interactive_) {
      return kSuccess;
    }
    return failed || IsEnded() ? kCommandFailed : kSuccess;
  }

 private:
  Session::Options SessionOptions(const Settings& settings) {
    const double wait = settings.wait >= 0       ? settings.wait
                        : settings.interactive() ? kInteractiveWait
                                                 : kScriptWait;
    return {FromSeconds(settings.timeout), FromSeconds(wait),
            [this](std::string_view agent, std::string_view line) {
              Say(TraceLine(std::chrono::system_clock::now(), agent, line));
            }};
  }

  std::unique_ptr<LineSource> OpenSource() {
    if (!settings_.expressions.empty()) {
      return std::make_unique<ExpressionSource>(settings_.expressions);
    }
    if (!settings_.script.empty()) {
      auto file = std::make_unique<std::ifstream>(settings_.script);
      if (!*file) {
        throw std::runtime_error("cannot read the script '" + settings_.script + "'");
      }
      return std::make_unique<FileSource>(std::move(file), settings_.script);
    }
    if (interactive_) {
      auto editor = std::make_unique<LineEditor>(
          LineEditor::Callbacks{[this](int fd) { return WaitForInput(fd); },
                                [this] { return Prompt(); },
                                [this](std::string_view line) { return CompleteLine(line); }},
          HistoryFile());
      editor_ = editor.get();
      return editor;
    }
    return std::make_unique<DescriptorSource>(STDIN_FILENO, "standard input",
                                              [this](int fd) { return WaitForInput(fd); });
  }

  // One line beside what the commands print, above the prompt when there is one.
  void Say(const std::string& line) {
    std::cout.flush();
    if (editor_ != nullptr) {
      editor_->Say(line);
    } else {
      std::cerr << line << '\n';
    }
  }

  void NoticeAgent(const server::Agent& agent) {
    const std::string notice = notices_.Take(agent);
    if (!notice.empty()) {
      Say(server::Printable(notice));
    }
  }

  bool RunLine(const std::string& line, const std::string& place) {
    if (settings_.echo) {
      std::cout << "> " << line << std::endl;
    }
    try {
      Execute(session_, line);
      std::cout.flush();
      return true;
    } catch (const CommandError& error) {
      std::cout.flush();
      ReportError(error, place);
      return false;
    }
  }

  void ReportError(const CommandError& error, const std::string& place) const {
    if (settings_.json) {
      Json document{{"error", error.what()}};
      if (!place.empty()) {
        document["place"] = place;
      }
      if (error.fault()) {
        document["fault"] = error.fault()->code == NC_DM_FAULT_CODE_OK
                                ? Json()
                                : Json(server::FaultCodeName(error.fault()->code));
        document["path"] = error.fault()->path;
      }
      std::cerr << JsonText(document) << '\n';
    } else {
      std::cerr << server::Printable((place.empty() ? "" : place + ": ") + error.what()) << '\n';
    }
  }

  std::string Prompt() const {
    return session_.used_agent().empty()
               ? "ncdm> "
               : "ncdm(" + server::Printable(session_.used_agent()) + ")> ";
  }

  Completion CompleteLine(std::string_view line) {
    std::vector<std::string> agents;
    for (const server::Agent* agent : server_.Agents()) {
      agents.push_back(agent->name);
    }
    return Complete(line, session_.CurrentSchema(), agents);
  }

  // A signal that ends the console: any, or at a terminal any but SIGINT.
  bool IsEnded() const { return g_terminated != 0 || (g_interrupted != 0 && !interactive_); }

  bool StopsAtFailure() const { return !interactive_ && !settings_.keep_going; }

  // Serves the agents until the descriptor can be read, or a signal comes.
  WaitResult WaitForInput(int fd) {
    for (;;) {
      if (IsEnded()) {
        return WaitResult::kEnd;
      }
      if (g_interrupted != 0) {
        g_interrupted = 0;
        return WaitResult::kInterrupted;
      }
      pollfd descriptors[] = {{fd, POLLIN, 0}, {server_.PollFd(), POLLIN, 0}};
      if (poll(descriptors, std::size(descriptors), kPollMs) < 0) {
        continue;
      }
      if (descriptors[1].revents != 0) {
        server_.RunOnce(server::Milliseconds(0));
      }
      if (descriptors[0].revents != 0 && g_interrupted == 0) {
        return WaitResult::kReady;
      }
    }
  }

  server::Server& server_;
  const Settings& settings_;
  const bool interactive_;
  LineEditor* editor_ = nullptr;  // while one reads lines
  AgentNotices notices_;
  Output output_;
  Session session_;
};

constexpr double kMostSeconds = 1e6;

options::Parser OptionsParser(Settings* settings) {
  options::Parser parser(
      "The NETCONF server's end of the agents' socket.\n"
      "Without -e and --script, commands come from standard input; help lists them.",
      "ncdm-console");
  parser.SetVersion("ncdm-console " NCDM_VERSION);
  parser.Add({
      {.names = "--root",
       .target = &settings->root,
       .help = "Directory of the sockets: the value that the agents have in TMPDIR",
       .environment = "TMPDIR",
       .required = true},
      {.names = "-e,--execute",
       .target = &settings->expressions,
       .help = "Command to carry out; may be repeated"},
      {.names = "--script",
       .target = &settings->script,
       .help = "File of commands, one a line",
       .excludes = "--execute"},
      {.names = "--json",
       .target = &settings->json,
       .help = "Print results as JSON, one document a command"},
      {.names = "--trace",
       .target = &settings->trace,
       .help = "Print every message on standard error"},
      {.names = "--keep-going",
       .target = &settings->keep_going,
       .help = "Go on after a command that failed"},
      {.names = "--echo", .target = &settings->echo, .help = "Print each command before it runs"},
      {.names = "--timeout",
       .target = &settings->timeout,
       .help = "Seconds that a request may take",
       .most = kMostSeconds,
       .shows_default = true},
      {.names = "--wait",
       .target = &settings->wait,
       .help = "Seconds that a command waits for its agent to connect; 5, and 2 at a terminal",
       .most = kMostSeconds},
  });
  return parser;
}

int Main(int argc, char** argv) {
  std::setlocale(LC_CTYPE, "");
  if (MB_CUR_MAX == 1) {
    std::setlocale(LC_CTYPE,
                   "C.UTF-8");  // what is typed may be UTF-8 whatever the environment says
  }
  Settings settings;
  if (const std::optional<int> status = OptionsParser(&settings).Parse(argc, argv)) {
    return *status == 0 ? kSuccess : kUsageError;
  }
  CatchSignals();
  server::Server::Options options;
  options.root = settings.root;
  options.interrupted = [] { return g_interrupted != 0; };
  server::Server server(std::move(options));
  return Console(server, settings).Run();
}

}  // namespace
}  // namespace ncdm::console

int main(int argc, char** argv) {
  try {
    return ncdm::console::Main(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "ncdm-console: %s\n", error.what());
    return ncdm::console::kUsageError;
  }
}
