// A fake of the Fluent Bit library: the functions that a host calls, with their manners.
#include <sys/eventfd.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstring>
#include <fstream>
#include <thread>

#include "tests/raw_msgpack_api/fake_fluent_bit/fake_receiver.h"

#define FAKE_API __attribute__((visibility("default")))

namespace {

struct Context {
  fake::Settings service;
  fake::Settings input;
  fake::Settings output;
  int stop_fd = -1;
  std::thread thread;
};

int set_all(fake::Settings& settings, va_list list) {
  while (const char* key = va_arg(list, const char*)) settings[key] = va_arg(list, const char*);
  return 0;
}

}  // namespace

extern "C" {

FAKE_API void* flb_create() { return new Context; }
FAKE_API void flb_destroy(void* context) { delete static_cast<Context*>(context); }

FAKE_API int flb_service_set(void* context, ...) {
  va_list list;
  va_start(list, context);
  const int result = set_all(static_cast<Context*>(context)->service, list);
  va_end(list);
  return result;
}

FAKE_API int flb_input(void*, const char* name, void*) {
  return std::strcmp(name, "forward") == 0 ? 0 : -1;
}

FAKE_API int flb_input_set(void* context, int id, ...) {
  va_list list;
  va_start(list, id);
  const int result = set_all(static_cast<Context*>(context)->input, list);
  va_end(list);
  return result;
}

FAKE_API int flb_output(void*, const char* name, void*) {
  return std::strcmp(name, "fake") == 0 ? 0 : -1;
}

FAKE_API int flb_output_set(void* context, int id, ...) {
  va_list list;
  va_start(list, id);
  const int result = set_all(static_cast<Context*>(context)->output, list);
  va_end(list);
  return result;
}

FAKE_API int flb_output_property_check(void*, int, char* key, char*) {
  return fake::is_known_property(key) ? 0 : -1;
}

FAKE_API int flb_start(void* handle) {
  auto* context = static_cast<Context*>(handle);
  signal(SIGPIPE, SIG_IGN);
  std::ofstream log(context->service.at("log_file"), std::ios::app);
  log << "[2026/01/02 03:04:05] [ info] [fluent bit] version=9.9.9\n";
  if (context->output.count("say")) {
    log << "[2026/01/02 03:04:05] [error] " << context->output.at("say") << '\n';
  }
  context->stop_fd = eventfd(0, EFD_CLOEXEC);
  context->thread = std::thread([context] {
    fake::serve(context->input.at("unix_path"), context->output, context->stop_fd, [] {});
  });
  return 0;
}

FAKE_API int flb_stop(void* handle) {
  auto* context = static_cast<Context*>(handle);
  eventfd_write(context->stop_fd, 1);
  context->thread.join();
  close(context->stop_fd);
  return 0;
}

#ifdef FAKE_FLUENT_BIT_IS_GREEDY
// As an allocator has it that wants to be there from the start.
__attribute__((tls_model("initial-exec"))) thread_local char fake_arena[1 << 16];
FAKE_API char* fake_allocate() { return fake_arena; }
#endif

#ifndef FAKE_FLUENT_BIT_IS_OLD
FAKE_API int flb_log_event_decoder_init() { return 0; }
#endif

}  // extern "C"
