// Scenarios of the engine: destinations from "init" to "finalize", and the steps of delivery.
#include <arpa/inet.h>
#include <fcntl.h>
#include <openssl/err.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <optional>

#include "raw_msgpack_api/ack_reader.h"
#include "raw_msgpack_api/dead_letter_file.h"
#include "raw_msgpack_api/fluent_bit_program.h"
#include "raw_msgpack_api/forward_handshake.h"
#include "raw_msgpack_api/frame_writer.h"
#include "raw_msgpack_api/record_json.h"
#include "raw_msgpack_api/record_walk.h"
#include "raw_msgpack_api/spool.h"
#include "tests/hardening/scenario.h"
#include "tests/raw_msgpack_api/engine_fixture.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/msgpack_json.h"
#include "tests/support/temp_dir.h"

namespace vek::test {
namespace {

using engine::Bytes;

const std::vector<uint8_t>& three_records() {
  static const std::vector<uint8_t> bytes = [] {
    const AllocationsWork own;
    std::vector<uint8_t> all;
    for (uint64_t i = 0; i < 3; ++i) {
      const auto one = numbered_record(i);
      all.insert(all.end(), one.begin(), one.end());
    }
    return all;
  }();
  return bytes;
}

// "!..." where the account does not balance.
std::string account_of(const std::string& stats) {
  const AllocationsWork own;
  uint64_t sum = 0;
  uint64_t dropped = 0;
  for (const char* name : {"delivered", "queued", "spooled"}) sum += number_in(stats, name);
  const size_t begin = stats.find("\"dropped\":{") + 10;
  const size_t end = stats.find('}', begin);
  for (size_t at = stats.find(':', begin + 1); at < end; at = stats.find(':', at + 1)) {
    dropped += std::stoull(stats.substr(at + 1));
  }
  if (number_in(stats, "accepted") != sum + dropped) return "!" + stats;
  // What was not delivered is told by the account.
  if (dropped != 0) return {};
  return std::to_string(number_in(stats, "accepted")) + " accepted, " +
         std::to_string(number_in(stats, "delivered")) + " delivered";
}

// A context whose parameters do not fail to reach it.
class Started {
 public:
  Started(const char* output, const ParameterPairs& pairs) {
    std::optional<ParameterList> list;
    {
      const AllocationsWork own;
      ParameterPairs all = {{"vek.grace", "0.2"}};
      all.insert(all.end(), pairs.begin(), pairs.end());
      list.emplace(all);
    }
    context_ = init(output, "127.0.0.1", "0", list->get(), "evnt", "evnt");
  }
  ~Started() {
    if (context_) finalize(context_);
  }
  Started(const Started&) = delete;
  Started& operator=(const Started&) = delete;
  void* context() const { return context_; }
  std::string stats() const {
    std::string text(4096, '\0');
    const int length = raw_msgpack_api_stats(context_, text.data(), text.size());
    text.resize(length > 0 ? static_cast<size_t>(length) : 0);
    return text;
  }
  // Waits a moment until nothing is queued.
  void drain() const {
    const AllocationsWork own;
    for (int i = 0; i < 200; ++i) {
      if (number_in(stats(), "queued") == 0) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }

 private:
  void* context_ = nullptr;
};

std::string life(const char* output, const ParameterPairs& pairs, bool drains = true) {
  const Started engine(output, pairs);
  if (!engine.context()) return {};
  const auto& bytes = three_records();
  const std::string text = std::to_string(add_data(engine.context(), bytes.data(), bytes.size()));
  if (drains) engine.drain();
  std::string stats;
  {
    const AllocationsWork own;
    stats = engine.stats();
  }
  return text + " " + account_of(stats);
}

std::string fresh_folder(const char* name) {
  const AllocationsWork own;
  const std::string path = scratch() + '/' + name;
  std::filesystem::remove_all(path);
  std::filesystem::create_directories(path);
  return path;
}

// Standard output goes nowhere while this lives.
class QuietOutput {
 public:
  QuietOutput() : kept_(dup(STDOUT_FILENO)) {
    const AllocationsWork own;
    const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nothing, STDOUT_FILENO);
    close(nothing);
  }
  ~QuietOutput() {
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }
  QuietOutput(const QuietOutput&) = delete;
  QuietOutput& operator=(const QuietOutput&) = delete;

 private:
  int kept_;
};

std::string output_null() { return life("null", {{"Alias", "a"}}); }
std::string output_stdout() {
  const QuietOutput quiet;
  return life("stdout", {{"Tag", "t"}});
}
std::string output_stdout_raw() {
  const QuietOutput quiet;
  return life("stdout_raw", {});
}
std::string output_file() {
  return life("file", {{"path", fresh_folder("file")}, {"file", "records"}});
}
std::string output_file_msgpack() {
  return life("file", {{"path", fresh_folder("packed")}, {"file", "r"}, {"format", "msgpack"}});
}
std::string output_forward() { return life("forward", {{"Port", "1"}}, false); }
std::string output_forward_secure() {
  return life("forward",
              {{"Port", "1"},
               {"Shared_Key", "key"},
               {"Username", "u"},
               {"Password", "p"},
               {"Compress", "gzip"}},
              false);
}
std::string output_forward_spooling() {
  return life("forward", {{"Port", "1"}, {"storage.path", fresh_folder("spools")}}, false);
}

// A receiver that reads all and says nothing, in a process of its own: what fails here must not
// fail there. Its port; it ends with this program.
const std::string& receiver_port() {
  static const std::string port = [] {
    const AllocationsWork own;
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    EXPECT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(listen(listener, 64), 0);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    if (fork() == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (int fd = 0; fd <= 2; ++fd) close(fd);
      for (char bytes[4096];;) {
        const int fd = accept(listener, nullptr, nullptr);
        while (fd >= 0 && recv(fd, bytes, sizeof bytes, 0) > 0) {
        }
        close(fd);
      }
    }
    close(listener);
    return std::to_string(ntohs(address.sin_port));
  }();
  return port;
}
std::string output_forward_delivering() {
  return life("forward", {{"Port", receiver_port()},
                          {"Require_ack_response", "off"},
                          {"vek.retry_base", "0.005"},
                          {"vek.retry_cap", "0.02"}});
}
std::string refused_parameter() {
  const Started engine("forward", {{"tls.veriify", "off"}});
  return engine.context() ? "!made" : "";
}
std::string broken_records() {
  const Started engine("null", {});
  if (!engine.context()) return {};
  std::vector<uint8_t> bytes = three_records();
  bytes.insert(bytes.end(), {0x92, 0x01, 0xc1});
  add_data(engine.context(), bytes.data(), bytes.size());
  engine.drain();
  const AllocationsWork own;
  return account_of(engine.stats());
}
std::string mended_record() {
  const Started engine("null", {});
  if (!engine.context()) return {};
  const uint8_t bytes[] = {0x92, 0x01, 0x83, 0xa1, 'a', 0x01, 0xa1, 'b', 0x02};
  add_data(engine.context(), bytes, sizeof bytes);
  engine.drain();
  const AllocationsWork own;
  return account_of(engine.stats());
}
std::string ledger() {
  std::string text(1 << 20, '\0');
  return raw_msgpack_api_ledger(text.data(), text.size()) >= 0 ? "told" : "";
}
std::string unsound_file() {
  const Started engine("file", {{"path", "/nonexistent"}, {"file", "f"}});
  return engine.context() ? "!made" : "";
}
std::string unsound_format() {
  const Started engine("file", {{"path", scratch()}, {"format", "xml"}});
  return engine.context() ? "!made" : "";
}
std::string two_contexts() {
  return life("null", {{"Alias", "one"}}) + life("null", {{"Alias", "two"}});
}

// --- Steps of delivery.

std::string acknowledgements() {
  engine::AckReader reader;
  static const std::vector<uint8_t> bytes = [] {
    const AllocationsWork own;
    return Pack().map(1).str("ack").str("chunk").bytes();
  }();
  reader.feed(Bytes(bytes).first(3));
  if (reader.next() != engine::AckReader::Step::kNeedMore) return "!early";
  reader.feed(Bytes(bytes).subspan(3));
  return reader.next() == engine::AckReader::Step::kAck ? std::string(reader.chunk()) : "!none";
}
std::string handshake() {
  // What the library remembers of a failure stays on the engine's own thread.
  struct Forget {
    Forget() { ERR_raise(ERR_LIB_USER, 1); }  // what it remembers them in is made on first use
    ~Forget() { ERR_clear_error(); }
  } forget;
  const engine::Credentials credentials{"key", "user", "password", "us"};
  engine::ForwardHandshake ours(credentials, engine::ForwardHandshake::make_salt());
  static const std::vector<uint8_t> helo = [] {
    const AllocationsWork own;
    return Pack().array(2).str("HELO").map(2).str("nonce").str("n").str("auth").str("a").bytes();
  }();
  const auto step = ours.advance(helo);
  return step == engine::ForwardHandshake::Step::kSend ? std::to_string(ours.message().size()) : "";
}
std::string frame(bool compressed) {
  engine::FrameWriter writer("tag", compressed);
  engine::RecordWalk walk(three_records());
  size_t count = 0;
  while (walk.next() == engine::RecordWalk::Step::kRecord) {
    writer.add(walk.record(), {});
    ++count;
  }
  std::vector<uint8_t> out;
  writer.finish(std::nullopt, out);
  return out.empty() ? "" : std::to_string(count);
}
std::string plain_frame() { return frame(false); }
std::string packed_frame() { return frame(true); }
std::string record_text() {
  std::string text;
  engine::append_text(three_records(), engine::TextStyle::kJson, text);
  return text;
}
std::string dead_letter() {
  const std::string folder = fresh_folder("letters");
  engine::DeadLetterFile file("name", folder + "/letters");
  file.append(three_records());
  const AllocationsWork own;
  return to_hex(
      std::vector<uint8_t>(1, static_cast<uint8_t>(read_file(folder + "/letters").size())));
}

std::unique_ptr<engine::Spool> open_spool(const std::string& folder) {
  return engine::Spool::open({folder, "name", 1'000'000, false});
}
bool store(engine::Spool& spool, uint64_t records) {
  const uint8_t empty_map = 0x80;
  const engine::RecordView record = {{&empty_map, 1}, engine::RecordShape::kBareMap, 0, 0, 1};
  for (uint64_t i = 0; i < records; ++i) {
    const auto stored = spool.store(spool.next_sequence() + i, record, false, 0);
    if (stored.outcome != engine::Spool::Outcome::kStored) return false;
  }
  return true;
}
// By a run that ends without settling any of them.
bool leave_behind(const std::string& folder, uint64_t records) {
  const auto spool = open_spool(folder);
  return spool && store(*spool, records);
}
std::string load_all(engine::Spool& spool) {
  uint64_t loaded = 0;
  for (bool goes_on = true; goes_on && spool.unread() > 0;) {
    engine::RecordBatch batch;
    goes_on = !spool.load(batch).is_blocked;
    spool.settle(batch.size());
    loaded += batch.size();
  }
  return std::to_string(loaded);
}
std::string load_left_behind(const std::string& folder) {
  const auto spool = open_spool(folder);
  return spool ? load_all(*spool) : "";
}
template <typename Change>
void change_segment(const std::string& folder, Change change) {
  const AllocationsWork own;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".seg") continue;
    std::fstream file(entry.path(), std::ios::in | std::ios::out | std::ios::binary);
    change(file);
  }
}

std::string spool_life() {
  const auto spool = open_spool(fresh_folder("spool"));
  return spool && store(*spool, 5) ? load_all(*spool) : "";
}
std::string spool_recovery() {
  const std::string folder = fresh_folder("recovered");
  return leave_behind(folder, 1) ? load_left_behind(folder) : "";
}

// A segment with a damaged record is set aside, once what is sound in it is sent.
std::string spool_damaged() {
  const std::string folder = fresh_folder("damaged");
  if (!leave_behind(folder, 3)) return {};
  change_segment(folder, [](std::fstream& file) {
    file.seekp(32 + 17 + 16);  // the second record
    file.put('x');
  });
  return load_left_behind(folder);
}

// One that ends inside a record is cut.
std::string spool_torn() {
  const std::string folder = fresh_folder("torn");
  if (!leave_behind(folder, 2)) return {};
  change_segment(folder, [](std::fstream& file) {
    file.seekp(0, std::ios::end);
    file.write("\x01\0\0\0sum", 7);
  });
  return load_left_behind(folder);
}

// Asked for its version, as before it serves an output.
std::string output_fluent_bit_program() {
  static const std::vector<std::string> candidates = [] {
    const AllocationsWork own;
    const std::string path = scratch_file("fluent-bit", "#!/bin/sh\necho Fluent Bit v4.0.0\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return std::vector<std::string>{path};
  }();
  std::string why;
  const auto found = engine::FluentBitProgram::find(candidates, why);
  return found ? found->version : "";
}

}  // namespace

std::vector<Scenario> engine_scenarios() {
  return {{"output_null", output_null},
          {"output_stdout", output_stdout},
          {"output_stdout_raw", output_stdout_raw},
          {"output_file", output_file},
          {"output_file_msgpack", output_file_msgpack},
          {"output_forward", output_forward},
          {"output_forward_delivering", output_forward_delivering},
          {"output_forward_secure", output_forward_secure},
          {"output_forward_spooling", output_forward_spooling},
          {"refused_parameter", refused_parameter},
          {"broken_records", broken_records},
          {"mended_record", mended_record},
          {"ledger", ledger},
          {"unsound_file", unsound_file},
          {"unsound_format", unsound_format},
          {"two_contexts", two_contexts},
          {"acknowledgements", acknowledgements},
          {"handshake", handshake},
          {"plain_frame", plain_frame},
          {"packed_frame", packed_frame},
          {"record_text", record_text},
          {"dead_letter", dead_letter},
          {"spool_life", spool_life},
          {"spool_recovery", spool_recovery},
          {"spool_damaged", spool_damaged},
          {"spool_torn", spool_torn},
          {"output_fluent_bit_program", output_fluent_bit_program}};
}

}  // namespace vek::test
