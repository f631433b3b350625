#include "raw_msgpack_api/socket.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "raw_msgpack_api/host_lookup.h"
#include "tests/raw_msgpack_api/forward_receiver.h"

namespace vek::engine {
namespace {

TEST(UnixAddress, TakesPathsThatFit) {
  SocketAddress address;
  EXPECT_FALSE(unix_address("", address));
  EXPECT_FALSE(unix_address(std::string(108, 'x'), address));
  ASSERT_TRUE(unix_address(std::string(107, 'x'), address));
  EXPECT_EQ(address.text(), std::string(107, 'x'));
}

void wait_for(const HostLookup& lookup) {
  pollfd request{lookup.fd(), POLLIN, 0};
  if (!lookup.done()) poll(&request, 1, 10'000);
  ASSERT_TRUE(lookup.done());
}

TEST(HostLookup, HasAddressesInDigitsAtOnce) {
  const struct {
    const char* host;
    const char* text;
  } cases[] = {{"127.0.0.1", "127.0.0.1:24224"}, {"::1", "[::1]:24224"}};
  for (const auto& [host, text] : cases) {
    HostLookup lookup(host, "24224");
    EXPECT_FALSE(lookup.done());
    lookup.start();
    ASSERT_TRUE(lookup.done());
    EXPECT_EQ(lookup.fd(), -1);
    ASSERT_EQ(lookup.addresses().size(), 1u);
    EXPECT_EQ(lookup.addresses()[0].text(), text);
  }
}

TEST(HostLookup, FindsNamesAndSaysWhichItCannotFind) {
  HostLookup lookup("localhost", "1");
  for (int round = 0; round < 2; ++round) {
    lookup.start();
    wait_for(lookup);
    EXPECT_FALSE(lookup.addresses().empty());
  }
  HostLookup absent("no-such-host.invalid", "1");
  absent.start();
  wait_for(absent);
  EXPECT_TRUE(absent.addresses().empty());
  EXPECT_EQ(absent.error().find("cannot find host 'no-such-host.invalid': "), 0u) << absent.error();
}

TEST(HostLookup, MayBeForgottenBeforeItIsDone) {
  for (int i = 0; i < 20; ++i) {
    HostLookup lookup("localhost", "1");
    lookup.start();
  }
  // Those that were forgotten end on their own, before the program does.
  std::this_thread::sleep_for(std::chrono::seconds(1));
}

TEST(Socket, ConnectsWithoutBlockingAndClosesItself) {
  const test::ForwardReceiver receiver;
  HostLookup lookup("127.0.0.1", receiver.port());
  lookup.start();
  struct stat open = {};
  int fd = -1;
  {
    const Socket socket = start_connect(lookup.addresses()[0]);
    ASSERT_TRUE(socket);
    fd = socket.fd();
    ASSERT_EQ(fstat(fd, &open), 0);
    pollfd request{fd, POLLOUT, 0};
    EXPECT_EQ(poll(&request, 1, 5000), 1);
    EXPECT_EQ(connect_result(socket), 0);
    EXPECT_NE(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
  }
  // The receiver's thread may have got the number for its side of the connection meanwhile.
  struct stat now = {};
  EXPECT_TRUE(fstat(fd, &now) != 0 || now.st_ino != open.st_ino);
}

}  // namespace
}  // namespace vek::engine
