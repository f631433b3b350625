#include "dict_reader/dict_event.h"

const char* python_event_type_to_string(python_event_type_t type) {
  switch (type) {
    case PYTHON_ID:
      return "PYTHON_ID";
    case PYTHON_STRING:
      return "PYTHON_STRING";
    case PYTHON_DOUBLE:
      return "PYTHON_DOUBLE";
    case PYTHON_LONG:
      return "PYTHON_LONG";
    case PYTHON_DICT_START:
      return "PYTHON_DICT_START";
    case PYTHON_DICT_END:
      return "PYTHON_DICT_END";
    case PYTHON_LIST_START:
      return "PYTHON_LIST_START";
    case PYTHON_LIST_END:
      return "PYTHON_LIST_END";
    case PYTHON_BOOL_FALSE:
      return "PYTHON_BOOL_FALSE";
    case PYTHON_BOOL_TRUE:
      return "PYTHON_BOOL_TRUE";
    case PYTHON_NEW_COLLECTION:
      return "PYTHON_NEW_COLLECTION";
    case PYTHON_NONE:
      return "PYTHON_NONE";
  }
  return "PYTHON_UNKNOWN";
}
