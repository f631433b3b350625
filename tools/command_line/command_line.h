// How verbs describe their options, and what became of the words of a command line.
//
// Behind it stands a parser whose header alone takes ten seconds to compile, so command_line.cpp is
// the only file that sees it. What an option refers to must outlive the parsing.
#ifndef VEK_TOOLS_COMMAND_LINE_COMMAND_LINE_H
#define VEK_TOOLS_COMMAND_LINE_COMMAND_LINE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/base/exit_status.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vek::tools {

// One option of a verb; copies mean the same one.
class Option {
 public:
  explicit Option(CLI::Option* option) : option_(option) {}

  Option& required();
  // The help shows this default: what the variable holds now, or the text.
  Option& shows_default();
  Option& shows_default(const char* text);
  // Takes so many words each time. A list without a count takes all that follow.
  Option& takes(int words);
  Option& takes_one_each_time();
  // Takes effect as soon as it is read, so that complaints about what follows go by it.
  Option& at_once();
  Option& excludes(const Option& other);
  Option& needs(const Option& other);

 private:
  CLI::Option* option_;
};

using TakeText = std::function<void(const std::string&)>;

// A verb, or a group of its options. A name without "--" is the place of words without an option;
// `value` is what the help calls the option's value.
class Verb {
 public:
  explicit Verb(CLI::App* app) : app_(app) {}

  Option text(const char* name, const char* value, std::string& target, const std::string& help);
  Option texts(const char* name, const char* value, std::vector<std::string>& target,
               const std::string& help);
  // Decimal digits only, least to most: C's conversions would take "-5" for a huge number.
  Option number(const char* name, const char* value, uint64_t& target, uint64_t least,
                uint64_t most, const std::string& help);
  // `take` may refuse() what it is given.
  Option taken_by(const char* name, const char* value, const TakeText& take,
                  const std::string& help);
  // One of these words, which are also the name of its value.
  Option choice(const char* name, const std::vector<std::string>& words, const TakeText& take,
                const std::string& help);
  Option flag(const char* name, bool& target, const std::string& help);
  Option flag(const char* name, std::function<void()> take, const std::string& help);

  // Of its options at least and at most so many must be given.
  Verb group(const char* name, const std::string& help, size_t least, size_t most);
  void footer(const std::string& text);
  // When everything is read; may refuse() what does not go together.
  void when_read(std::function<void()> callback);

 private:
  CLI::App* app_;
};

// Ends the reading of a command line: this is wrong with that option.
[[noreturn]] void refuse(const std::string& option, const std::string& what);

// What a verb is to do once the command line is read.
using Action = std::function<ExitStatus()>;

class CommandLine {
 public:
  CommandLine(const char* name, const char* about, const std::string& version);
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  Verb add_verb(const char* name, const char* help);
  std::vector<std::string> verb_names() const;
  // Of the verb that was read, otherwise of all.
  std::string help() const;

  enum class Outcome { kGood, kHelp, kVersion, kWrong };
  struct Wrong {
    std::string verb;  // empty before a verb
    std::string complaint;
    std::vector<std::string> left_over;  // words that nothing takes
    std::vector<std::string> options;    // that the verb has, as "--name"
  };
  Outcome read(int argc, const char* const* argv, Wrong& wrong);

 private:
  std::unique_ptr<CLI::App> app_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_COMMAND_LINE_COMMAND_LINE_H
