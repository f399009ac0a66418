#include "server/netconf/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace ncdm::netconf {
namespace {

// An empty text, such as of a variable that is not set, would only fail later and less clearly.
std::string RefuseEmpty(const std::string& text) { return text.empty() ? "it is empty" : ""; }

void AddOptions(CLI::App* app, ProgramOptions* options) {
  app->add_option("--root", options->root,
                  "Directory of the agents' sockets: the value that they have in TMPDIR")
      ->required();
  app->add_option("--port", options->port, "TCP port to listen at; 0 takes a free one")->required();
  app->add_option("--address", options->address, "Numeric IP address to listen at")->required();
  app->add_option("--hostkey", options->host_keys,
                  "Private key of the server, as ssh-keygen writes it; once for each type")
      ->allow_extra_args(false)
      ->required();
  app->add_option("--authorized-keys", options->authorized_keys,
                  "Public keys that may log in: lines `type base64 [comment]`")
      ->required();
  app->set_version_flag("--version", "ncdm-netconf " NCDM_VERSION, "Print the version and end");
  app->add_option("--user", options->user, "The one name that may log in; any without it");
  app->add_option("--yang", options->yang, "Directory of the device's YANG modules")->required();
  for (CLI::Option* option :
       app->get_options([](CLI::Option* option) { return option->get_items_expected_max() > 0; })) {
    option->check(RefuseEmpty, "", "");
  }
}

std::string OneLine(std::string text) {
  text.erase(text.find_last_not_of('\n') + 1);
  std::ranges::replace(text, '\n', ' ');
  return text;
}

}  // namespace

ProgramOptions ParseOptions(int argc, const char* const* argv) {
  ProgramOptions options;
  CLI::App app(
      "NETCONF over SSH (RFC 6241, RFC 6242) for the agents that connect to the root's socket.",
      "ncdm-netconf");
  AddOptions(&app, &options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    options.notice = app.help();
    return options;
  } catch (const CLI::CallForVersion& version) {
    options.notice = std::string(version.what()) + "\n";
    return options;
  } catch (const CLI::ParseError& error) {
    throw UsageError(OneLine(error.what()));
  }
  return options;
}

}  // namespace ncdm::netconf
