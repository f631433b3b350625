// RecordReader: the records of one buffer that the plug-in hands to its engine, as JSON, with the
// fields that a receiver sees.
#ifndef VEK_TOOLS_CONVERSION_RECORD_READER_H
#define VEK_TOOLS_CONVERSION_RECORD_READER_H

#include <string>
#include <string_view>
#include <vector>

#include "data/byte_reader.h"
#include "tools/config/exported_names.h"

namespace vek::tools {

struct SeenField {
  std::string name;
  ValueKind kind = ValueKind::kInteger;
  bool is_nan = false;
  std::string text;  // of texts: the value
};

class RecordReader {
 public:
  static constexpr int kDeepest = 1000;  // what nests deeper is not read

  explicit RecordReader(Bytes buffer) : rest_(buffer) {}

  // The next record, replacing what `json` and fields() held. False at the end, and where the
  // buffer cannot be read further, which is_broken() tells apart. A map at the buffer's end that
  // announces more pairs than there are is closed, as the engine does.
  bool next(std::string& json);
  bool is_broken() const { return is_broken_; }

  // The record's fields: the pairs of its map, and those of "values" in it.
  const std::vector<SeenField>& fields() const { return fields_; }
  // The text of a field; empty where there is none.
  std::string_view text_of(std::string_view name) const;

 private:
  struct Head;

  bool value(std::string& out, int depth, SeenField* seen);
  bool container(const Head& head, std::string& out, int depth);
  bool map(uint64_t pairs, std::string& out, int depth);
  bool array(uint64_t count, std::string& out, int depth);
  bool scalar(const Head& head, std::string& out, SeenField* seen);
  bool read_head(Head& head);
  bool take_number(size_t size, uint64_t& out);

  Bytes rest_;
  bool is_broken_ = false;
  int fields_depth_ = 0;  // of the pairs that are fields; 0: none yet
  std::vector<SeenField> fields_;
};

}  // namespace vek::tools

#endif  // VEK_TOOLS_CONVERSION_RECORD_READER_H
