// DeadLetter: the file of the records that a receiver refuses for good, for somebody to look at.
//
// Plain msgpack records back to back, as they would have been sent, in a file of mode 0600.
// Bounded: when it is full, further records are counted and lost.
#ifndef VEK_RAW_MSGPACK_API_DEAD_LETTER_H
#define VEK_RAW_MSGPACK_API_DEAD_LETTER_H

#include <cstdint>
#include <string>
#include <string_view>

#include "raw_msgpack_api/msgpack_token.h"

namespace vek::engine {

inline constexpr std::string_view kDeadLetterName = "dead-letter.msgpack";

class DeadLetter {
 public:
  static constexpr uint64_t kDefaultLimit = 16'000'000;

  explicit DeadLetter(const std::string& folder, uint64_t limit = kDefaultLimit)
      : path_(folder + '/' + std::string(kDeadLetterName)), limit_(limit) {}

  // Appends one record: 0, or the errno that says why it is not there (EFBIG: the file is full). A
  // part of a record never stays behind.
  int append(Bytes record) const noexcept;
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  uint64_t limit_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_DEAD_LETTER_H
