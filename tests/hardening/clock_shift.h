// shift_clock: lets the real-time clock of this program run ahead, so that what is said once in ten
// seconds is due again.
#ifndef VEK_TESTS_HARDENING_CLOCK_SHIFT_H
#define VEK_TESTS_HARDENING_CLOCK_SHIFT_H

namespace vek::test {

void shift_clock(long seconds);

}  // namespace vek::test

#endif  // VEK_TESTS_HARDENING_CLOCK_SHIFT_H
