// A counters block packed the straightforward way: one call of msgpack-c's packer for each piece.
//
// The rules of a record, put down a second time and as plainly as can be. Tests compare the real
// conversion with it byte for byte, and the benchmark compares their speed.
#ifndef VEK_TESTS_COUNTERS_PLAIN_PACKER_H
#define VEK_TESTS_COUNTERS_PLAIN_PACKER_H

#include <msgpack.h>

#include "counters/counter_set.h"

namespace vek::test {

// Same contract as vek_counter_block_to_msgpack_filtered, but takes no null.
void plain_pack(msgpack_sbuffer* out, const void* block, const vek_counter_set_t* set,
                const char* source, const char* layout);
// Behind what `out` holds already.
void plain_pack_into(msgpack_sbuffer* out, const void* block, const vek_counter_set_t* set,
                     const char* source, const char* layout);

}  // namespace vek::test

#endif  // VEK_TESTS_COUNTERS_PLAIN_PACKER_H
