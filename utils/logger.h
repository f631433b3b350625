// The process-wide logger.
//
// A message has a priority (syslog numbering) and a printf-style format. It goes to standard error,
// a file, syslog, or a function that the host registered; a plug-in can adopt its host's logger
// wholesale, so that both write through the same sink under the same mutex.
//
// Level and thread safety come from the environment: VEK_API_LOG_LEVEL (else API_LOG_LEVEL) is
// parsed with "%d"; VEK_LOG_THREAD_SAFE (else LOG_THREAD_SAFE) turns the mutex off when its first
// letter is none of y, 1, t.
//
// Threads: the write of one line is serialised; level and sink are plain variables that are set
// at start-up, before other threads log.
#ifndef VEK_UTILS_LOGGER_H
#define VEK_UTILS_LOGGER_H

#include <pthread.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#include "utils/export.h"

#define VEK_LOG_ERROR 3
#define VEK_LOG_WARNING 4
#define VEK_LOG_INFO 6
#define VEK_LOG_DEBUG 7

// vek_log_level before the first message or the first explicit initialisation.
#define VEK_LOG_LEVEL_UNSET 0xFFFFFFFFu

VEK_C_BEGIN

typedef void (*vek_log_func_t)(int priority, const char* format, ...);

typedef enum vek_logger_type {
  VEK_LOGGER_STDERR = 0,
  VEK_LOGGER_SYSLOG = 1,
  VEK_LOGGER_FILE = 2,
  VEK_LOGGER_FUNCTION = 3
} vek_logger_type_t;

// The state that a host hands to a plug-in so that both share one logger.
typedef struct vek_logger_ctx {
  uint32_t type;            // vek_logger_type_t
  FILE* stream;             // types 0 and 2 only
  vek_log_func_t log_func;  // type 3 only
  uint32_t level;
  pthread_mutex_t* mutex;  // null: no thread safety
} vek_logger_ctx_t;

// A message of priority p is emitted when p <= vek_log_level.
VEK_API extern uint32_t vek_log_level;
// True once this module adopted a logger context from elsewhere.
VEK_API extern bool is_registered;

// Writes one line to the current sink; callers go through VEK_LOG, which checks the level first.
VEK_API void _vek_log(int priority, const char* format, ...) __attribute__((format(printf, 2, 3)));

VEK_API void vek_dump_timestamp_logger(FILE* stream);
VEK_API const char* vek_priority_level_string_logger(int priority);

// Returns the previous level.
VEK_API uint32_t vek_set_log_level(uint32_t level);
VEK_API void vek_set_log_func(vek_log_func_t function, uint32_t level);
VEK_API vek_log_func_t vek_get_log_func(void);

VEK_API void __vek_init_logger_default(void);
VEK_API bool vek_init_stderr_logger(uint32_t level);
VEK_API bool vek_init_file_logger(const char* path, uint32_t level);
VEK_API bool vek_init_syslog_logger(const char* ident, uint32_t level);
VEK_API void vek_close_logger(void);

// A new context, freed with vek_destroy_logger_ctx; null when out of memory.
VEK_API vek_logger_ctx_t* vek_get_logger_ctx(void);
VEK_API void vek_destroy_logger_ctx(vek_logger_ctx_t* context);
VEK_API bool _vek_register_logger(const vek_logger_ctx_t* context);
VEK_API void vek_logger_cleanup_mutex_exit_handler(void);

// Debug-level hex dump, 16 bytes a line.
VEK_API void log_hex(const void* bytes, size_t length);

VEK_C_END

// True when a message of this priority would be emitted; initialises the logger on first use.
#define VEK_LOG_ENABLED(priority)                                                  \
  ((vek_log_level == VEK_LOG_LEVEL_UNSET ? __vek_init_logger_default() : (void)0), \
   (uint32_t)(priority) <= vek_log_level)

// VEK_LOG(priority, format, arguments...): arguments are not evaluated for suppressed messages.
#define VEK_LOG(priority, ...)                                 \
  do {                                                         \
    if (VEK_LOG_ENABLED(priority)) {                           \
      const vek_log_func_t vek_log_func_ = vek_get_log_func(); \
      if (vek_log_func_) {                                     \
        vek_log_func_((priority), __VA_ARGS__);                \
      } else {                                                 \
        _vek_log((priority), __VA_ARGS__);                     \
      }                                                        \
    }                                                          \
  } while (0)

#define VEK_LOGE(...) VEK_LOG(VEK_LOG_ERROR, __VA_ARGS__)
#define VEK_LOGW(...) VEK_LOG(VEK_LOG_WARNING, __VA_ARGS__)
#define VEK_LOGI(...) VEK_LOG(VEK_LOG_INFO, __VA_ARGS__)
#define VEK_LOGD(...) VEK_LOG(VEK_LOG_DEBUG, __VA_ARGS__)

#endif  // VEK_UTILS_LOGGER_H
