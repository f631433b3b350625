// SecretFilter: takes what must not be read out of lines that are about to be logged.
#ifndef VEK_RAW_MSGPACK_API_SECRET_FILTER_H
#define VEK_RAW_MSGPACK_API_SECRET_FILTER_H

#include <string>
#include <string_view>
#include <vector>

namespace vek::engine {

class SecretFilter {
 public:
  // A parameter of some output: remembered where its name says that its value is secret (a
  // password, a key, a token, a header), or where the value is an address with a password in it.
  void add(std::string_view name, std::string_view value);
  // `line` with "***" for every secret in it.
  std::string clean(std::string_view line) const;

 private:
  void remember(std::string_view secret);

  std::vector<std::string> secrets_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_SECRET_FILTER_H
