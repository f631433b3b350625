#include "tools/check/connect_check.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/tools/check/configuration_fixture.h"

namespace vek::tools {
namespace {

// A socket on this machine; listening or, with a full queue, never answering.
class Listener {
 public:
  Listener() {
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd_, reinterpret_cast<sockaddr*>(&address_), sizeof(address_));
    socklen_t size = sizeof(address_);
    getsockname(fd_, reinterpret_cast<sockaddr*>(&address_), &size);
  }
  ~Listener() {
    for (const int fd : waiting_) close(fd);
    close(fd_);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void listen_well() { listen(fd_, 5); }
  void never_answer() {
    listen(fd_, 0);
    for (int i = 0; i < 4; ++i) {
      waiting_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
      connect(waiting_.back(), reinterpret_cast<sockaddr*>(&address_), sizeof(address_));
    }
  }
  std::string port() const { return std::to_string(ntohs(address_.sin_port)); }

 private:
  int fd_ = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address_{};
  std::vector<int> waiting_;
};

class ConnectCheckTest : public test::ConfigurationFixture {
 protected:
  std::vector<std::string> connect(std::chrono::milliseconds patience = std::chrono::seconds(3)) {
    Findings findings;
    const auto destinations = read();
    check_connections(destinations, findings, patience);
    return texts(findings);
  }
};

TEST_F(ConnectCheckTest, SaysWhichDestinationsCannotBeReached) {
  Listener good;
  good.listen_well();
  const Listener closed;
  destination("a", "plugin_name = forward\nhost = 127.0.0.1\nport = " + good.port() + "\n");
  destination("b", "plugin_name = es\nhost = 127.0.0.1\nport = " + closed.port() + "\n");
  destination("c", "plugin_name = forward\nplugin_unix_path = " + dir_.file("none") + "\n");
  destination("d", "plugin_name = stdout\n");
  destination("e", "plugin_name = kafka\nplugin_brokers = 127.0.0.1:" + good.port() +
                       ",127.0.0.1:" + closed.port() + "\n");
  destination("f", "enable = 0\nplugin_name = es\nhost = 127.0.0.1\nport = " + closed.port());
  EXPECT_EQ(connect(),
            (std::vector<std::string>{"b.exp:2: unreachable: '127.0.0.1:" + closed.port() +
                                          "' cannot be reached: Connection refused",
                                      "c.exp:2: unreachable: '" + dir_.file("none") +
                                          "' cannot be reached: No such file or directory",
                                      "e.exp:2: unreachable: '127.0.0.1:" + closed.port() +
                                          "' cannot be reached: Connection refused"}));
}

TEST_F(ConnectCheckTest, WaitsForAllTogetherAndNotLongerThanItMay) {
  Listener slow;
  slow.never_answer();
  for (const char* name : {"a", "b", "c"}) {
    destination(name, std::string("plugin_name = forward\nhost = 127.0.0.") +
                          "1\nport = " + slow.port() + "\n");
  }
  const auto start = std::chrono::steady_clock::now();
  const auto found = connect(std::chrono::milliseconds(300));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  ASSERT_EQ(found.size(), 3u);
  EXPECT_NE(found[0].find("no answer within 300 ms"), std::string::npos) << found[0];
}

TEST_F(ConnectCheckTest, AFileNeedsItsFolder) {
  destination("a", "plugin_name = file\nplugin_Path = " + dir_.file("none") + "\n");
  destination("b", "plugin_name = file\nplugin_path = " + dir_.path() + "\n");
  EXPECT_EQ(connect(),
            (std::vector<std::string>{"a.exp:2: unwritable: '" + dir_.file("none") +
                                      "' cannot be written to: No such file or directory"}));
}

}  // namespace
}  // namespace vek::tools
