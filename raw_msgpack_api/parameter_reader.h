// ParameterReader: values of parameters, each with what it may be; the first that is wrong is said,
// and remembered.
#ifndef VEK_RAW_MSGPACK_API_PARAMETER_READER_H
#define VEK_RAW_MSGPACK_API_PARAMETER_READER_H

#include <chrono>
#include <string>
#include <string_view>

#include "raw_msgpack_api/parameters.h"

namespace vek::engine {

class ParameterReader {
 public:
  explicit ParameterReader(const Parameters& parameters) : parameters_(parameters) {}

  // False once a value was refused, with an error line.
  bool good() const { return good_; }

  std::string text(std::string_view name) const { return std::string(parameters_.text(name, "")); }
  bool has(std::string_view name) const { return !parameters_.text(name, "").empty(); }
  // An absent or empty value leaves `out` as it is.
  void read(std::string_view name, bool& out);
  void read_seconds(std::string_view name, std::chrono::milliseconds& out);
  void read_size(std::string_view name, size_t low, size_t high, size_t& out);
  void read_number(std::string_view name, size_t low, size_t high, size_t& out);
  void refuse(std::string_view name, std::string_view allowed);

 private:
  const Parameters& parameters_;
  bool good_ = true;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_PARAMETER_READER_H
