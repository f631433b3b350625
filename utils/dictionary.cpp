// The order in which entries are enumerated, copied and dumped is the bucket order, so hash,
// probing and in-place growth are part of what callers see and must stay as they are.
#include "utils/dictionary.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "utils/logger.h"
#include "utils/owned.h"

namespace {

constexpr uint32_t kSmallestBucketCount = 4;
constexpr uint32_t kLargestBucketCount = 1u << 30;
constexpr uint32_t kNoBucket = 0xFFFFFFFFu;

constexpr uint32_t kDeletedBit = 1;
constexpr uint32_t kEmptyBit = 2;
constexpr int kAllEmpty = 0xAA;  // fills a byte of flags with "empty"

uint32_t hash_of(const char* key) {
  auto byte = [&key] { return static_cast<uint32_t>(static_cast<unsigned char>(*key)); };
  uint32_t hash = byte();
  if (hash == 0) return 0;
  for (++key; *key; ++key) hash = hash * 31 + byte();
  return hash;
}

uint32_t shift_of(uint32_t bucket) { return (bucket & 15u) * 2; }

uint32_t flags_at(const uint32_t* flags, uint32_t bucket) {
  return (flags[bucket >> 4] >> shift_of(bucket)) & 3u;
}

bool is_empty(const uint32_t* flags, uint32_t bucket) {
  return (flags_at(flags, bucket) & kEmptyBit) != 0;
}

bool is_live(const uint32_t* flags, uint32_t bucket) { return flags_at(flags, bucket) == 0; }

void set_flags(uint32_t* flags, uint32_t bucket, uint32_t value) {
  uint32_t& word = flags[bucket >> 4];
  word = (word & ~(3u << shift_of(bucket))) | (value << shift_of(bucket));
}

size_t flag_bytes(uint32_t bucket_count) {
  return (bucket_count < 16 ? 1 : bucket_count >> 4) * sizeof(uint32_t);
}

uint32_t threshold_of(uint32_t bucket_count) {
  return static_cast<uint32_t>(std::floor(bucket_count * 0.77 + 0.5));
}

// Walks the buckets in which a key may lie: the i-th retry moves i buckets further.
class Probe {
 public:
  Probe(const char* key, uint32_t bucket_count)
      : mask_(bucket_count - 1), start_(hash_of(key) & mask_), bucket_(start_) {}

  uint32_t bucket() const { return bucket_; }
  // False once the walk is back where it started.
  bool next() {
    bucket_ = (bucket_ + ++step_) & mask_;
    return bucket_ != start_;
  }

 private:
  uint32_t mask_;
  uint32_t start_;
  uint32_t bucket_;
  uint32_t step_ = 0;
};

uint32_t find(const vek_dict_table_t& table, const char* key) {
  if (table.bucket_count == 0) return kNoBucket;
  Probe probe(key, table.bucket_count);
  do {
    const uint32_t bucket = probe.bucket();
    if (is_empty(table.slot_flags, bucket)) return kNoBucket;
    if (is_live(table.slot_flags, bucket) && std::strcmp(table.keys[bucket], key) == 0) {
      return bucket;
    }
  } while (probe.next());
  return kNoBucket;
}

// Moves every live entry to its place among bucket_count buckets, within the same arrays: an entry
// that takes the place of one not yet moved hands that one on.
void rehash_in_place(vek_dict_table_t& table, uint32_t* new_flags, uint32_t bucket_count) {
  for (uint32_t from = 0; from < table.bucket_count; ++from) {
    if (!is_live(table.slot_flags, from)) continue;
    char* key = table.keys[from];
    char* value = table.values[from];
    set_flags(table.slot_flags, from, kDeletedBit);
    for (bool carrying = true; carrying;) {
      Probe probe(key, bucket_count);
      while (!is_empty(new_flags, probe.bucket())) probe.next();
      const uint32_t to = probe.bucket();
      set_flags(new_flags, to, 0);
      carrying = to < table.bucket_count && is_live(table.slot_flags, to);
      if (carrying) {
        std::swap(key, table.keys[to]);
        std::swap(value, table.values[to]);
        set_flags(table.slot_flags, to, kDeletedBit);
      } else {
        table.keys[to] = key;
        table.values[to] = value;
      }
    }
  }
}

bool resize_strings(char*** strings, uint32_t bucket_count) {
  auto* resized = static_cast<char**>(std::realloc(*strings, bucket_count * sizeof(char*)));
  if (resized) *strings = resized;
  return resized != nullptr;
}

// Makes room for one more entry. Deleted slots are dropped on the way; a table that holds mostly
// those is rebuilt at the size it has.
bool rebuild(vek_dict_table_t& table) {
  uint32_t bucket_count = table.bucket_count;
  if (bucket_count == 0) {
    bucket_count = kSmallestBucketCount;
  } else if (table.live_count >= bucket_count / 2) {
    if (bucket_count >= kLargestBucketCount) return false;
    bucket_count *= 2;
  }
  const size_t flags_size = flag_bytes(bucket_count);
  vek::Malloced<uint32_t> flags(static_cast<uint32_t*>(std::malloc(flags_size)));
  if (!flags) return false;
  std::memset(flags.get(), kAllEmpty, flags_size);
  // Arrays that have grown behind an unchanged bucket_count do no harm when the second one fails.
  if (!resize_strings(&table.keys, bucket_count)) return false;
  if (!resize_strings(&table.values, bucket_count)) return false;

  rehash_in_place(table, flags.get(), bucket_count);
  std::free(table.slot_flags);
  table.slot_flags = flags.release();
  table.bucket_count = bucket_count;
  table.used_count = table.live_count;
  table.grow_threshold = threshold_of(bucket_count);
  return true;
}

// The bucket for a key that is not in the table: the last deleted slot on its way, else the empty
// one at its end.
uint32_t free_bucket_for(const vek_dict_table_t& table, const char* key) {
  uint32_t deleted = kNoBucket;
  Probe probe(key, table.bucket_count);
  do {
    const uint32_t bucket = probe.bucket();
    if (is_empty(table.slot_flags, bucket)) return deleted == kNoBucket ? bucket : deleted;
    if (!is_live(table.slot_flags, bucket)) deleted = bucket;
  } while (probe.next());
  return deleted;
}

bool insert(vek_dict_table_t& table, vek::CString key, vek::CString value) {
  if (table.used_count >= table.grow_threshold && !rebuild(table)) return false;
  const uint32_t bucket = free_bucket_for(table, key.get());
  if (bucket == kNoBucket) return false;
  if (is_empty(table.slot_flags, bucket)) ++table.used_count;
  ++table.live_count;
  set_flags(table.slot_flags, bucket, 0);
  table.keys[bucket] = key.release();
  table.values[bucket] = value.release();
  return true;
}

bool add_to(const char* key, const char* value, void* copy) {
  return vek_dict_add(static_cast<vek_dict_t*>(copy), key, value);
}

bool dump_entry(const char* key, const char* value, void* /*context*/) {
  VEK_LOGD("key=%s  val=%s", key, value);
  return true;
}

}  // namespace

vek_dict_t* vek_dict_create(void) {
  vek::Malloced<vek_dict_t> dict(static_cast<vek_dict_t*>(std::calloc(1, sizeof(vek_dict_t))));
  if (!dict) return nullptr;
  dict->table = static_cast<vek_dict_table_t*>(std::calloc(1, sizeof(vek_dict_table_t)));
  return dict->table ? dict.release() : nullptr;
}

bool vek_dict_add(vek_dict_t* dict, const char* key, const char* value) {
  if (!dict || !dict->table || !key || !value) return false;
  vek::CString key_copy(strdup(key));
  vek::CString value_copy(strdup(value));
  if (!key_copy || !value_copy) return false;

  const uint32_t bucket = find(*dict->table, key);
  if (bucket == kNoBucket) {
    return insert(*dict->table, std::move(key_copy), std::move(value_copy));
  }
  std::free(dict->table->values[bucket]);
  dict->table->values[bucket] = value_copy.release();
  return true;
}

const char* vek_dict_get(const vek_dict_t* dict, const char* key) {
  if (!dict || !dict->table || !key) return nullptr;
  const uint32_t bucket = find(*dict->table, key);
  return bucket == kNoBucket ? nullptr : dict->table->values[bucket];
}

void vek_dict_delete(vek_dict_t* dict) {
  if (!dict) return;
  if (vek_dict_table_t* table = dict->table) {
    for (uint32_t i = 0; i < table->bucket_count; ++i) {
      if (!is_live(table->slot_flags, i)) continue;
      std::free(table->keys[i]);
      std::free(table->values[i]);
    }
    std::free(static_cast<void*>(table->keys));
    std::free(static_cast<void*>(table->values));
    std::free(table->slot_flags);
    std::free(table);
  }
  std::free(dict);
}

vek_dict_t* vek_dict_dup(const vek_dict_t* dict) {
  if (!dict) return nullptr;
  vek::Owned<vek_dict_t, vek_dict_delete> copy(vek_dict_create());
  if (!copy || !vek_dict_enum(dict, add_to, copy.get())) return nullptr;
  return copy.release();
}

bool vek_dict_enum(const vek_dict_t* dict, vek_dict_callback_t callback, void* context) {
  if (!dict || !dict->table || !callback) return true;
  const vek_dict_table_t& table = *dict->table;
  for (uint32_t i = 0; i < table.bucket_count; ++i) {
    if (!is_live(table.slot_flags, i)) continue;
    if (!callback(table.keys[i], table.values[i], context)) return false;
  }
  return true;
}

void vek_dict_dump(const vek_dict_t* dict, const char* title) {
  VEK_LOGD("%s map values: ", title ? title : "");
  vek_dict_enum(dict, dump_entry, nullptr);
}
