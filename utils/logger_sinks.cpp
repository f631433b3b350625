// Choosing the sink, setting up the mutex, and sharing the logger between host and plug-in.
#include <syslog.h>

#include <cctype>
#include <cstdlib>
#include <cstring>

#include "utils/environment.h"
#include "utils/logger_state.h"

namespace vek::logger {

namespace {

constexpr const char* kMutexSetUp = "_vek_init_logger_mutex";

pthread_mutex_t own_mutex;
bool own_mutex_ready = false;

// An empty value counts as none, and none as on.
bool wants_thread_safety() noexcept {
  const char* value = lookup_environment("VEK_LOG_THREAD_SAFE", "LOG_THREAD_SAFE");
  if (!value || *value == '\0') return true;
  const int first = std::tolower(static_cast<unsigned char>(*value));
  return first == 'y' || first == '1' || first == 't';
}

bool create_own_mutex() noexcept {
  if (own_mutex_ready) return true;
  if (pthread_mutex_init(&own_mutex, nullptr) != 0) return false;
  if (std::atexit(vek_logger_cleanup_mutex_exit_handler) != 0) {
    pthread_mutex_destroy(&own_mutex);
    return false;
  }
  own_mutex_ready = true;
  return true;
}

bool refuse_when_registered(const char* function) noexcept {
  if (is_registered) VEK_LOGD("[logger] [%s] registered logger cannot initialize logger", function);
  return is_registered;
}

void set_sink(vek_logger_type_t type, std::FILE* stream, uint32_t level) noexcept {
  if (type != VEK_LOGGER_SYSLOG) state.stream = stream;
  state.type = type;
  vek_log_level = level;
}

bool finish_initialisation(const char* function) noexcept {
  set_up_mutex();
  if (!state.mutex) VEK_LOGD("[logger] [%s] Initialized logger without thread-safety", function);
  return true;
}

vek_logger_ctx_t current_context() noexcept {
  vek_logger_ctx_t context{};
  context.type = state.type;
  if (state.type == VEK_LOGGER_FUNCTION) context.log_func = state.function;
  if (state.type == VEK_LOGGER_STDERR || state.type == VEK_LOGGER_FILE) {
    context.stream = state.stream;
  }
  context.level = vek_log_level;
  context.mutex = state.mutex;
  return context;
}

bool same(const vek_logger_ctx_t& a, const vek_logger_ctx_t& b) noexcept {
  return a.type == b.type && a.stream == b.stream && a.log_func == b.log_func &&
         a.level == b.level && a.mutex == b.mutex;
}

}  // namespace

void set_up_mutex() noexcept {
  if (!wants_thread_safety()) {
    VEK_LOGD("[logger] [%s] Thread safety is disabled by environment variable VEK_LOG_THREAD_SAFE",
             kMutexSetUp);
    if (!is_registered) state.mutex = nullptr;
    return;
  }
  if (is_registered || state.mutex) return;
  if (!create_own_mutex()) {
    VEK_LOGE("[logger] [%s] failed to initialize logger mutex", kMutexSetUp);
    return;
  }
  state.mutex = &own_mutex;
}

}  // namespace vek::logger

using namespace vek::logger;

bool vek_init_stderr_logger(uint32_t level) {
  if (refuse_when_registered("vek_init_stderr_logger")) return false;
  set_sink(VEK_LOGGER_STDERR, stderr, level);
  return finish_initialisation("vek_init_stderr_logger");
}

bool vek_init_file_logger(const char* path, uint32_t level) {
  if (refuse_when_registered("vek_init_file_logger")) return false;
  vek_close_logger();
  std::FILE* file = path ? std::fopen(path, "we") : nullptr;
  if (!file) {
    vek_init_stderr_logger(level);
    return false;
  }
  state.opened_file = file;
  set_sink(VEK_LOGGER_FILE, file, level);
  return finish_initialisation("vek_init_file_logger");
}

bool vek_init_syslog_logger(const char* ident, uint32_t level) {
  if (refuse_when_registered("vek_init_syslog_logger")) return false;
  // syslog keeps the pointer, while callers are free to pass text that does not last.
  static char kept_ident[128];
  if (ident) (void)std::snprintf(kept_ident, sizeof kept_ident, "%s", ident);
  openlog(ident ? kept_ident : nullptr, LOG_CONS | LOG_PID, LOG_DAEMON);
  set_sink(VEK_LOGGER_SYSLOG, nullptr, level);
  return finish_initialisation("vek_init_syslog_logger");
}

void vek_close_logger(void) {
  if (is_registered) {
    VEK_LOGD("[logger] [%s] tried closing a registered logger, skipping closure",
             "vek_close_logger");
    return;
  }
  if (state.type == VEK_LOGGER_SYSLOG) closelog();
  if (state.opened_file) {
    std::FILE* file = state.opened_file;
    state.opened_file = nullptr;
    state.stream = nullptr;
    (void)std::fclose(file);
  }
  vek_init_stderr_logger(vek_log_level);
}

vek_logger_ctx_t* vek_get_logger_ctx(void) {
  auto* context = static_cast<vek_logger_ctx_t*>(std::malloc(sizeof(vek_logger_ctx_t)));
  if (context) *context = current_context();
  return context;
}

void vek_destroy_logger_ctx(vek_logger_ctx_t* context) { std::free(context); }

bool _vek_register_logger(const vek_logger_ctx_t* context) {
  if (!context) return false;
  if (same(*context, current_context())) return true;
  state.mutex = context->mutex;
  is_registered = true;
  state.type = context->type;
  vek_log_level = context->level;
  if (context->type == VEK_LOGGER_FUNCTION) state.function = context->log_func;
  if (context->type == VEK_LOGGER_STDERR || context->type == VEK_LOGGER_FILE) {
    state.stream = context->stream;
  }
  return true;
}

void vek_logger_cleanup_mutex_exit_handler(void) {
  if (is_registered || !own_mutex_ready) return;
  state.mutex = nullptr;
  own_mutex_ready = false;
  pthread_mutex_destroy(&own_mutex);
}
