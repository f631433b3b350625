// What a user of the dictionary reader gives it and gets from it: the user record and messages.
#ifndef VEK_DICT_READER_DATA_DICT_H
#define VEK_DICT_READER_DATA_DICT_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#include "utils/export.h"

#ifdef __cplusplus
class DataObject;
#else
typedef struct DataObject DataObject;
#endif

VEK_C_BEGIN

// One finished dictionary or list.
typedef struct data_dict_message {
  const char* source_id;  // borrowed from the decoder context
  const char* tag;        // likewise
  DataObject* root;       // owned; its names are borrowed from the decoder context
  uint64_t timestamp;     // of the collection, in microseconds since the Unix epoch
} data_dict_message_t;

// Opaque to the reader: handed back as the first argument of the callback.
typedef struct dict_reader_user_ctx dict_reader_user_ctx;

// True = handled; false fails the page.
typedef bool (*data_dict_callback_t)(dict_reader_user_ctx* context,
                                     const data_dict_message_t* message);

// The bytes of one finished dictionary or list, as data_dict_pack_and_delete() makes them; lent for
// the call. Null when memory ran out under them. The answer means the same.
typedef bool (*data_dict_record_callback_t)(dict_reader_user_ctx* context, const void* record,
                                            size_t size);

typedef struct data_dict_reader_user {
  data_dict_callback_t callback;
  dict_reader_user_ctx* context;
  // False: every outermost dictionary is a message, also one inside a root list, and root lists
  // are not sent. True: only whole root containers are messages.
  bool send_root_only;
  // True: the message lives for the call only. False: the callback owns it and destroys it with
  // data_dict_message_destroy, on any thread; its texts and names live as long as the reader.
  bool release_messages;
} data_dict_reader_user_t;

// No callback, no context, send_root_only false, release_messages true. Null when out of memory.
VEK_API data_dict_reader_user_t* data_dict_reader_user_init(void);
VEK_API void data_dict_reader_user_destroy(data_dict_reader_user_t* user);

// A message without root and with timestamp 0; both texts are borrowed. Null when out of memory.
VEK_API data_dict_message_t* data_dict_message_init(const char* source_id, const char* tag);
// Deletes the root with everything below it, then the message. Accepts null.
VEK_API void data_dict_message_destroy(const data_dict_message_t* message);

VEK_C_END

#endif  // VEK_DICT_READER_DATA_DICT_H
