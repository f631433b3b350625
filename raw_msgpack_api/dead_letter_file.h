// DeadLetterFile: where records go that a receiver cannot stand, as the msgpack that they are, back
// to back. Bounded: somebody should look into it long before it is full.
#ifndef VEK_RAW_MSGPACK_API_DEAD_LETTER_FILE_H
#define VEK_RAW_MSGPACK_API_DEAD_LETTER_FILE_H

#include <string>

#include "raw_msgpack_api/msgpack_token.h"
#include "utils/clock.h"

namespace vek::engine {

class DeadLetterFile {
 public:
  static constexpr size_t kMostBytes = 64'000'000;

  // An empty path keeps nothing. `name` is for log lines.
  DeadLetterFile(std::string name, std::string path);

  // Opened for this record only, as there should never be one. What does not work is said.
  void append(Bytes record);

 private:
  bool write(Bytes record) const;

  std::string name_;
  std::string path_;
  LogRateLimit kept_limit_, error_limit_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_DEAD_LETTER_FILE_H
