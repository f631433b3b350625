#include "raw_msgpack_api/account.h"

#include "raw_msgpack_api/json_scalars.h"

namespace vek::engine {
namespace {

void append_member(const char* name, uint64_t value, std::string& out) {
  if (out.back() != '{') out += ',';
  append_json_string(name, out);
  out += ':';
  append_json_unsigned(value, out);
}

}  // namespace

uint64_t Account::given_up() const {
  uint64_t sum = 0;
  for (size_t i = 0; i < dropped.size(); ++i) {
    if (!kDropReasons[i].is_malformed) sum += dropped[i];
  }
  return sum;
}

uint64_t Account::dropped_sum() const {
  uint64_t sum = 0;
  for (const uint64_t count : dropped) sum += count;
  return sum;
}

std::string account_json(const Account& account) {
  std::string out = "{";
  append_member("accepted", account.accepted, out);
  append_member("delivered", account.delivered, out);
  append_member("spooled", account.spooled, out);
  append_member("queued", account.queued, out);
  out += ",\"dropped\":{";
  for (size_t i = 0; i < account.dropped.size(); ++i) {
    if (account.dropped[i] > 0) append_member(kDropReasons[i].name, account.dropped[i], out);
  }
  out += '}';
  append_member("mended", account.mended, out);
  append_member("clamped", account.clamped, out);
  append_member("retried", account.retried, out);
  append_member("bytes", account.bytes, out);
  out += '}';
  return out;
}

}  // namespace vek::engine
