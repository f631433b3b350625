// Decoded dictionaries to msgpack: one message becomes [seconds, root].
//
// Values leave the tree while they are packed, so that the peak is one copy and not two.
#ifndef VEK_DICT_READER_DICT_MSGPACK_H
#define VEK_DICT_READER_DICT_MSGPACK_H

#include <msgpack.h>
#include <stdint.h>

#include "dict_reader/data_dict.h"
#ifdef __cplusplus
#include "dict_reader/data_object.h"
#endif
#include "utils/export.h"

VEK_C_BEGIN

// Non-zero on success; then the root container is empty. After a failure the buffer holds a cut
// record, and what was not packed is still in the tree. Message and root stay the caller's. The
// buffer is taken as fresh: what it held before is not freed. Its data is freed by the caller.
VEK_API uint32_t data_dict_pack_and_delete(const data_dict_message_t* message,
                                           msgpack_sbuffer* buffer);

VEK_C_END

#ifdef __cplusplus
class VEK_API DataDictToMsgpackConverter {
 public:
  explicit DataDictToMsgpackConverter(msgpack_sbuffer* buffer);
  ~DataDictToMsgpackConverter();
  DataDictToMsgpackConverter(const DataDictToMsgpackConverter&) = delete;
  DataDictToMsgpackConverter& operator=(const DataDictToMsgpackConverter&) = delete;

  // False after a message, and when memory ran out under the record.
  bool convert(const data_dict_message_t* message);

 private:
  bool convertRoot(DataObject* root);
  bool addAndDelete(DataObject* item);
  bool addAndDeleteDictItems(ContainerDataObject* dict);
  bool addAndDeleteListItems(ContainerDataObject* list);
  bool addAndDeleteItems(ContainerDataObject* root);
  bool addString(const StringDataObject* item);
  bool addDouble(const DoubleDataObject* item);
  bool addLong(const LongDataObject* item);
  bool addBool(const BoolDataObject* item);
  bool addNull();
  bool packString(const std::string* text);
  void packHeader(const ContainerDataObject* container);
  // A record with a gap would be taken for another one.
  void note(int result) { complete_ &= result == 0; }

  msgpack_sbuffer* buffer_;
  msgpack_packer* packer_ = nullptr;  // bound during convert()
  bool complete_ = true;              // nothing was lost for lack of memory
};
#endif

#endif  // VEK_DICT_READER_DICT_MSGPACK_H
