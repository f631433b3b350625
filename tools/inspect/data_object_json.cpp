#include "tools/inspect/data_object_json.h"

#include "utils/json_scalars.h"

namespace vek::tools {
namespace {

bool is_container(const DataObject& item) {
  return item.type() == DATA_ITEM_DICT || item.type() == DATA_ITEM_LIST;
}

char opening(const DataObject& item) { return item.type() == DATA_ITEM_DICT ? '{' : '['; }
char closing(const DataObject& item) { return item.type() == DATA_ITEM_DICT ? '}' : ']'; }

void append_scalar(const DataObject& item, std::string& out) {
  switch (item.type()) {
    case DATA_ITEM_STRING: {
      const std::string* value = static_cast<const StringDataObject&>(item).value();
      append_json_string(value ? *value : std::string(), out);
      break;
    }
    case DATA_ITEM_DOUBLE:
      append_json_double(static_cast<const DoubleDataObject&>(item).value(), out);
      break;
    case DATA_ITEM_LONG:
      append_json_signed(static_cast<const LongDataObject&>(item).value(), out);
      break;
    case DATA_ITEM_BOOL:
      out += static_cast<const BoolDataObject&>(item).value() ? "true" : "false";
      break;
    default:
      out += "null";
      break;
  }
}

void append_key(const DataObject& item, std::string& out) {
  append_json_string(item.name() ? *item.name() : std::string(), out);
  out += ':';
}

}  // namespace

void append_json(const DataObject& root, std::string& out) {
  const DataObject* item = &root;
  for (;;) {
    if (item != &root && item->parent()->type() == DATA_ITEM_DICT) append_key(*item, out);
    if (is_container(*item)) {
      out += opening(*item);
      if (const DataObject* first = static_cast<const ContainerDataObject*>(item)->first()) {
        item = first;
        continue;
      }
      out += closing(*item);
    } else {
      append_scalar(*item, out);
    }
    // Up to the next item that was not written yet.
    while (item != &root && !item->next()) {
      item = item->parent();
      out += closing(*item);
    }
    if (item == &root) return;
    out += ',';
    item = item->next();
  }
}

}  // namespace vek::tools
