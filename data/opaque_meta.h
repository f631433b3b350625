// The meta data of an extended event's start: NUL-terminated "key=value" texts, back to back.
#ifndef VEK_DATA_OPAQUE_META_H
#define VEK_DATA_OPAQUE_META_H

#include "data/byte_reader.h"
#include "utils/dictionary.h"
#include "utils/owned.h"

namespace vek {

using OwnedOptions = Owned<vek_custom_options, vek_dict_delete>;

// Null, with the reason logged, for a text without a key and when memory runs out. The last text
// may end with the bytes instead of a NUL. A key that comes twice keeps its last value.
OwnedOptions read_opaque_meta(Bytes meta) noexcept;

}  // namespace vek

#endif  // VEK_DATA_OPAQUE_META_H
