// "file": appends records to a file, as lines of JSON or as the msgpack that they are.
//
// Parameters: "path" (a folder, which must exist), "file" (a name in it; the tag when left out),
// "format" ("json", the default, or "msgpack"). Without "path", "file" may itself name folders.
// The file is made for its owner alone, and a symbolic link in its place is refused: the collector
// may run with more rights than whoever can write to that folder.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "raw_msgpack_api/destination.h"
#include "raw_msgpack_api/file_config.h"
#include "raw_msgpack_api/socket.h"
#include "raw_msgpack_api/stream_destination.h"
#include "utils/logger.h"
#include "utils/output_rules.h"

namespace vek::engine {
namespace {

class MsgpackRecords : public RecordFormat {
 public:
  void append(const RecordView& record, std::string& out) override {
    out.append(reinterpret_cast<const char*>(record.bytes.data()), record.bytes.size());
  }
};

class FileSink : public FdSink {
 public:
  using FdSink::FdSink;

  WriteResult write(std::string_view bytes, const StopSignal& stop) override {
    const WriteResult result = FdSink::write(bytes, stop);
    end_ = lseek(fd(), 0, SEEK_CUR);
    return result;
  }

  // Only while the partial record is the file's end: another process may append to it as well.
  void take_back(size_t count) override {
    struct stat status {};
    const auto partial = static_cast<off_t>(count);
    if (fstat(fd(), &status) != 0 || status.st_size != end_ || end_ < partial) return;
    if (ftruncate(fd(), end_ - partial) != 0) {
      VEK_LOGD("[raw msgpack API] cannot cut a partial record: %s", std::strerror(errno));
    }
  }

 private:
  off_t end_ = 0;
};

int report_open_failure(const std::string& path, const char* why) {
  VEK_LOGE("[raw msgpack API] output 'file' cannot open '%s': %s", path.c_str(), why);
  return -1;
}

// Another number for a descriptor that took the place of a closed standard one: who writes there
// means no file of ours.
int above_standard(int fd) {
  if (fd < 0 || fd > STDERR_FILENO) return fd;
  const int moved = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int why = errno;
  close(fd);
  errno = why;
  return moved;
}

int open_file(const std::string& path) {
  // O_NONBLOCK: a FIFO without a reader must fail, not wait for one.
  constexpr int kFlags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  const int fd = above_standard(open(path.c_str(), kFlags, 0600));
  if (fd < 0) {
    if (errno == ELOOP) return report_open_failure(path, "it is a symbolic link");
    if (errno == ENXIO) return report_open_failure(path, "it is not a regular file");
    return report_open_failure(path, std::strerror(errno));
  }
  struct stat status {};
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    close(fd);
    return report_open_failure(path, "it is not a regular file");
  }
  return fd;
}

std::unique_ptr<Destination> make(const Settings& settings, const Parameters& parameters) {
  const auto config = read_file_config(settings, parameters);
  if (!config) return nullptr;
  std::unique_ptr<RecordFormat> format;
  if (config->is_json) {
    format = std::make_unique<JsonLines>();
  } else {
    format = std::make_unique<MsgpackRecords>();
  }
  Socket file(open_file(config->path));
  if (!file) return nullptr;
  auto sink = std::make_unique<FileSink>(file.fd());
  (void)file.release();
  return std::make_unique<StreamDestination>(settings.name, std::move(format), std::move(sink));
}

}  // namespace

constinit const DestinationKind kFileDestination = {kFileOutput, kFileParameters, make};

}  // namespace vek::engine
