// The command line of vektool record.
#include <algorithm>
#include <cctype>
#include <memory>

#include "tools/command_line/byte_size.h"
#include "tools/command_line/duration.h"
#include "tools/record/record.h"

namespace vek::tools {
namespace {

// Part of file names, which begin with it.
void check_name(const std::string& name) {
  const bool good = !name.empty() && name.size() <= 64 &&
                    std::all_of(name.begin(), name.end(), [](unsigned char c) {
                      return std::isalnum(c) != 0 || c == '-' || c == '_';
                    });
  if (!good) {
    refuse("--name", "'" + name + "' is not of letters, digits, '-' and '_'");
  }
}

void add_inputs(Verb& verb, RecordOptions& options) {
  Verb inputs = verb.group("Input", "One of them:", 1, 1);
  inputs.text("--listen", "SOCKET", options.listen,
              "A unix socket to make; clients send pages back to back");
  const Option watch =
      inputs.text("--watch", "DIR", options.watch,
                  "A directory into which a host writes or moves page files; names that begin "
                  "with a dot or end in .tmp or .part are passed over");
  inputs.choice(
      "PAGES", {"-"}, [&options](const std::string& text) { options.input = text; },
      "'-': standard input, until it ends");
  verb.flag("--remove", options.remove,
            "With --watch: take what is there already, too, and remove each file once its "
            "pages are recorded")
      .needs(watch);
}

void add_limits(Verb& verb, RecordOptions& options) {
  add_byte_size(verb, "--rotate-size", options.limits.file_bytes,
                "Begin a new file where the last would pass this size")
      .shows_default("64MiB");
  add_duration(verb, "--rotate-time", options.limits.file_age_us, "End a file after this time")
      .shows_default("1h");
  verb.number("--keep", "N", options.limits.keep, 0, 1'000'000,
              "Keep so many finished files, the newest; 0 keeps all")
      .shows_default();
  add_duration(verb, "--for", options.for_us,
               "Stop after this time; otherwise at Ctrl-C or SIGTERM");
}

}  // namespace

void add_record(CommandLine& line, Action& action) {
  const auto options = std::make_shared<RecordOptions>();
  Verb verb =
      line.add_verb("record", "Write the pages of a host into files, a new one now and then");
  verb.text("--output", "DIR", options->output, "Directory of the files; made where there is none")
      .required();
  verb.text("--name", "NAME", options->name, "What the files' names begin with").shows_default();
  add_inputs(verb, *options);
  add_limits(verb, *options);
  add_json_options(verb, options->json, "Files and counts as one JSON object a line");
  add_color_option(verb);
  verb.footer(
      "Each file gets its name when it is whole; its path then is a line of standard output.\n"
      "Files belong to their owner alone (0600). The disk is bounded by (N + 1) x SIZE. Exit\n"
      "status: 1 when an input sent what is no page, 4 when nothing could be recorded, 5 when\n"
      "pages could not be written.");
  verb.when_read([options, &action] {
    check_name(options->name);
    action = [options] { return record(*options); };
  });
}

}  // namespace vek::tools
