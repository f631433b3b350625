#include "dict_reader/data_dict.h"

#include <new>

#include "dict_reader/data_object.h"
#include "utils/logger.h"

data_dict_reader_user_t* data_dict_reader_user_init(void) {
  auto* const user = new (std::nothrow) data_dict_reader_user_t{};
  if (!user) {
    VEK_LOGE("Cannot allocate data_dict_reader_user_t");
    return nullptr;
  }
  user->release_messages = true;
  return user;
}

void data_dict_reader_user_destroy(data_dict_reader_user_t* user) { delete user; }

data_dict_message_t* data_dict_message_init(const char* source_id, const char* tag) {
  auto* const message = new (std::nothrow) data_dict_message_t{source_id, tag, nullptr, 0};
  if (!message) VEK_LOGE("Cannot allocate data_dict_message_t");
  return message;
}

void data_dict_message_destroy(const data_dict_message_t* message) {
  if (!message) return;
  delete message->root;
  delete message;
}
