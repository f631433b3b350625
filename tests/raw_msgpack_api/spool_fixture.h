// What tests of the spool share: numbered records in, numbers out.
#ifndef VEK_TESTS_RAW_MSGPACK_API_SPOOL_FIXTURE_H
#define VEK_TESTS_RAW_MSGPACK_API_SPOOL_FIXTURE_H

#include <memory>
#include <string>
#include <vector>

#include "raw_msgpack_api/spool.h"
#include "raw_msgpack_api/spool_format.h"
#include "tests/raw_msgpack_api/pack.h"

namespace vek::test {

using Numbers = std::vector<uint64_t>;
using SpoolPtr = std::unique_ptr<engine::Spool>;

// {"n": number, "x": "..."}; about `size` bytes.
inline std::vector<uint8_t> spool_record(uint64_t number, size_t size = 40) {
  return Pack().map(2).str("n").u(number).str("x").str(std::string(size, 'x')).bytes();
}

inline uint64_t number_of(const engine::RecordView& record) {
  engine::Token token;
  engine::read_token(record.bytes.subspan(3), token);
  return token.value;
}

inline SpoolPtr open_spool(const std::string& folder,
                           uint64_t limit = engine::SpoolSettings::kDefaultLimit,
                           engine::FileOps& ops = engine::FileOps::of_system()) {
  return engine::Spool::open({folder, "[t]", limit, true}, ops);
}

inline engine::Spool::StoreResult store(engine::Spool& spool, uint64_t number, size_t size = 40) {
  const auto bytes = spool_record(number, size);
  return spool.store(number, {bytes, engine::RecordShape::kBareMap, 0, 0}, false, 0);
}

inline bool store_all(engine::Spool& spool, uint64_t first, uint64_t last, size_t size = 40) {
  for (uint64_t n = first; n <= last; ++n) {
    if (store(spool, n, size).outcome != engine::Spool::Outcome::kStored) return false;
  }
  return true;
}

// Loads everything; the numbers in the records.
inline Numbers load_all(engine::Spool& spool, uint64_t* lost = nullptr) {
  Numbers numbers;
  while (spool.unread() > 0) {
    engine::RecordBatch batch;
    const auto result = spool.load(batch);
    if (lost) *lost += result.lost;
    if (result.is_blocked) break;
    for (size_t i = 0; i < batch.size(); ++i) numbers.push_back(number_of(batch[i]));
  }
  return numbers;
}

inline Numbers range(uint64_t first, uint64_t last) {
  Numbers numbers;
  for (uint64_t n = first; n <= last; ++n) numbers.push_back(n);
  return numbers;
}

inline Numbers operator+(Numbers a, const Numbers& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

}  // namespace vek::test

#endif  // VEK_TESTS_RAW_MSGPACK_API_SPOOL_FIXTURE_H
