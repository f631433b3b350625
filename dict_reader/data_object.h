// Values of decoded dictionaries: a tree of DataObject, whose inner nodes are containers.
//
// Any object may be released with `delete`; a container releases everything below it, however deep
// the tree is, without recursion.
#ifndef VEK_DICT_READER_DATA_OBJECT_H
#define VEK_DICT_READER_DATA_OBJECT_H

#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include "utils/export.h"

class DataObjectPool;

enum data_item_e : uint32_t {
  DATA_ITEM_STRING = 1,
  DATA_ITEM_DOUBLE = 2,
  DATA_ITEM_LONG = 3,
  DATA_ITEM_BOOL = 4,
  DATA_ITEM_DICT = 5,
  DATA_ITEM_LIST = 6,
  DATA_ITEM_NONE = 7
};

class ContainerDataObject;

class VEK_API DataObject {
 public:
  virtual ~DataObject();
  DataObject(const DataObject&) = delete;
  DataObject& operator=(const DataObject&) = delete;

  static void* operator new(size_t size);
  static void* operator new(size_t size, const std::nothrow_t&) noexcept;
  // From the pool, to which `delete` gives it back; from the heap for a null pool.
  static void* operator new(size_t size, DataObjectPool* pool) noexcept;
  static void operator delete(void* memory) noexcept;
  static void operator delete(void* memory, const std::nothrow_t&) noexcept;
  static void operator delete(void* memory, DataObjectPool* pool) noexcept;

  // A text that is equal for values with the same names.
  virtual std::string getHashName() const;

  ContainerDataObject* parent() const { return parent_; }
  const std::string* name() const { return name_; }
  data_item_e type() const { return type_; }
  // The child behind this one in the same container, null for the last.
  DataObject* next() const { return next_; }

 protected:
  // `name` is the key, null for an item without one; deleted with the object when `owns_name`.
  DataObject(const std::string* name, data_item_e type, bool owns_name);

 private:
  friend class ContainerDataObject;

  ContainerDataObject* parent_ = nullptr;
  const std::string* name_;
  data_item_e type_;
  bool owns_name_;
  // The parent's list runs through its children, so that adding one takes no memory.
  DataObject* next_ = nullptr;
  DataObject* previous_ = nullptr;
};

class VEK_API StringDataObject final : public DataObject {
 public:
  // `value` is deleted with the object when `owns_value`.
  StringDataObject(const std::string* name, const std::string* value, bool owns_value,
                   bool owns_name);
  // The value came from the pool and goes back to it.
  StringDataObject(const std::string* name, const std::string* value, DataObjectPool* pool);
  ~StringDataObject() override;

  const std::string* value() const { return value_; }

 private:
  const std::string* value_;
  bool owns_value_;
  DataObjectPool* value_pool_ = nullptr;
};

class VEK_API LongDataObject final : public DataObject {
 public:
  LongDataObject(const std::string* name, int64_t value, bool owns_name)
      : DataObject(name, DATA_ITEM_LONG, owns_name), value_(value) {}

  int64_t value() const { return value_; }

 private:
  int64_t value_;
};

class VEK_API DoubleDataObject final : public DataObject {
 public:
  DoubleDataObject(const std::string* name, double value, bool owns_name)
      : DataObject(name, DATA_ITEM_DOUBLE, owns_name), value_(value) {}

  double value() const { return value_; }

 private:
  double value_;
};

class VEK_API BoolDataObject final : public DataObject {
 public:
  BoolDataObject(const std::string* name, bool value, bool owns_name)
      : DataObject(name, DATA_ITEM_BOOL, owns_name), value_(value) {}

  bool value() const { return value_; }

 private:
  bool value_;
};

class VEK_API NoneDataObject final : public DataObject {
 public:
  NoneDataObject(const std::string* name, bool owns_name)
      : DataObject(name, DATA_ITEM_NONE, owns_name) {}
};

class VEK_API ContainerDataObject final : public DataObject {
 public:
  // `type` is DATA_ITEM_DICT or DATA_ITEM_LIST; any other is logged and kept.
  ContainerDataObject(const std::string* name, data_item_e type, bool owns_name);
  // Releases the children.
  ~ContainerDataObject() override;

  // The object as the container that it is, null for any other value.
  static ContainerDataObject* from(DataObject* object);

  // Takes the child over and puts it at the end; false, with nothing taken, for null.
  bool AddDataObject(DataObject* child);

  // "<own name>.<child's name>" of each child, joined by "_"; values and grandchildren take no
  // part. Empty for an empty container.
  std::string getHashName() const override;

  DataObject* first() const { return first_; }
  DataObject* last() const { return last_; }
  uint64_t count() const { return count_; }

  // Takes a child of this container out; the caller owns it, and it has no parent any more.
  void Remove(DataObject* child);

 private:
  DataObject* first_ = nullptr;
  DataObject* last_ = nullptr;
  uint64_t count_ = 0;
};

#endif  // VEK_DICT_READER_DATA_OBJECT_H
