// What the fake Fluent Bits have in common: an input that speaks the Forward protocol on a unix
// socket, and one output, "fake", which appends the numbers of numbered records to a file.
#ifndef VEK_TESTS_RAW_MSGPACK_API_FAKE_FLUENT_BIT_FAKE_RECEIVER_H
#define VEK_TESTS_RAW_MSGPACK_API_FAKE_FLUENT_BIT_FAKE_RECEIVER_H

#include <functional>
#include <map>
#include <string>

namespace fake {

using Settings = std::map<std::string, std::string>;

// The properties of the output "fake":
//   out         the file
//   say         a line for its log
//   deaf        it never listens
//   die_after   it dies on that frame with records, which is neither stored nor acknowledged
//   die_mark    a file; where it exists already nobody dies; made by dying
//   pid_file    its process id
//   stubborn    it does not end when asked to
//   password    a secret, which it says in its log
bool is_known_property(const std::string& name);

// Until `stop_fd` is readable. `die` ends the process.
void serve(const std::string& unix_path, const Settings& output, int stop_fd,
           const std::function<void()>& die);

}  // namespace fake

#endif  // VEK_TESTS_RAW_MSGPACK_API_FAKE_FLUENT_BIT_FAKE_RECEIVER_H
