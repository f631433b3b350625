// The tree itself: depth without bound, and memory that runs out at any point. An installed parson
// gives neither promise.
#ifndef VEK_HAVE_PARSON

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdlib>
#include <new>
#include <string>
#include <utility>

#include "tests/json/json_support.h"

namespace {

// Allocations left until one fails; negative: none fails.
thread_local long allocations_left = -1;

void* allocate(size_t size) {
  if (allocations_left == 0) throw std::bad_alloc();
  if (allocations_left > 0) allocations_left--;
  void* memory = std::malloc(size ? size : 1);
  if (!memory) throw std::bad_alloc();
  return memory;
}

}  // namespace

void* operator new(size_t size) { return allocate(size); }
void* operator new[](size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, size_t) noexcept { std::free(memory); }

namespace vek::test {
namespace {

const char* const kDocument =
    R"({"a long name that needs memory":["a long text that needs memory too",1,[[]],{"b":{}}],
        "k0":0,"k1":0,"k2":0,"k3":0,"k4":0,"k5":0,"k6":0,"k7":0,"k8":0,"k9":0,"k10":0,"k11":0,
        "k12":0,"k13":0,"k14":0,"k15":0,"k16":0,"k17":0,"k18":0,"k19":0})";

// Runs `call` with a first allocation that fails, then a second, until it does what it is for.
// Every failure must come as an answer, and nothing may be lost or changed by it.
template <typename Call>
void fail_each_allocation(Call&& call) {
  for (long allowed = 0; allowed < 10'000; allowed++) {
    allocations_left = allowed;
    const bool succeeded = call();
    allocations_left = -1;
    if (!succeeded) continue;
    EXPECT_GT(allowed, 0);
    return;
  }
  FAIL() << "never succeeded";
}

TEST(OutOfMemory, EndsParsingWithNull) {
  fail_each_allocation([] { return JsonValue(json_parse_string(kDocument)) != nullptr; });
}

TEST(OutOfMemory, EndsCopyingWithNull) {
  const auto source = parse(kDocument);
  fail_each_allocation([&] { return JsonValue(json_value_deep_copy(source.get())) != nullptr; });
}

TEST(OutOfMemory, EndsPrintingWithNull) {
  const auto value = parse(kDocument);
  fail_each_allocation([&] { return JsonText(json_serialize_to_string(value.get())) != nullptr; });
  fail_each_allocation(
      [&] { return JsonText(json_serialize_to_string_pretty(value.get())) != nullptr; });
}

TEST(OutOfMemory, EndsValidationWithFailure) {
  const auto shape = parse(R"({"a long name that needs memory":[],"k0":0,"k19":0})");
  const auto value = parse(kDocument);
  fail_each_allocation([&] { return json_validate(shape.get(), value.get()) == JSONSuccess; });
}

TEST(OutOfMemory, EndsTheMakingOfValuesWithNull) {
  fail_each_allocation([] { return JsonValue(json_value_init_object()) != nullptr; });
  fail_each_allocation([] { return JsonValue(json_value_init_array()) != nullptr; });
  fail_each_allocation([] { return JsonValue(json_value_init_null()) != nullptr; });
  fail_each_allocation(
      [] { return JsonValue(json_value_init_string("a long text that needs memory")) != nullptr; });
}

TEST(OutOfMemory, LeavesContainersAsTheyWere) {
  for (const int count : {0, 15, 16, 17, 31, 32, 63, 64}) {
    const JsonValue value(json_value_init_object());
    JSON_Object* object = json_value_get_object(value.get());
    for (int i = 0; i < count; i++) {
      json_object_set_number(object, ("key" + std::to_string(i)).c_str(), i);
    }
    fail_each_allocation([&] {
      const bool set = json_object_set_string(object, "a name that needs memory",
                                              "a text that needs memory") == JSONSuccess;
      const long left = std::exchange(allocations_left, -1);
      EXPECT_EQ(json_object_get_count(object), static_cast<size_t>(count + set));
      for (int i = 0; i < count; i++) {
        EXPECT_EQ(json_object_get_number(object, ("key" + std::to_string(i)).c_str()), i);
      }
      allocations_left = left;
      return set;
    });
  }
}

TEST(OutOfMemory, LeavesAValueWithTheCaller) {
  const JsonValue array(json_value_init_array());
  JsonValue element(json_value_init_number(1));
  fail_each_allocation([&] {
    return json_array_append_value(json_value_get_array(array.get()), element.get()) == JSONSuccess;
  });
  static_cast<void>(element.release());
  EXPECT_EQ(compact(array.get()), "[1]");
}

// Nested far deeper than the parser allows; objects and arrays in turn.
JsonValue nest(size_t depth) {
  JsonValue value(json_value_init_null());
  for (size_t i = 0; i < depth; i++) {
    JsonValue outer(i % 2 == 0 ? json_value_init_array() : json_value_init_object());
    const JSON_Status status =
        i % 2 == 0 ? json_array_append_value(json_value_get_array(outer.get()), value.get())
                   : json_object_set_value(json_value_get_object(outer.get()), "a", value.get());
    if (status == JSONSuccess) static_cast<void>(value.release());
    value = std::move(outer);
  }
  return value;
}

TEST(DeepTree, IsCopiedValidatedPrintedAndReleasedOnASmallStack) {
  constexpr size_t kDepth = 200'000;
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, size_t{256} * 1024), 0);
  pthread_t thread{};
  const auto body = [](void*) -> void* {
    const JsonValue value = nest(kDepth);
    const JsonValue copy(json_value_deep_copy(value.get()));
    EXPECT_EQ(json_validate(value.get(), copy.get()), JSONSuccess);
    EXPECT_EQ(compact(copy.get()), compact(value.get()));
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, body, nullptr), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

TEST(DeepTree, IsReleasedWithoutMemory) {
  JsonValue value = nest(1000);
  allocations_left = 0;
  value.reset();
  allocations_left = -1;
}

}  // namespace
}  // namespace vek::test

#endif  // VEK_HAVE_PARSON
