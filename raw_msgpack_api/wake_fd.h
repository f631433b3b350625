// WakeFd: wakes a thread that sleeps in poll(2), from any other.
#ifndef VEK_RAW_MSGPACK_API_WAKE_FD_H
#define VEK_RAW_MSGPACK_API_WAKE_FD_H

namespace vek::engine {

class WakeFd {
 public:
  WakeFd();  // throws std::system_error when the process has no descriptor left
  ~WakeFd();
  WakeFd(const WakeFd&) = delete;
  WakeFd& operator=(const WakeFd&) = delete;

  // Readable from signal() until clear().
  int fd() const { return fd_; }
  void signal() const noexcept;
  void clear() const noexcept;

 private:
  int fd_;
};

}  // namespace vek::engine

#endif  // VEK_RAW_MSGPACK_API_WAKE_FD_H
