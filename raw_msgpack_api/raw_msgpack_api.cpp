#include "raw_msgpack_api/raw_msgpack_api.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "raw_msgpack_api/account.h"
#include "raw_msgpack_api/context.h"
#include "raw_msgpack_api/json_scalars.h"
#include "utils/keep_errno.h"
#include "utils/logger.h"

namespace {

using vek::engine::Account;
using vek::engine::account_json;
using vek::engine::Context;

// What "init" hands out. Handles stay valid for ever: a host may finalize a context again, or add
// to it, after it was released (the plug-in does, when a finalize reported a loss), and must then
// meet an error instead of freed memory.
struct Handle {
  std::unique_ptr<Context> context;
  unsigned owner = 0;  // of forks(): a forked child shares neither the thread nor the locks' owners
  std::string name;
  std::string output;
  Account last_account;  // once it was finalized
};

// How often this process and those before it forked, down from the first that loaded this library.
// A call of getpid() for each record would cost more than the rest of add_data.
std::atomic<unsigned>& forks() {
  static std::atomic<unsigned> count{0};
  static const int registered =
      pthread_atfork(nullptr, nullptr, [] { forks().fetch_add(1, std::memory_order_relaxed); });
  (void)registered;
  return count;
}

unsigned this_process() { return forks().load(std::memory_order_relaxed); }

// Guards the list, and the contexts in it against being released while the ledger is written.
std::mutex& handles_mutex() {
  static auto& mutex = *new std::mutex;
  return mutex;
}

std::deque<Handle>& handles() {
  static auto& all = *new std::deque<Handle>;  // never destroyed: hosts may outlive statics
  return all;
}

Handle* new_handle(std::unique_ptr<Context> context, std::string_view output) {
  const std::lock_guard lock(handles_mutex());
  Handle& handle = handles().emplace_back();
  handle.name = context->name();
  handle.output = output;
  handle.context = std::move(context);
  handle.owner = this_process();
  return &handle;
}

void retire(Handle& handle) {
  std::unique_ptr<Context> done;  // goes without the lock
  const std::lock_guard lock(handles_mutex());
  handle.last_account = handle.context->account();
  done = std::move(handle.context);
}

std::string ledger_json() {
  std::string out = "[";
  const std::lock_guard lock(handles_mutex());
  for (const Handle& handle : handles()) {
    if (handle.owner != this_process()) continue;
    if (out.size() > 1) out += ',';
    out += "{\"name\":";
    vek::engine::append_json_string(handle.name, out);
    out += ",\"output\":";
    vek::engine::append_json_string(handle.output, out);
    out += handle.context ? ",\"finalized\":false" : ",\"finalized\":true";
    out += ",\"account\":" +
           account_json(handle.context ? handle.context->account() : handle.last_account) + "}";
  }
  return out + "]";
}

// As snprintf: what fits, terminated, and the full length.
int hand_out(const std::string& text, char* out, size_t size) {
  if (out && size > 0) {
    const size_t length = std::min(text.size(), size - 1);
    std::memcpy(out, text.data(), length);
    out[length] = '\0';
  }
  return static_cast<int>(text.size());
}

bool is_foreign(const Handle& handle) { return handle.owner != this_process(); }

// VEK_RAW_MSGPACK_LOG_LEVEL decides how much this library says, whatever the plug-in's level is.
void start_logger() {
  static const bool started = [] {
    if (vek_log_level != VEK_LOG_LEVEL_UNSET) return true;
    uint32_t level = VEK_LOG_WARNING;
    if (const char* text = std::getenv("VEK_RAW_MSGPACK_LOG_LEVEL")) {
      char* end = nullptr;
      const unsigned long number = std::strtoul(text, &end, 10);
      if (end != text && *end == '\0' && number <= VEK_LOG_DEBUG) {
        level = static_cast<uint32_t>(number);
      }
    }
    return vek_init_stderr_logger(level);
  }();
  (void)started;
}

}  // namespace

void* init(const char* plugin, const char* host, const char* port,
           const fluentbit_export_parameters_t* params, const char* kind, const char* second_tag) {
  (void)second_tag;
  const vek::KeepErrno errno_kept;
  try {
    start_logger();
    const vek::engine::Parameters parameters(params);
    const auto text = [](const char* given) { return given ? given : ""; };
    auto context =
        vek::engine::make_context({text(plugin), text(host), text(port), text(kind)}, parameters);
    return context ? new_handle(std::move(context), text(plugin)) : nullptr;
  } catch (const std::exception& error) {
    VEK_LOGE("[raw msgpack API] cannot start output '%s': %s", plugin ? plugin : "", error.what());
  } catch (...) {
    VEK_LOGE("[raw msgpack API] cannot start output '%s'", plugin ? plugin : "");
  }
  return nullptr;
}

int add_data(void* context, const void* data, size_t size) {
  const vek::KeepErrno errno_kept;
  auto* handle = static_cast<Handle*>(context);
  if (!handle || (!data && size > 0)) return -1;
  if (is_foreign(*handle)) return 0;
  if (!handle->context) return -1;
  if (size > 0) handle->context->add({static_cast<const uint8_t*>(data), size});
  return 0;
}

int finalize(void* context) {
  const vek::KeepErrno errno_kept;
  auto* handle = static_cast<Handle*>(context);
  if (!handle) return -1;
  if (is_foreign(*handle)) return 0;
  if (!handle->context) return -1;
  const bool all_arrived = handle->context->finish();
  retire(*handle);
  return all_arrived ? 0 : 1;
}

int raw_msgpack_api_stats(void* context, char* out, size_t size) {
  const vek::KeepErrno errno_kept;
  auto* handle = static_cast<Handle*>(context);
  if (!handle || is_foreign(*handle) || !handle->context) return -1;
  try {
    return hand_out(account_json(handle->context->account()), out, size);
  } catch (const std::exception&) {
    return -1;
  }
}

int raw_msgpack_api_ledger(char* out, size_t size) {
  const vek::KeepErrno errno_kept;
  try {
    return hand_out(ledger_json(), out, size);
  } catch (const std::exception&) {
    return -1;
  }
}
