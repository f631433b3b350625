#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/raw_msgpack_api/forward_fixture.h"
#include "tests/raw_msgpack_api/test_certificates.h"
#include "tests/support/log_capture.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class ForwardTls : public testing::Test {
 protected:
  ReceiverScript script(SSL_CTX* tls) const {
    ReceiverScript result;
    result.tls = tls;
    return result;
  }
  ParameterPairs trusting(const ForwardReceiver& receiver, const ParameterPairs& more = {}) const {
    ParameterPairs all = quick(receiver, more);
    all.insert(all.begin(),
               {{"tls", "on"}, {"tls.ca_file", ca_file_}, {"vek.handshake_timeout", "2"}});
    return all;
  }
  void expect_refusal(const ForwardReceiver& receiver, const ParameterPairs& parameters,
                      const std::string& reason) const {
    LogCapture log;
    Engine engine("forward", parameters);
    add_numbered(engine, 0, 10);
    while (log.warnings().empty()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_THAT(log.warnings(), ElementsAre(HasSubstr(reason)));
    EXPECT_EQ(engine.stat("queued"), 10u);
    EXPECT_NE(engine.finish(), 0);
    EXPECT_TRUE(receiver.frames().empty());
  }

  TempDir dir_;
  Authority authority_;
  std::string ca_file_ = dir_.write("ca.pem", authority_.pem());
};

TEST_F(ForwardTls, DeliversToAReceiverThatItTrusts) {
  const OwnedTls tls = server_tls(authority_.issue("IP:127.0.0.1"));
  const ForwardReceiver receiver(script(tls.get()));
  Engine engine("forward", trusting(receiver));
  add_numbered(engine, 0, 5000);
  expect_all(engine, receiver, 5000);
}

TEST_F(ForwardTls, AsksForTheNameThatItChecks) {
  static std::string asked;
  const OwnedTls tls = server_tls(authority_.issue("DNS:receiver.example"));
  SSL_CTX_set_tlsext_servername_callback(
      tls.get(), +[](SSL* session, int*, void*) {
        const char* name = SSL_get_servername(session, TLSEXT_NAMETYPE_host_name);
        asked = name ? name : "";
        return SSL_TLSEXT_ERR_OK;
      });
  const ForwardReceiver receiver(script(tls.get()));
  Engine engine("forward", trusting(receiver, {{"tls.vhost", "receiver.example"}}));
  add_numbered(engine, 0, 10);
  expect_all(engine, receiver, 10);
  EXPECT_EQ(asked, "receiver.example");
}

TEST_F(ForwardTls, RefusesWhoeverItDoesNotTrust) {
  const struct {
    const char* names;
    long seconds;
    bool is_known;
    const char* reason;
  } cases[] = {
      {"IP:127.0.0.1", 3600, false, "unable to get local issuer certificate"},
      {"IP:127.0.0.2,DNS:localhost", 3600, true, "IP address mismatch"},
      {"IP:127.0.0.1", -60, true, "certificate has expired"},
      {"", 3600, true, "IP address mismatch"},
  };
  const Authority stranger;
  for (const auto& c : cases) {
    const Authority& signer = c.is_known ? authority_ : stranger;
    const OwnedTls tls = server_tls(signer.issue(c.names, c.seconds));
    const ForwardReceiver receiver(script(tls.get()));
    expect_refusal(receiver, trusting(receiver, {{"vek.grace", "0.05"}}), c.reason);
  }
}

TEST_F(ForwardTls, RefusesACertificateForAnotherHost) {
  const OwnedTls tls = server_tls(authority_.issue("DNS:other.example"));
  const ForwardReceiver receiver(script(tls.get()));
  expect_refusal(receiver, trusting(receiver, {{"Host", "localhost"}, {"vek.grace", "0.05"}}),
                 "hostname mismatch");
}

TEST_F(ForwardTls, TrustsTheSystemWhereNoFileSaysWhom) {
  const OwnedTls tls = server_tls(authority_.issue("IP:127.0.0.1"));
  const ForwardReceiver receiver(script(tls.get()));
  expect_refusal(receiver, quick(receiver, {{"tls", "on"}, {"vek.grace", "0.05"}}),
                 "unable to get local issuer certificate");
}

TEST_F(ForwardTls, TrustsAnybodyWhenToldTo) {
  LogCapture log;
  const Authority stranger;
  const OwnedTls tls = server_tls(stranger.issue("DNS:other.example", -60));
  const ForwardReceiver receiver(script(tls.get()));
  Engine engine("forward", quick(receiver, {{"tls", "on"}, {"tls.verify", "off"}}));
  add_numbered(engine, 0, 10);
  expect_all(engine, receiver, 10);
  EXPECT_THAT(log.warnings(), ElementsAre("[raw msgpack API] [forward] tls.verify is off: anybody "
                                          "may pose as the receiver"));
}

TEST_F(ForwardTls, ShowsACertificateWhereOneIsWanted) {
  const OwnedTls tls = server_tls(authority_.issue("IP:127.0.0.1"), &authority_);
  const Identity own = authority_.issue("");
  const std::string crt = dir_.write("own.pem", own.certificate_pem());
  const std::string key = dir_.write("own.key", own.key_pem("open sesame"));
  {
    const ForwardReceiver receiver(script(tls.get()));
    Engine engine("forward", trusting(receiver, {{"tls.crt_file", crt},
                                                 {"tls.key_file", key},
                                                 {"tls.key_passwd", "open sesame"}}));
    add_numbered(engine, 0, 10);
    expect_all(engine, receiver, 10);
  }
  const ForwardReceiver receiver(script(tls.get()));
  expect_refusal(receiver, trusting(receiver, {{"vek.grace", "0.05"}}), "TLS");
}

TEST_F(ForwardTls, SaysWhichFileDoesNotWork) {
  const Identity own = authority_.issue("");
  const Identity other = authority_.issue("");
  const std::string crt = dir_.write("own.pem", own.certificate_pem());
  const std::string key = dir_.write("own.key", own.key_pem("open sesame"));
  const std::string plain = dir_.write("other.key", other.key_pem());
  const struct {
    ParameterPairs pairs;
    std::string parameter;
  } cases[] = {
      {{{"tls.ca_file", "/absent"}}, "tls.ca_file = '/absent'"},
      {{{"tls.crt_file", dir_.file("absent")}, {"tls.key_file", key}}, "tls.crt_file = "},
      {{{"tls.crt_file", crt}, {"tls.key_file", key}, {"tls.key_passwd", "wrong-word"}},
       "tls.key_file = "},
      {{{"tls.crt_file", crt}, {"tls.key_file", key}}, "tls.key_file = "},
      {{{"tls.crt_file", crt}, {"tls.key_file", plain}}, "tls.key_file = "},
  };
  for (const auto& [pairs, parameter] : cases) {
    LogCapture log;
    ParameterPairs all = pairs;
    all.emplace_back("tls", "on");
    EXPECT_EQ(Engine("forward", all).context(), nullptr) << parameter;
    EXPECT_THAT(log.errors(),
                ElementsAre(AllOf(HasSubstr(parameter), HasSubstr("cannot be used"))));
    for (const LogLine& line : log.lines()) EXPECT_THAT(line.text, Not(HasSubstr("wrong-word")));
  }
}

TEST_F(ForwardTls, WaitsNoLongerThanItMayForAPeerThatDoesNotSpeakIt) {
  LogCapture log;
  ReceiverScript silent;
  silent.greet = [](ReceiverStream& stream, int) {
    std::string heard;
    while (stream.read(heard, 1000)) {
    }
    return false;
  };
  const ForwardReceiver receiver(silent);
  Engine engine("forward", quick(receiver, {{"tls", "on"}, {"vek.grace", "0.05"}}));
  add_numbered(engine, 0, 1);
  while (log.warnings().empty()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  EXPECT_THAT(log.warnings(), ElementsAre(HasSubstr("the TLS handshake took too long")));
}

TEST_F(ForwardTls, SurvivesReceiversThatClose) {
  LogCapture log(3);
  const OwnedTls tls = server_tls(authority_.issue("IP:127.0.0.1"));
  ReceiverScript closing = script(tls.get());
  closing.limit = [](int connection) -> size_t {
    return connection < 6 ? static_cast<size_t>(connection) * 500 : SIZE_MAX;
  };
  const ForwardReceiver receiver(closing);
  Engine engine("forward", trusting(receiver, {{"vek.frame_size", "1K"}}));
  add_numbered(engine, 0, 500);
  expect_all(engine, receiver, 500);
}

TEST_F(ForwardTls, WritesToReceiversThatReadSlowly) {
  LogCapture log(3);
  const OwnedTls tls = server_tls(authority_.issue("IP:127.0.0.1"));
  ReceiverScript slow = script(tls.get());
  slow.read_size = 100'000;
  slow.read_pause = std::chrono::milliseconds(1);
  const ForwardReceiver receiver(slow);
  Engine engine("forward", trusting(receiver, {{"vek.ack_timeout", "5"}}));
  const std::string text(60'000, 'x');
  for (uint64_t i = 0; i < 100; ++i) {
    engine.add(Pack().array(2).u(1).map(2).str("n").u(i).str("x").str(text).bytes());
  }
  expect_all(engine, receiver, 100);
}

}  // namespace
}  // namespace vek::test
