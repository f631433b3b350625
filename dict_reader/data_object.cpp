#include "dict_reader/data_object.h"

#include <typeinfo>

#include "dict_reader/data_object_pool.h"
#include "utils/logger.h"

namespace {

const std::string& textOf(const std::string* name) {
  static const std::string none;
  return name ? *name : none;
}

}  // namespace

static_assert(sizeof(StringDataObject) <= DataObjectPool::kLargestObject);
static_assert(sizeof(ContainerDataObject) <= DataObjectPool::kLargestObject);

DataObject::DataObject(const std::string* name, data_item_e type, bool owns_name)
    : name_(name), type_(type), owns_name_(owns_name) {}

DataObject::~DataObject() {
  if (owns_name_) delete name_;
}

void* DataObject::operator new(size_t size) {
  void* const memory = DataObjectPool::take(nullptr, size);
  if (!memory) throw std::bad_alloc();
  return memory;
}

void* DataObject::operator new(size_t size, const std::nothrow_t&) noexcept {
  return DataObjectPool::take(nullptr, size);
}

void* DataObject::operator new(size_t size, DataObjectPool* pool) noexcept {
  return DataObjectPool::take(pool, size);
}

void DataObject::operator delete(void* memory) noexcept { DataObjectPool::giveBack(memory); }

void DataObject::operator delete(void* memory, const std::nothrow_t&) noexcept {
  DataObjectPool::giveBack(memory);
}

void DataObject::operator delete(void* memory, DataObjectPool* /*pool*/) noexcept {
  DataObjectPool::giveBack(memory);
}

std::string DataObject::getHashName() const { return textOf(name_); }

StringDataObject::StringDataObject(const std::string* name, const std::string* value,
                                   bool owns_value, bool owns_name)
    : DataObject(name, DATA_ITEM_STRING, owns_name), value_(value), owns_value_(owns_value) {}

StringDataObject::StringDataObject(const std::string* name, const std::string* value,
                                   DataObjectPool* pool)
    : DataObject(name, DATA_ITEM_STRING, false),
      value_(value),
      owns_value_(true),
      value_pool_(pool) {}

StringDataObject::~StringDataObject() {
  if (owns_value_) DataObjectPool::giveBackText(value_pool_, value_);
}

ContainerDataObject* ContainerDataObject::from(DataObject* object) {
  return typeid(*object) == typeid(ContainerDataObject) ? static_cast<ContainerDataObject*>(object)
                                                        : nullptr;
}

ContainerDataObject::ContainerDataObject(const std::string* name, data_item_e type, bool owns_name)
    : DataObject(name, type, owns_name) {
  if (type != DATA_ITEM_DICT && type != DATA_ITEM_LIST) {
    VEK_LOGE("[vek_dictionary] initialized ContainerDataObject with invalid type");
  }
}

// A container's children move up to the list of those to be deleted before it is deleted itself:
// producers may nest deeper than any stack.
ContainerDataObject::~ContainerDataObject() {
  DataObject* pending = first_;
  while (pending) {
    DataObject* const object = pending;
    ContainerDataObject* const container = from(object);
    if (container && container->first_) {
      container->last_->next_ = object->next_;
      object->next_ = container->first_;
      container->first_ = container->last_ = nullptr;
    }
    pending = object->next_;
    delete object;
  }
}

bool ContainerDataObject::AddDataObject(DataObject* child) {
  if (!child) {
    VEK_LOGE("[vek_dictionary] cannot add NULL as a data object");
    return false;
  }
  child->parent_ = this;
  child->previous_ = last_;
  child->next_ = nullptr;
  (last_ ? last_->next_ : first_) = child;
  last_ = child;
  ++count_;
  return true;
}

std::string ContainerDataObject::getHashName() const {
  std::string text;
  for (const DataObject* child = first_; child; child = child->next_) {
    if (child != first_) text += '_';
    text.append(textOf(name())).append(1, '.').append(textOf(child->name()));
  }
  return text;
}

void ContainerDataObject::Remove(DataObject* child) {
  (child->previous_ ? child->previous_->next_ : first_) = child->next_;
  (child->next_ ? child->next_->previous_ : last_) = child->previous_;
  child->parent_ = nullptr;
  child->previous_ = child->next_ = nullptr;
  --count_;
}
