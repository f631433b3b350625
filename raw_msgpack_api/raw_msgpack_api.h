// The engine library: takes finished msgpack records and delivers them to one destination a
// context.
//
// Built as libraw_msgpack_api.so, which exports exactly these names. One context per destination;
// calls for one context come from one thread at a time, contexts are independent. Nothing throws,
// and add_data never waits longer than it takes to copy the records; with a spool, also for the
// disk that it writes them to.
//
// Records come in four shapes, back to back in one buffer: [seconds, map], a bare map,
// [seconds, array], and what an aggregated opaque event carries (any of these).
//
// Destinations: "stdout_raw" (each record as it stands, a line of JSON on standard output),
// "stdout" (a line per event, `[0] tag: [[1700000000.500000000, {}], {"key"=>value}]`), "file"
// (parameters "path", "file", "format" = json or msgpack; appends), "forward" (to a receiver of the
// Fluent Forward protocol at `host` and `port`, of which "0" is 24224; README.md has its
// parameters, of which it refuses those that it does not know even where others ignore them),
// "null" (counts, then forgets).
//
// Parameters, in any case, the last of equal names counts. With an effect on every destination:
// "Tag" (default: `kind`), "Alias" (name in log lines), "Mem_Buf_Limit" (bound of the records in
// memory, default 64M; beyond it the oldest are dropped), "vek.engine" (auto or builtin),
// "vek.grace" (seconds that finalize may take, default 5). With an effect on "forward":
// "storage.path" (folder of its spool on disk; without it nothing is written),
// "storage.total_limit_size" (bound of the spool, default 1G), "vek.fsync" (always, never, or
// milliseconds; default 1000). Accepted without effect, as any output
// of a log processor takes them: "Match", "Match_Regex", "Host", "Port", "Retry_Limit",
// "Log_Level", "Workers", "tls", "tls.*", "net.*", "storage.*". Any other name is refused by
// "init".
//
// The log level is VEK_RAW_MSGPACK_LOG_LEVEL (3 error, 4 warning, 6 info, 7 debug; 4 when unset or
// unreadable); lines go to standard error.
#ifndef VEK_RAW_MSGPACK_API_RAW_MSGPACK_API_H
#define VEK_RAW_MSGPACK_API_RAW_MSGPACK_API_H

#include <stddef.h>

#include "utils/export.h"
#include "utils/export_parameters.h"

VEK_C_BEGIN

// A new context, or null after an error line that says what is wrong and what works. `port` is
// decimal text; `params` is only read during the call; `kind` is "cntr" or "evnt".
VEK_API void* init(const char* plugin, const char* host, const char* port,
                   const fluentbit_export_parameters_t* params, const char* kind,
                   const char* second_tag);
// Copies the records and returns 0, or non-zero for a context that is null or finalized. A
// malformed record is counted, logged and dropped alone; where the msgpack itself is broken,
// nothing behind it in the same buffer can be told apart, and goes with it. In a forked child this
// and finalize do nothing and answer 0.
VEK_API int add_data(void* context, const void* data, size_t size);
// Flushes, releases the context and returns 0; what could not be sent goes to the spool, where
// there is one, for which it may take a second more than the grace. Non-zero when sound records had
// to be given up at any time since "init", and for a context that is null or finalized already.
VEK_API int finalize(void* context);
// One JSON object, NUL-terminated, into out[0..size): "accepted", "delivered", "spooled", "queued",
// "dropped" (reason to count), "mended", "clamped" (times that a receiver could not be told),
// "retried" (records sent again), "bytes" (of msgpack delivered). At every moment
// accepted = delivered + spooled + queued + the sum of dropped. "spooled" are records that wait on
// disk; once they are taken from there to be sent they count as "queued", in flight, though the
// disk has them until they arrived. Records that a former run left in the spool count as accepted
// from "init" on. Returns the text's full length, like snprintf, or -1 for a null context. May be
// called from any thread until "finalize".
VEK_API int raw_msgpack_api_stats(void* context, char* out, size_t size);
// The accounts of all contexts that this process ever had, in the order of their "init", for tools
// that watch a host from outside: a JSON array of objects with "name" (the "Alias", else the
// output's), "output", "finalized" and "account" (as raw_msgpack_api_stats; the last one, where it
// is finalized). Into out[0..size) like the above, -1 when memory runs out. May be called from any
// thread at any time.
VEK_API int raw_msgpack_api_ledger(char* out, size_t size);

VEK_C_END

#endif  // VEK_RAW_MSGPACK_API_RAW_MSGPACK_API_H
