// The C library's inline wrappers would stand in the way of the definitions below.
#undef _FORTIFY_SOURCE
#include "tests/utils/syslog_record.h"

#include <cstdarg>
#include <cstdio>

namespace vek::test {

SyslogRecord& syslog_record() {
  static SyslogRecord record;
  return record;
}

namespace {

void record_message(int priority, const char* format, va_list args) {
  char text[512];
  (void)std::vsnprintf(text, sizeof text, format, args);
  SyslogRecord& record = syslog_record();
  record.ident = record.kept_ident ? record.kept_ident : "";
  record.messages.push_back(std::to_string(priority) + " " + text);
}

}  // namespace
}  // namespace vek::test

using vek::test::syslog_record;

extern "C" {

void openlog(const char* ident, int option, int facility) {
  auto& record = syslog_record();
  record.kept_ident = ident;
  record.option = option;
  record.facility = facility;
  ++record.opened;
}

void closelog() { ++syslog_record().closed; }

__attribute__((format(printf, 2, 0))) void vsyslog(int priority, const char* format, va_list args) {
  vek::test::record_message(priority, format, args);
}

// What optimised builds call in its place.
__attribute__((format(printf, 3, 0))) void __vsyslog_chk(int priority, int /*flag*/,
                                                         const char* format, va_list args) {
  vek::test::record_message(priority, format, args);
}

}  // extern "C"
