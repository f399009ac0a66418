#include "options/parser.h"

#include <CLI/CLI.hpp>
#include <type_traits>

namespace ncdm::options {
namespace {

// An empty text, such as of a variable that is not set, would only fail later and less clearly.
std::string RefuseEmpty(const std::string& text) { return text.empty() ? "it is empty" : ""; }

CLI::Option* AddTarget(CLI::App* app, const Option& option) {
  return std::visit(
      [&](auto* target) {
        using Value = std::remove_pointer_t<decltype(target)>;
        if constexpr (std::is_same_v<Value, bool>) {
          return app->add_flag(option.names, *target, option.help);
        } else {
          CLI::Option* added = app->add_option(option.names, *target, option.help);
          if (std::is_same_v<Value, std::vector<std::string>> && option.names[0] == '-') {
            added->allow_extra_args(false);
          }
          return added;
        }
      },
      option.target);
}

}  // namespace

Parser::Parser(const char* description, const char* name)
    : own_(std::make_unique<CLI::App>(description, name)), app_(own_.get()) {}
Parser::Parser(CLI::App* app) : app_(app) {}
Parser::Parser(Parser&&) noexcept = default;
Parser::~Parser() = default;

void Parser::SetVersion(const std::string& text, const char* help) {
  app_->set_version_flag("--version", text, help);
}

void Parser::Add(std::initializer_list<Option> options) {
  for (const Option& option : options) AddOption(option);
}

void Parser::AddOption(const Option& option) {
  CLI::Option* added = AddTarget(app_, option);
  added->required(option.required);
  if (option.value_name != nullptr) added->option_text(option.value_name);
  if (option.environment != nullptr) added->envname(option.environment);
  if (option.excludes != nullptr) added->excludes(app_->get_option(option.excludes));
  if (option.most) added->check(CLI::Range(0.0, *option.most));
  if (option.nonempty) added->check(RefuseEmpty, "", "");
  if (option.shows_default) added->capture_default_str();
}

Parser Parser::AddCommand(const char* name, const char* description) {
  app_->require_subcommand(1);
  return Parser(app_->add_subcommand(name, description));
}

std::optional<int> Parser::Parse(int argc, const char* const* argv) {
  try {
    app_->parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app_->exit(error);
  }
  return std::nullopt;
}

std::string Parser::ParseQuietly(int argc, const char* const* argv) {
  try {
    app_->parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    return app_->help();
  } catch (const CLI::CallForVersion& version) {
    return std::string(version.what()) + "\n";
  } catch (const CLI::ParseError& error) {
    throw WrongUsage(error.what());
  }
  return "";
}

}  // namespace ncdm::options
