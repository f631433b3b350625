#include "dict_reader/dict_event.h"

#include <gtest/gtest.h>

namespace vek {
namespace {

TEST(DictEvent, TypesHaveTheirNames) {
  const char* const names[] = {"PYTHON_ID",         "PYTHON_STRING",         "PYTHON_DOUBLE",
                               "PYTHON_LONG",       "PYTHON_DICT_START",     "PYTHON_DICT_END",
                               "PYTHON_LIST_START", "PYTHON_LIST_END",       "PYTHON_BOOL_FALSE",
                               "PYTHON_BOOL_TRUE",  "PYTHON_NEW_COLLECTION", "PYTHON_NONE"};
  for (uint32_t i = 0; i < std::size(names); ++i) {
    EXPECT_STREQ(python_event_type_to_string(static_cast<python_event_type_t>(i)), names[i]);
  }
  for (const uint32_t value : {12u, 256u, 0xFFFFFFFFu}) {
    EXPECT_STREQ(python_event_type_to_string(static_cast<python_event_type_t>(value)),
                 "PYTHON_UNKNOWN");
  }
}

TEST(DictEvent, TheSecondWordHoldsTheKeyIdBelowTheType) {
  const uint64_t word = packDictEventWord(PYTHON_NONE, 0xFEDCBA98u);
  EXPECT_EQ(word, 0x0000000BFEDCBA98u);
  EXPECT_EQ(keyIdOfDictEventWord(word), 0xFEDCBA98u);
  EXPECT_EQ(typeOfDictEventWord(word), PYTHON_NONE);
  EXPECT_EQ(static_cast<uint32_t>(typeOfDictEventWord(0x8000000000000000u)), 0x80000000u);
}

}  // namespace
}  // namespace vek
