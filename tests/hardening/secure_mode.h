// SecureMode: while it lives, this process looks as if it ran with raised privileges.
#ifndef VEK_TESTS_HARDENING_SECURE_MODE_H
#define VEK_TESTS_HARDENING_SECURE_MODE_H

namespace vek::test {

class SecureMode {
 public:
  SecureMode();
  ~SecureMode();
  SecureMode(const SecureMode&) = delete;
  SecureMode& operator=(const SecureMode&) = delete;
};

}  // namespace vek::test

#endif  // VEK_TESTS_HARDENING_SECURE_MODE_H
