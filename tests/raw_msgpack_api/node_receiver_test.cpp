// "forward" to a receiver of somebody else's making, where one is named: VEK_FLUENT_LOGGER is the
// folder of the npm package @fluent-org/logger. Elsewhere these tests are skipped.
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/raw_msgpack_api/test_certificates.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

constexpr uint64_t kRecords = 5000;

class NodeReceiver {
 public:
  NodeReceiver(const char* package, const std::string& options) {
    int ends[2] = {-1, -1};
    if (pipe(ends) != 0) return;
    child_ = fork();
    if (child_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      dup2(ends[1], STDOUT_FILENO);
      const std::string script =
          std::string(VEK_SOURCE_DIR) + "/tests/raw_msgpack_api/node_receiver.js";
      execlp("node", "node", script.c_str(), package, options.c_str(), nullptr);
      _exit(127);
    }
    close(ends[1]);
    out_ = fdopen(ends[0], "r");
    port_ = line();
  }
  ~NodeReceiver() {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
    if (out_) std::fclose(out_);
  }
  NodeReceiver(const NodeReceiver&) = delete;
  NodeReceiver& operator=(const NodeReceiver&) = delete;

  const std::string& port() const { return port_; }
  // The next line of its output, without the line break; empty at the end.
  std::string line() const {
    char text[200];
    if (!out_ || !std::fgets(text, sizeof(text), out_)) return {};
    const std::string all = text;
    return all.substr(0, all.find('\n'));
  }

 private:
  pid_t child_ = -1;
  FILE* out_ = nullptr;
  std::string port_;
};

class NodeReceiverTest : public testing::Test {
 protected:
  void SetUp() override {
    package_ = std::getenv("VEK_FLUENT_LOGGER");
    if (!package_) GTEST_SKIP() << "VEK_FLUENT_LOGGER names no @fluent-org/logger";
  }
  // Every record arrives once, in order, acknowledged.
  void expect_all(const std::string& options, ParameterPairs parameters) const {
    const NodeReceiver receiver(package_, options);
    ASSERT_NE(receiver.port(), "");
    parameters.insert(parameters.end(), {{"Port", receiver.port()}, {"vek.ack_timeout", "5"}});
    Engine engine("forward", parameters);
    ASSERT_TRUE(engine.context());
    for (uint64_t i = 0; i < kRecords; ++i) engine.add(numbered_record(i));
    ASSERT_TRUE(engine.drained());
    EXPECT_EQ(engine.stat("delivered"), kRecords);
    EXPECT_EQ(engine.stat("retried"), 0u);
    EXPECT_EQ(engine.finish(), 0);
    for (uint64_t i = 0; i < kRecords; ++i) {
      ASSERT_EQ(receiver.line(), "evnt " + std::to_string(i));
    }
  }

  const char* package_ = nullptr;
};

constexpr char kSecurity[] =
    R"({"security":{"serverHostname":"there","sharedKey":"secret","authorize":true,)"
    R"("userDict":{"me":"word"}}})";

TEST_F(NodeReceiverTest, TakesPlainFrames) { expect_all("{}", {}); }

TEST_F(NodeReceiverTest, TakesPackedFrames) { expect_all("{}", {{"Compress", "gzip"}}); }

TEST_F(NodeReceiverTest, TakesASharedKeyAndAUser) {
  expect_all(kSecurity, {{"Shared_Key", "secret"}, {"Username", "me"}, {"Password", "word"}});
}

TEST_F(NodeReceiverTest, TakesNothingWithAnotherKey) {
  LogCapture log;
  const NodeReceiver receiver(package_, kSecurity);
  Engine engine("forward", {{"Port", receiver.port()},
                            {"Shared_Key", "another"},
                            {"Username", "me"},
                            {"Password", "word"},
                            {"vek.grace", "0.3"}});
  engine.add(numbered_record(1));
  EXPECT_NE(engine.finish(), 0);
}

TEST_F(NodeReceiverTest, TakesTls) {
  const TempDir dir;
  const Authority authority;
  const Identity identity = authority.issue("DNS:localhost,IP:127.0.0.1");
  const std::string ca = dir.write("ca.pem", authority.pem());
  const std::string certificate = dir.write("cert.pem", identity.certificate_pem());
  const std::string key = dir.write("key.pem", identity.key_pem());
  expect_all("{\"tlsOptions\":{\"key\":\"" + key + "\",\"cert\":\"" + certificate + "\"}}",
             {{"tls", "on"}, {"tls.ca_file", ca}});
}

}  // namespace
}  // namespace vek::test
