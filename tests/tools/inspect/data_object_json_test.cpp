#include "tools/inspect/data_object_json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace vek::tools {
namespace {

std::string* text(const char* value) { return new std::string(value); }

ContainerDataObject* container(const char* name, data_item_e type) {
  return new ContainerDataObject(name ? text(name) : nullptr, type, name != nullptr);
}

DataObject* string(const char* name, const char* value) {
  return new StringDataObject(text(name), text(value), true, true);
}

std::string json(const DataObject& root) {
  std::string out;
  append_json(root, out);
  return out;
}

TEST(DataObjectJson, WritesEveryKindOfValueInOrder) {
  const std::unique_ptr<ContainerDataObject> root(container(nullptr, DATA_ITEM_DICT));
  root->AddDataObject(string("s", "a\"b"));
  root->AddDataObject(new DoubleDataObject(text("d"), 2, true));
  root->AddDataObject(new LongDataObject(text("l"), -7, true));
  root->AddDataObject(new BoolDataObject(text("t"), true, true));
  root->AddDataObject(new BoolDataObject(text("f"), false, true));
  root->AddDataObject(new NoneDataObject(text("n"), true));
  EXPECT_EQ(json(*root), R"({"s":"a\"b","d":2.0,"l":-7,"t":true,"f":false,"n":null})");
}

TEST(DataObjectJson, NestsContainers) {
  const std::unique_ptr<ContainerDataObject> root(container("unused", DATA_ITEM_LIST));
  root->AddDataObject(container("empty", DATA_ITEM_DICT));
  ContainerDataObject* dict = container("dict", DATA_ITEM_DICT);
  root->AddDataObject(dict);
  ContainerDataObject* list = container("list", DATA_ITEM_LIST);
  dict->AddDataObject(list);
  list->AddDataObject(new LongDataObject(text("item"), 1, true));
  list->AddDataObject(container("item", DATA_ITEM_LIST));
  dict->AddDataObject(new LongDataObject(text("after"), 2, true));
  root->AddDataObject(new LongDataObject(text("item"), 3, true));
  EXPECT_EQ(json(*root), R"([{},{"list":[1,[]],"after":2},3])");
}

TEST(DataObjectJson, AnEmptyRootAndASingleValueAreWhole) {
  const std::unique_ptr<DataObject> list(container(nullptr, DATA_ITEM_LIST));
  EXPECT_EQ(json(*list), "[]");
  EXPECT_EQ(json(LongDataObject(nullptr, 5, false)), "5");
}

TEST(DataObjectJson, AChildWithoutANameStandsUnderTheEmptyKey) {
  const std::unique_ptr<ContainerDataObject> root(container(nullptr, DATA_ITEM_DICT));
  root->AddDataObject(container(nullptr, DATA_ITEM_DICT));
  EXPECT_EQ(json(*root), R"({"":{}})");
}

TEST(DataObjectJson, WhatJsonLacksIsNull) {
  EXPECT_EQ(json(DoubleDataObject(nullptr, NAN, false)), "null");
  EXPECT_EQ(json(DoubleDataObject(nullptr, INFINITY, false)), "null");
}

TEST(DataObjectJson, DepthCostsNoStack) {
  constexpr size_t kLevels = 200'000;
  const std::unique_ptr<ContainerDataObject> root(container(nullptr, DATA_ITEM_LIST));
  ContainerDataObject* innermost = root.get();
  for (size_t i = 1; i < kLevels; ++i) {
    ContainerDataObject* next = container(nullptr, DATA_ITEM_LIST);
    innermost->AddDataObject(next);
    innermost = next;
  }
  EXPECT_EQ(json(*root), std::string(kLevels, '[') + std::string(kLevels, ']'));
}

}  // namespace
}  // namespace vek::tools
