#include "tools/replay_options.h"

#include <charconv>
#include <string>
#include <string_view>

#include "tools/whole_number.h"

namespace vek::tools {
namespace {

// A plain decimal number above 0; none for anything else.
std::optional<double> positive_number(std::string_view text) {
  double value = 0;
  const char* const text_end = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), text_end, value, std::chars_format::fixed);
  if (error != std::errc() || end != text_end || !(value > 0 && value < 1e9)) return std::nullopt;
  return value;
}

double take_speed(const std::string& text) {
  if (text == "max") return 0;
  std::string_view number(text);
  if (number.ends_with('x')) number.remove_suffix(1);
  const std::optional<double> speed = positive_number(number);
  if (!speed) throw CLI::ValidationError("--speed", "'" + text + "' is neither 'max' nor like 10x");
  return *speed;
}

double take_rate(const std::string& text) {
  const std::optional<double> rate = positive_number(text);
  if (!rate) throw CLI::ValidationError("--rate", "'" + text + "' is no number above 0");
  return *rate;
}

}  // namespace

void add_replay_rounds(CLI::App& verb, ReplayOptions& options) {
  CLI::Option* repeat = verb.add_option("--repeat", options.repeat, "Send everything N times")
                            ->check(whole_number(1, 1'000'000'000))
                            ->capture_default_str()
                            ->type_name("N");
  verb.add_flag("--loop", options.loop, "Send everything again and again, until interrupted")
      ->excludes(repeat);
}

void add_replay_pace(CLI::App& verb, ReplayOptions& options) {
  CLI::Option* pace =
      verb.add_option_function<std::string>(
              "--pace",
              [&options](const std::string& text) { options.pace.speed = text == "max" ? 0 : 1; },
              "Without a pause, or by the pages' own times; the same as --speed max or 1x")
          ->check(CLI::IsMember({"max", "recorded"}).description(""))
          ->default_str("max")
          ->type_name("max|recorded");
  CLI::Option* speed =
      verb.add_option_function<std::string>(
              "--speed",
              [&options](const std::string& text) { options.pace.speed = take_speed(text); },
              "By the pages' own times, so many times as fast, or without a pause")
          ->excludes(pace)
          ->type_name("Nx|max");
  verb.add_option_function<std::string>(
          "--rate", [&options](const std::string& text) { options.pace.rate = take_rate(text); },
          "So many pages a second")
      ->excludes(pace)
      ->excludes(speed)
      ->type_name("N");
}

void add_replay_times(CLI::App& verb, ReplayOptions& options) {
  add_time_window(verb, options.times);
  verb.add_option_function<std::string>(
          "--shift-time", [&options](const std::string&) { options.shift_to_now = true; },
          "Move the times of pages so that the first one is of now; not those inside events")
      ->check(CLI::IsMember({"now"}).description(""))
      ->type_name("now");
}

}  // namespace vek::tools
