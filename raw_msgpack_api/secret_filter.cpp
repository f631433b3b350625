#include "raw_msgpack_api/secret_filter.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace vek::engine {
namespace {

bool name_tells(std::string_view name) {
  constexpr std::array<std::string_view, 10> kTelling = {
      "passw", "secret", "key", "token", "auth", "cred", "header", "cookie", "sas", "signature"};
  std::string lower(name);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return std::any_of(kTelling.begin(), kTelling.end(),
                     [&](std::string_view word) { return lower.find(word) != std::string::npos; });
}

}  // namespace

void SecretFilter::remember(std::string_view secret) {
  constexpr size_t kShortest = 3;  // shorter ones would hide half of every line
  if (secret.size() >= kShortest) secrets_.emplace_back(secret);
}

void SecretFilter::add(std::string_view name, std::string_view value) {
  if (name_tells(name)) {
    remember(value);
    // Parts of a value are printed alone: of "Authorization Bearer abc", what is not its first
    // word.
    for (size_t at = value.find(' '); at != std::string_view::npos;) {
      const size_t end = value.find(' ', at + 1);
      remember(value.substr(at + 1, end == std::string_view::npos ? end : end - at - 1));
      at = end;
    }
  }
  const size_t scheme = value.find("://");
  if (scheme != std::string_view::npos) {
    const size_t begin = scheme + 3;
    const size_t end = value.substr(0, value.find('/', begin)).rfind('@');
    if (end != std::string_view::npos && end > begin) {
      const std::string_view user = value.substr(begin, end - begin);
      remember(user);
      const size_t colon = user.find(':');
      if (colon != std::string_view::npos) remember(user.substr(colon + 1));
    }
  }
  // The longest first, so that nothing is left of one that holds another.
  std::stable_sort(secrets_.begin(), secrets_.end(),
                   [](const auto& a, const auto& b) { return a.size() > b.size(); });
}

std::string SecretFilter::clean(std::string_view line) const {
  std::string clean(line);
  for (const std::string& secret : secrets_) {
    for (size_t at = 0; (at = clean.find(secret, at)) != std::string::npos; at += 3) {
      clean.replace(at, secret.size(), "***");
    }
  }
  return clean;
}

}  // namespace vek::engine
