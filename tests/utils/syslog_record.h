// What the logger asked of syslog: the test program has calls of its own in the place of the C
// library's.
#ifndef VEK_TESTS_UTILS_SYSLOG_RECORD_H
#define VEK_TESTS_UTILS_SYSLOG_RECORD_H

#include <string>
#include <vector>

namespace vek::test {

struct SyslogRecord {
  const char* kept_ident = nullptr;
  std::string ident;  // as the pointer reads when the last message was logged
  int option = 0;
  int facility = 0;
  int opened = 0;
  int closed = 0;
  std::vector<std::string> messages;  // "<priority> <text>"
};

SyslogRecord& syslog_record();

}  // namespace vek::test

#endif  // VEK_TESTS_UTILS_SYSLOG_RECORD_H
