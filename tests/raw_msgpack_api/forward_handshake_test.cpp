#include "raw_msgpack_api/forward_handshake.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/sha.h>

#include "tests/raw_msgpack_api/forward_fixture.h"
#include "tests/support/log_capture.h"
#include "tests/support/msgpack_json.h"

namespace vek::test {
namespace {

using engine::Bytes;
using engine::Credentials;
using engine::ForwardHandshake;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using Step = ForwardHandshake::Step;

const std::string kNonce("\0nonce\xff-16-bytes", 16);
const std::string kAuth("auth\0 of 16 bytes", 16);

std::string digest(const std::string& text) {
  unsigned char bytes[SHA512_DIGEST_LENGTH];
  SHA512(reinterpret_cast<const unsigned char*>(text.data()), text.size(), bytes);
  return to_hex(bytes, sizeof(bytes));
}

Credentials credentials() { return {"the key", "user", "the password", "me"}; }

std::vector<uint8_t> helo(const std::string& auth = kAuth) {
  return Pack()
      .array(2)
      .str("HELO")
      .map(3)
      .str("nonce")
      .str(kNonce)
      .str("auth")
      .bin(auth)
      .str("keepalive")
      .boolean(true)
      .bytes();
}

std::vector<uint8_t> pong(bool accepted, const std::string& reason, const std::string& host,
                          const std::string& hex) {
  return Pack().array(5).str("PONG").boolean(accepted).str(reason).str(host).str(hex).bytes();
}

std::string text_of(const std::string& bytes) {
  return msgpack_to_text(bytes.data(), bytes.size());
}

TEST(ForwardHandshake, AnswersAndChecksTheAnswer) {
  const Credentials own = credentials();
  ForwardHandshake handshake(own, "salt");
  ASSERT_EQ(handshake.advance(helo()), Step::kSend);
  EXPECT_EQ(text_of(handshake.message()),
            "[\"PING\",\"me\",\"salt\",\"" + digest("saltme" + kNonce + "the key") +
                "\",\"user\",\"" + digest(kAuth + "userthe password") + "\"]");
  EXPECT_EQ(handshake.advance(pong(true, "", "it", digest("saltit" + kNonce + "the key"))),
            Step::kDone);
}

TEST(ForwardHandshake, NamesNoUserWhereNoneIsAskedFor) {
  const Credentials own = credentials();
  ForwardHandshake handshake(own, "salt");
  ASSERT_EQ(handshake.advance(helo("")), Step::kSend);
  EXPECT_THAT(text_of(handshake.message()), testing::EndsWith(",\"\",\"\"]"));
}

TEST(ForwardHandshake, TakesMessagesByteByByte) {
  const Credentials own = credentials();
  ForwardHandshake handshake(own, "salt");
  const auto feed = [&](const std::vector<uint8_t>& bytes) {
    for (size_t i = 0; i + 1 < bytes.size(); ++i) {
      EXPECT_EQ(handshake.advance(Bytes(bytes).subspan(i, 1)), Step::kNeedMore);
    }
    return handshake.advance(Bytes(bytes).last(1));
  };
  EXPECT_EQ(feed(helo()), Step::kSend);
  EXPECT_EQ(feed(pong(true, "", "it", digest("saltit" + kNonce + "the key"))), Step::kDone);
}

TEST(ForwardHandshake, RefusesWhatIsNoHelo) {
  const std::vector<uint8_t> cases[] = {
      Pack().array(2).str("HALO").map(0).bytes(),
      Pack().array(3).str("HELO").map(0).nil().bytes(),
      Pack().array(2).str("HELO").array(0).bytes(),
      Pack().array(2).str("HELO").map(1).str("nonce").u(1).bytes(),
      Pack().array(2).str("HELO").map(1).u(1).u(1).bytes(),
      Pack().map(0).bytes(),
      Pack().u(1).bytes(),
      {0xc1},
      std::vector<uint8_t>(5000, 0x91),
      helo() + helo(),
  };
  for (const auto& bytes : cases) {
    const Credentials own = credentials();
    ForwardHandshake handshake(own, "salt");
    EXPECT_EQ(handshake.advance(bytes), Step::kFailed) << to_hex(bytes).substr(0, 60);
  }
}

TEST(ForwardHandshake, HoldsItsLimitsExactly) {
  const auto refusal = [](size_t reason) {
    return pong(false, std::string(reason, 'x'), "it", "");
  };
  const size_t longest = 4096 - (refusal(1000).size() - 1000);
  const std::pair<size_t, std::string> cases[] = {
      {longest, "refuses us: \"" + std::string(200, 'x') + '"'},
      {longest + 1, "does not speak the protocol"}};
  for (const auto& [reason, error] : cases) {
    const Credentials own = credentials();
    ForwardHandshake handshake(own, "salt");
    ASSERT_EQ(handshake.advance(helo()), Step::kSend);
    EXPECT_EQ(handshake.advance(refusal(reason)), Step::kFailed);
    EXPECT_THAT(handshake.error(), HasSubstr(error));
  }
}

TEST(ForwardHandshake, RefusesAReceiverThatDoesNotKnowTheKey) {
  const std::string right = digest("saltit" + kNonce + "the key");
  const struct {
    std::vector<uint8_t> bytes;
    std::string error;
  } cases[] = {
      {pong(true, "", "it", digest("saltit" + kNonce + "another key")), "does not know Shared_Key"},
      {pong(true, "", "it", right.substr(1)), "does not know Shared_Key"},
      {pong(true, "", "it", right + "0"), "does not know Shared_Key"},
      {pong(true, "", "it", ""), "does not know Shared_Key"},
      {pong(true, "", "me", digest("saltme" + kNonce + "the key")), "has our own name"},
      {pong(false, "wrong \x1b[31m user", "it", right), "refuses us: \"wrong \\u001b[31m user\""},
      {Pack().array(2).str("PONG").boolean(true).bytes(), "no PONG"},
      {Pack().array(5).str("PONG").u(1).str("").str("it").str(right).bytes(), "no PONG"},
      {helo(), "no PONG"},
  };
  for (const auto& [bytes, error] : cases) {
    const Credentials own = credentials();
    ForwardHandshake handshake(own, "salt");
    ASSERT_EQ(handshake.advance(helo()), Step::kSend);
    EXPECT_EQ(handshake.advance(bytes), Step::kFailed);
    EXPECT_THAT(handshake.error(), HasSubstr(error));
  }
}

TEST(ForwardHandshake, KeepsItsMessageWithinWhatReceiversRead) {
  Credentials own = credentials();
  own.username = std::string(500, 'u');
  ASSERT_TRUE(own.fit());
  while (own.fit()) own.username += 'u';
  own.username.pop_back();
  ForwardHandshake handshake(own, ForwardHandshake::make_salt());
  ASSERT_EQ(handshake.advance(helo()), Step::kSend);
  EXPECT_EQ(handshake.message().size(), 1023u);
}

TEST(ForwardHandshake, SaltsDiffer) {
  EXPECT_NE(ForwardHandshake::make_salt(), ForwardHandshake::make_salt());
  EXPECT_EQ(ForwardHandshake::make_salt().size(), 32u);
}

// What a receiver with this key and user does.
std::function<bool(ReceiverStream&, int)> greet(const std::string& key) {
  return [=](ReceiverStream& stream, int) {
    const auto question = helo();
    stream.write({question.begin(), question.end()});
    std::string ping;
    if (!stream.read_object(ping)) return false;
    EXPECT_LE(ping.size(), 1023u);
    // The salt is the third element: fixed places, as our name and salt have fixed sizes here.
    const size_t salt_at = 1 + 5 + 3 + 2;
    const std::string salt = ping.substr(salt_at, 32);
    const bool known = ping.find(digest(salt + "me" + kNonce + key)) != std::string::npos;
    if (!known) return false;  // receivers close without a word
    const bool welcome = ping.find(digest(kAuth + "userthe password")) != std::string::npos;
    const auto answer =
        pong(welcome, welcome ? "" : "no such user", "it", digest(salt + "it" + kNonce + key));
    stream.write({answer.begin(), answer.end()});
    return welcome;
  };
}

ParameterPairs with_credentials(const ForwardReceiver& receiver, const std::string& key,
                                const std::string& password) {
  return quick(receiver, {{"Shared_Key", key},
                          {"Username", "user"},
                          {"Password", password},
                          {"Self_Hostname", "me"},
                          {"vek.grace", "0.3"}});
}

TEST(ForwardHandshake, ComesBeforeTheFirstFrame) {
  LogCapture log;
  ReceiverScript script;
  script.greet = greet("the key");
  const ForwardReceiver receiver(script);
  Engine engine("forward", with_credentials(receiver, "the key", "the password"));
  add_numbered(engine, 0, 100);
  expect_all(engine, receiver, 100);
  for (const LogLine& line : log.lines()) {
    EXPECT_THAT(line.text, Not(HasSubstr("the key")));
    EXPECT_THAT(line.text, Not(HasSubstr("the password")));
  }
}

TEST(ForwardHandshake, FailsInEachOfItsWaysAndSaysHow) {
  const auto say = [](std::string bytes, bool stays) {
    return [=](ReceiverStream& stream, int) {
      stream.write(bytes);
      std::string more;
      while (stays && stream.read(more, 1000)) {
      }
      return false;
    };
  };
  const auto hello = helo();
  const std::string question(hello.begin(), hello.end());
  const auto bad_pong = pong(true, "", "it", std::string(128, '0'));
  const struct {
    std::function<bool(ReceiverStream&, int)> greet;
    const char* key;
    const char* password;
    const char* reason;
  } cases[] = {
      {greet("the key"), "other key", "the password", "handshake: the receiver closed"},
      {greet("the key"), "the key", "wrong secret", "refuses us: \"no such user\""},
      {say("", true), "the key", "the password", "handshake: the receiver took too long"},
      {say("", false), "the key", "the password", "handshake: the receiver closed"},
      {say(question.substr(0, 9), true), "the key", "the password", "took too long"},
      {say(question.substr(0, 9), false), "the key", "the password", "closed"},
      {say(question, true), "the key", "the password", "took too long"},
      {say("HTTP/1.1 400\r\n", true), "the key", "the password", "does not speak the protocol"},
      {say(question + question, true), "the key", "the password", "does not speak the protocol"},
      {[&](ReceiverStream& stream, int) {
         stream.write(question);
         std::string ping;
         stream.read_object(ping);
         stream.write({bad_pong.begin(), bad_pong.end()});
         while (stream.read(ping, 1000)) {
         }
         return false;
       },
       "the key", "the password", "does not know Shared_Key"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.reason);
    LogCapture log;
    ReceiverScript script;
    script.greet = c.greet;
    const ForwardReceiver receiver(script);
    Engine engine("forward", with_credentials(receiver, c.key, c.password));
    add_numbered(engine, 0, 10);
    while (log.warnings().empty()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(engine.stat("queued"), 10u);
    expect_balance(engine);
    EXPECT_NE(engine.finish(), 0);
    EXPECT_THAT(log.warnings(), Contains(HasSubstr(c.reason)));
    EXPECT_TRUE(receiver.frames().empty());
    for (const LogLine& line : log.lines()) {
      EXPECT_THAT(line.text, Not(HasSubstr(c.key)));
      EXPECT_THAT(line.text, Not(HasSubstr(c.password)));
    }
  }
}

}  // namespace
}  // namespace vek::test
