#include "tools/command_line/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <utility>

#include "tools/base/suggest.h"

namespace vek::tools {
namespace {

CLI::Validator whole_number(uint64_t least, uint64_t most) {
  const auto check = [least, most](const std::string& text) -> std::string {
    uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [behind, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc() && behind == end && value >= least && value <= most) return {};
    return "'" + text + "' is no whole number from " + std::to_string(least) + " to " +
           std::to_string(most);
  };
  return CLI::Validator(check, "");
}

std::string joined(const std::vector<std::string>& words, const char* between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

CLI::Validator one_of(const std::vector<std::string>& words) {
  const auto check = [words](const std::string& text) -> std::string {
    if (std::find(words.begin(), words.end(), text) != words.end()) return {};
    if (words.size() == 1) return "'" + text + "' is not '" + words.front() + "'";
    const std::string guess = nearest(text, words);
    return "'" + text + "' is none of " + joined(words, ", ") +
           (guess.empty() ? "" : "; did you mean '" + guess + "'?");
  };
  return CLI::Validator(check, "");
}

bool is_place(const char* name) { return *name != '-'; }

// "--name" of every option of a verb, those in groups included.
void collect_options(CLI::App& app, std::vector<std::string>& names) {
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  for (CLI::App* group :
       app.get_subcommands([](CLI::App* sub) { return sub->get_name().empty(); })) {
    collect_options(*group, names);
  }
}

}  // namespace

Option& Option::required() {
  option_->required();
  return *this;
}

Option& Option::shows_default() {
  option_->capture_default_str();
  return *this;
}

Option& Option::shows_default(const char* text) {
  option_->default_str(text);
  return *this;
}

Option& Option::takes(int words) {
  option_->expected(words);
  return *this;
}

Option& Option::takes_one_each_time() {
  option_->allow_extra_args(false);
  return *this;
}

Option& Option::at_once() {
  option_->trigger_on_parse();
  return *this;
}

Option& Option::excludes(const Option& other) {
  option_->excludes(other.option_);
  return *this;
}

Option& Option::needs(const Option& other) {
  option_->needs(other.option_);
  return *this;
}

Option Verb::text(const char* name, const char* value, std::string& target,
                  const std::string& help) {
  return Option(app_->add_option(name, target, help)->type_name(value));
}

Option Verb::texts(const char* name, const char* value, std::vector<std::string>& target,
                   const std::string& help) {
  return Option(app_->add_option(name, target, help)->type_name(value));
}

Option Verb::number(const char* name, const char* value, uint64_t& target, uint64_t least,
                    uint64_t most, const std::string& help) {
  return Option(
      app_->add_option(name, target, help)->check(whole_number(least, most))->type_name(value));
}

Option Verb::taken_by(const char* name, const char* value, const TakeText& take,
                      const std::string& help) {
  return Option(app_->add_option_function<std::string>(name, take, help)->type_name(value));
}

Option Verb::choice(const char* name, const std::vector<std::string>& words, const TakeText& take,
                    const std::string& help) {
  return Option(app_->add_option_function<std::string>(name, take, help)
                    ->check(one_of(words))
                    ->type_name(is_place(name) ? "" : joined(words, "|")));
}

Option Verb::flag(const char* name, bool& target, const std::string& help) {
  return Option(app_->add_flag(name, target, help));
}

Option Verb::flag(const char* name, std::function<void()> take, const std::string& help) {
  return Option(app_->add_flag_callback(name, std::move(take), help));
}

Verb Verb::group(const char* name, const std::string& help, size_t least, size_t most) {
  CLI::App* group = app_->add_option_group(name, help);
  group->require_option(least, most);
  return Verb(group);
}

void Verb::footer(const std::string& text) { app_->footer(text); }

void Verb::when_read(std::function<void()> callback) { app_->callback(std::move(callback)); }

void refuse(const std::string& option, const std::string& what) {
  throw CLI::ValidationError(option, what);
}

CommandLine::CommandLine(const char* name, const char* about, const std::string& version)
    : app_(std::make_unique<CLI::App>(about)) {
  app_->name(name);
  app_->set_version_flag("--version", version);
  app_->require_subcommand(1);
}

CommandLine::~CommandLine() = default;

Verb CommandLine::add_verb(const char* name, const char* help) {
  return Verb(app_->add_subcommand(name, help));
}

std::vector<std::string> CommandLine::verb_names() const {
  std::vector<std::string> names;
  for (const CLI::App* verb : app_->get_subcommands([](CLI::App*) { return true; })) {
    names.push_back(verb->get_name());
  }
  return names;
}

std::string CommandLine::help() const { return app_->help(); }

CommandLine::Outcome CommandLine::read(int argc, const char* const* argv, Wrong& wrong) {
  try {
    app_->parse(argc, argv);
  } catch (const CLI::CallForVersion&) {
    return Outcome::kVersion;
  } catch (const CLI::CallForHelp&) {
    return Outcome::kHelp;
  } catch (const CLI::ParseError& error) {
    wrong.complaint = error.what();
    for (CLI::App* verb : app_->get_subcommands()) {
      wrong.verb = verb->get_name();
      wrong.left_over = verb->remaining();
      collect_options(*verb, wrong.options);
    }
    return Outcome::kWrong;
  }
  return Outcome::kGood;
}

}  // namespace vek::tools
