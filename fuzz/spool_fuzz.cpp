// Any bytes as the files of a spool: the start neither fails nor reads what is not there, what it
// yields passes the walk over records, and what it says about the number of records holds.
//
// Input: pieces, each a byte that names the file, two bytes of length (little endian), contents.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "fuzz/support.h"
#include "raw_msgpack_api/spool.h"
#include "raw_msgpack_api/spool_format.h"

namespace {

using vek::engine::RecordBatch;
using vek::engine::RecordView;
using vek::engine::RecordWalk;
using vek::engine::Spool;

void require(bool holds) {
  if (!holds) std::abort();
}

// One folder for all inputs, emptied between them; in memory where there is such a file system.
const std::string& folder() {
  static const std::string path = [] {
    std::string pattern = std::filesystem::is_directory("/dev/shm") ? "/dev/shm/vek-spool-XXXXXX"
                                                                    : "/tmp/vek-spool-XXXXXX";
    require(mkdtemp(pattern.data()) != nullptr);
    static std::string made;
    made = pattern;
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(made, ignored);
    });
    return pattern;
  }();
  return path;
}

std::string file_name(uint8_t choice) {
  constexpr std::array<const char*, 6> kOthers = {
      "cursor", "0000000000000001.seg.damaged", "notes.txt",
      "lock",   "0000000000000x01.seg",         "ffffffffffffffff.seg"};
  if (choice >= 0xf8) return "notes." + std::to_string(choice);
  if (choice >= 0xf0) return kOthers[choice % kOthers.size()];
  return vek::engine::spool::segment_name(choice);
}

void lay_out(const uint8_t* data, size_t size) {
  for (const auto& entry : std::filesystem::directory_iterator(folder())) {
    require(unlink(entry.path().c_str()) == 0);
  }
  while (size >= 3) {
    const std::string path = folder() + '/' + file_name(data[0]);
    const size_t length = std::min<size_t>(data[1] + size_t{data[2]} * 256, size - 3);
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    require(fd >= 0);
    require(write(fd, data + 3, length) == static_cast<ssize_t>(length));
    close(fd);
    data += 3 + length;
    size -= 3 + length;
  }
}

void require_sound(const RecordView& record) {
  RecordWalk walk(record.bytes);
  require(walk.next() == RecordWalk::Step::kRecord && !walk.mended());
  require(walk.next() == RecordWalk::Step::kEnd);
}

std::unique_ptr<Spool> open_spool() {
  auto spool = Spool::open({folder(), "fuzz", 1'000'000, false});
  require(spool != nullptr);
  return spool;
}

uint64_t load_and_settle(Spool& spool, size_t batch_to_stop_at) {
  uint64_t loaded = 0;
  uint64_t expected = spool.unread();
  for (size_t i = 0; spool.unread() > 0 && i < batch_to_stop_at; ++i) {
    RecordBatch batch;
    const auto result = spool.load(batch);
    require(!result.is_blocked && result.lost == 0);  // it was all read at the start
    for (size_t k = 0; k < batch.size(); ++k) require_sound(batch[k]);
    loaded += batch.size();
    spool.settle(batch.size());
  }
  require(spool.unread() == expected - loaded);
  return loaded;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vek::fuzz::choose_log_level(size);
  lay_out(data, size);
  {
    const auto spool = open_spool();
    const uint8_t empty_map = 0x80;
    const RecordView record = {{&empty_map, 1}, vek::engine::RecordShape::kBareMap, 0, 0, 1};
    require(spool->store(spool->next_sequence(), record, false, 0).outcome ==
            Spool::Outcome::kStored);
    load_and_settle(*spool, 1);
  }
  const auto spool = open_spool();
  load_and_settle(*spool, SIZE_MAX);
  require(spool->unread_bytes() == 0);
  return 0;
}
