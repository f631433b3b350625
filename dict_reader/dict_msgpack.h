// Decoded dictionaries to msgpack: one message becomes [seconds, root].
//
// Values leave the tree while they are packed, so that the peak is one copy and not two.
#ifndef VEK_DICT_READER_DICT_MSGPACK_H
#define VEK_DICT_READER_DICT_MSGPACK_H

#include <msgpack.h>
#include <stdint.h>

#ifdef __cplusplus
#include <string>
#endif

#include "dict_reader/data_dict.h"
#include "utils/export.h"

VEK_C_BEGIN

// Non-zero on success; then the root container is empty. After a failure the buffer holds a cut
// record, and what was not packed is still in the tree. Message and root stay the caller's. The
// buffer is taken as fresh: what it held before is not freed. Its data is freed by the caller.
VEK_API uint32_t data_dict_pack_and_delete(const data_dict_message_t* message,
                                           msgpack_sbuffer* buffer);

VEK_C_END

#ifdef __cplusplus
// The pieces of the walk. The packer is bound during convert() only; outside it they may not be
// called.
class VEK_API DataDictToMsgpackConverter {
 public:
  explicit DataDictToMsgpackConverter(msgpack_sbuffer* buffer);
  ~DataDictToMsgpackConverter();
  DataDictToMsgpackConverter(const DataDictToMsgpackConverter&) = delete;
  DataDictToMsgpackConverter& operator=(const DataDictToMsgpackConverter&) = delete;

  bool convert(const data_dict_message_t* message);

 private:
  bool addAndDelete(DataObject* item);
  bool addAndDeleteDictItems(DataObject* container);
  bool addAndDeleteListItems(DataObject* container);
  bool addString(const DataObject* item);
  bool addDouble(const DataObject* item);
  bool addLong(const DataObject* item);
  bool addBool(const DataObject* item);
  bool addNull();
  bool packString(const std::string* text);

  msgpack_sbuffer* buffer_;
  msgpack_packer* packer_ = nullptr;
};
#endif

#endif  // VEK_DICT_READER_DICT_MSGPACK_H
