#include "tools/replay/replay_options.h"

#include <charconv>
#include <string>
#include <string_view>

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
  if (!speed) refuse("--speed", "'" + text + "' is neither 'max' nor like 10x");
  return *speed;
}

double take_rate(const std::string& text) {
  const std::optional<double> rate = positive_number(text);
  if (!rate) refuse("--rate", "'" + text + "' is no number above 0");
  return *rate;
}

}  // namespace

void add_replay_rounds(Verb& verb, ReplayOptions& options) {
  const Option repeat =
      verb.number("--repeat", "N", options.repeat, 1, 1'000'000'000, "Send everything N times")
          .shows_default();
  verb.flag("--loop", options.loop, "Send everything again and again, until interrupted")
      .excludes(repeat);
}

void add_replay_pace(Verb& verb, ReplayOptions& options) {
  const Option pace =
      verb.choice(
              "--pace", {"max", "recorded"},
              [&options](const std::string& text) { options.pace.speed = text == "max" ? 0 : 1; },
              "Without a pause, or by the pages' own times; the same as --speed max or 1x")
          .shows_default("max");
  const Option speed =
      verb.taken_by(
              "--speed", "Nx|max",
              [&options](const std::string& text) { options.pace.speed = take_speed(text); },
              "By the pages' own times, so many times as fast, or without a pause")
          .excludes(pace);
  verb.taken_by(
          "--rate", "N",
          [&options](const std::string& text) { options.pace.rate = take_rate(text); },
          "So many pages a second")
      .excludes(pace)
      .excludes(speed);
}

void add_replay_times(Verb& verb, ReplayOptions& options) {
  add_time_window(verb, options.times);
  verb.choice(
      "--shift-time", {"now"}, [&options](const std::string&) { options.shift_to_now = true; },
      "Move the times of pages so that the first one is of now; not those inside events");
}

}  // namespace vek::tools
