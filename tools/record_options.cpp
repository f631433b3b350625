// The command line of vektool record.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <memory>

#include "tools/byte_size.h"
#include "tools/duration.h"
#include "tools/record.h"
#include "tools/whole_number.h"

namespace vek::tools {
namespace {

// Part of file names, which begin with it.
void check_name(const std::string& name) {
  const bool good = !name.empty() && name.size() <= 64 &&
                    std::all_of(name.begin(), name.end(), [](unsigned char c) {
                      return std::isalnum(c) != 0 || c == '-' || c == '_';
                    });
  if (!good) {
    throw CLI::ValidationError("--name", "'" + name + "' is not of letters, digits, '-' and '_'");
  }
}

void add_inputs(CLI::App& verb, RecordOptions& options) {
  CLI::Option_group* inputs = verb.add_option_group("Input", "One of them:");
  inputs
      ->add_option("--listen", options.listen,
                   "A unix socket to make; clients send pages back to back")
      ->type_name("SOCKET");
  inputs
      ->add_option("--watch", options.watch,
                   "A directory into which a host writes or moves page files; names that begin "
                   "with a dot or end in .tmp or .part are passed over")
      ->type_name("DIR");
  inputs->add_option("PAGES", options.input, "'-': standard input, until it ends")
      ->check(CLI::IsMember({"-"}).description(""))
      ->type_name("");
  inputs->require_option(1);
  verb.add_flag("--remove", options.remove,
                "With --watch: take what is there already, too, and remove each file once its "
                "pages are recorded")
      ->needs("--watch");
}

void add_limits(CLI::App& verb, RecordOptions& options) {
  verb.add_option_function<std::string>(
          "--rotate-size",
          [&options](const std::string& text) {
            options.limits.file_bytes = take_byte_size("--rotate-size", text);
          },
          "Begin a new file where the last would pass this size")
      ->default_str("64MiB")
      ->type_name("SIZE");
  verb.add_option_function<std::string>(
          "--rotate-time",
          [&options](const std::string& text) {
            options.limits.file_age_us = take_duration("--rotate-time", text);
          },
          "End a file after this time")
      ->default_str("1h")
      ->type_name("TIME");
  verb.add_option("--keep", options.limits.keep,
                  "Keep so many finished files, the newest; 0 keeps all")
      ->check(whole_number(0, 1'000'000))
      ->capture_default_str()
      ->type_name("N");
  verb.add_option_function<std::string>(
          "--for",
          [&options](const std::string& text) { options.for_us = take_duration("--for", text); },
          "Stop after this time; otherwise at Ctrl-C or SIGTERM")
      ->type_name("TIME");
}

}  // namespace

void add_record(CLI::App& app, Action& action) {
  const auto options = std::make_shared<RecordOptions>();
  CLI::App* verb =
      app.add_subcommand("record", "Write the pages of a host into files, a new one now and then");
  verb->add_option("--output", options->output, "Directory of the files; made where there is none")
      ->required()
      ->type_name("DIR");
  verb->add_option("--name", options->name, "What the files' names begin with")
      ->capture_default_str()
      ->type_name("NAME");
  add_inputs(*verb, *options);
  add_limits(*verb, *options);
  add_json_options(*verb, options->json, "Files and counts as one JSON object a line");
  add_color_option(*verb);
  verb->footer(
      "Each file gets its name when it is whole; its path then is a line of standard output.\n"
      "Files belong to their owner alone (0600). The disk is bounded by (N + 1) x SIZE. Exit\n"
      "status: 1 when an input sent what is no page, 4 when nothing could be recorded, 5 when\n"
      "pages could not be written.");
  verb->callback([options, &action] {
    check_name(options->name);
    action = [options] { return record(*options); };
  });
}

}  // namespace vek::tools
