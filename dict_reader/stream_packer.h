// StreamPacker: one source and tag. Packs the values of its stream events as they arrive, without
// the tree that a DecoderContext builds of them.
//
// Record for record, line for line and answer for answer it does what a DecoderContext does whose
// callback packs each message with data_dict_pack_and_delete(): tests hold the two against each
// other. Only where memory runs out may they differ.
#ifndef VEK_DICT_READER_STREAM_PACKER_H
#define VEK_DICT_READER_STREAM_PACKER_H

#include <cstdint>

#include "data/byte_reader.h"
#include "data/opaque_runs.h"
#include "dict_reader/data_dict.h"
#include "dict_reader/dict_reader.h"
#include "dict_reader/dict_reader_utils.h"
#include "dict_reader/key_table.h"
#include "dict_reader/packed_record.h"
#include "dict_reader/stream_places.h"
#include "dict_reader/stream_plan.h"

// A refused event leaves the open record as it is; the producer's next events continue on it.
// OnID may throw std::bad_alloc, and OnEndDict and OnEndList what the callback throws.
class StreamPacker final : public DataDictionaryReader::DecoderContextInterface {
 public:
  // Of the user record, the context and send_root_only are meant.
  StreamPacker(const data_dict_reader_user_t& user, data_dict_record_callback_t callback)
      : user_context_(user.context), send_root_only_(user.send_root_only), callback_(callback) {}

  bool OnID(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnString(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnDouble(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnLong(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnBoolFalse(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnBoolTrue(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnNone(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnNewDict(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnEndDict(const void* data, uint32_t size) override;
  bool OnNewList(uint32_t key_id, const void* data, uint32_t size) override;
  bool OnEndList(const void* data, uint32_t size) override;
  bool OnNewCollection(const void* data, uint32_t size) override;
  bool wasStarted() const override { return started_; }

  // Whole opaque events in a row: the same as a call of a handler for each of those that it takes.
  // Stops in front of events that are not whole or that claim more data than they have.
  vek::OpaqueRunTaker::Taken takeRun(vek::Bytes events, uint64_t event_size);
  // The same with instructions that every processor of the kind has.
  vek::OpaqueRunTaker::Taken takeRunBaseline(vek::Bytes events, uint64_t event_size);

 private:
  friend class StreamRun;

  vek::OpaqueRunTaker::Taken takeRunOn(bool is_modern, vek::Bytes events, uint64_t event_size);
  // Whether a container is open: one of a record, or a list that only its dictionaries leave.
  bool isOpen() const { return record_.isOpen() || loose_lists_ > 0; }
  const std::string* name(uint32_t key_id);
  // Answers false after its message, which says `word`. `put` writes at most `room` bytes at the
  // position that it is given and answers the one behind them.
  template <typename Put>
  bool addValue(const char* word, uint32_t key_id, size_t room, Put put);
  template <typename Number, typename Put>
  bool addNumber(const char* word, uint32_t key_id, const void* data, uint32_t size, Put put);
  bool addByte(const char* word, uint32_t key_id, char byte);
  bool openContainer(const char* word, uint32_t key_id, bool is_dict);
  void putKey(const std::string* name);
  void endCollection();
  bool send();
  // Sends a record that has gone by its places to the end; begins the next one where both are
  // dictionaries. The same as OnEndDict and OnNewDict, in fewer steps.
  bool sendPlaced();
  void beginPlaced() noexcept;
  // Leaves the record as it would be if no place had been followed, and goes on by the plan.
  void settle() {
    if (places_.isFollowed()) leavePlaces();
  }
  void leavePlaces() noexcept;

  dict_reader_utils::IdToKeyMap id_to_key_;
  KeyTable keys_;
  PackedRecord record_;
  StreamPlan plan_;
  StreamPlaces places_;
  uint64_t loose_lists_ = 0;  // open lists around the record
  uint64_t timestamp_ = 0;
  bool started_ = false;
  dict_reader_user_ctx* user_context_;
  bool send_root_only_;
  data_dict_record_callback_t callback_;
};

#endif  // VEK_DICT_READER_STREAM_PACKER_H
