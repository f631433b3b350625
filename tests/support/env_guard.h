// EnvGuard: sets or unsets an environment variable and restores it.
#ifndef VEK_TESTS_SUPPORT_ENV_GUARD_H
#define VEK_TESTS_SUPPORT_ENV_GUARD_H

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace vek::test {

class EnvGuard {
 public:
  // A null value unsets the variable.
  EnvGuard(std::string name, const char* value) : name_(std::move(name)) {
    if (const char* old = std::getenv(name_.c_str())) previous_ = old;
    set(value);
  }
  ~EnvGuard() { set(previous_ ? previous_->c_str() : nullptr); }
  EnvGuard(const EnvGuard&) = delete;
  EnvGuard& operator=(const EnvGuard&) = delete;

 private:
  void set(const char* value) {
    if (value) {
      setenv(name_.c_str(), value, 1);
    } else {
      unsetenv(name_.c_str());
    }
  }

  std::string name_;
  std::optional<std::string> previous_;
};

}  // namespace vek::test

#endif  // VEK_TESTS_SUPPORT_ENV_GUARD_H
