#include "exporter/kix_exporter.h"

#include <new>
#include <string>

#include "tests/exporter/exporter_fixture.h"

// The collector's; the plug-in never looks into it.
namespace kix {
class ClientId {};
}  // namespace kix

namespace vek::test {
namespace {

using kix::ClientId;
using kix::exp::Exporter;
using kix::exp::ExporterSwitcher;

// The aggregator calls by slot, so the tests do too: a member function's first argument is the
// object, and the pointer at the object's start leads to the table.
template <typename Function>
Function slot(const void* object, size_t number) {
  void* const* table = *static_cast<void* const* const*>(object);
  return reinterpret_cast<Function>(table[number - 1]);
}

class VirtualTable : public ExporterTest {
 protected:
  FluentBitExportersArray array_{dir_.path(), 0};
};

TEST_F(VirtualTable, HasIdInSlot1) {
  using Id = std::string (*)(const void*);
  EXPECT_EQ(slot<Id>(&array_, 1)(&array_), "fluentbit");
}

TEST_F(VirtualTable, HasAppendsWithoutEffectInSlots2And3) {
  using Append = void (*)(void*, const ClientId*, const vek_type_system_t*, const vek_data_page_t*);
  using AppendKix = void (*)(void*, const ClientId*, const vek_data_page_t*, SchemaManager*);
  const ClientId client;
  log_.clear();
  slot<Append>(&array_, 2)(&array_, &client, nullptr, nullptr);
  slot<AppendKix>(&array_, 3)(&array_, &client, nullptr, nullptr);
  EXPECT_THAT(log_.lines(), ::testing::IsEmpty());
  EXPECT_THAT(engine().calls, ::testing::IsEmpty());
}

TEST_F(VirtualTable, HasTheSwitchInSlots4And5) {
  using IsEnabled = bool (*)(const void*);
  using SetEnabled = void (*)(void*, bool);
  FluentBitExportersArray other(dir_.path(), 0);
  EXPECT_TRUE(slot<IsEnabled>(&array_, 4)(&array_)) << "on from the start";
  slot<SetEnabled>(&array_, 5)(&array_, false);
  EXPECT_FALSE(slot<IsEnabled>(&array_, 4)(&array_));
  EXPECT_FALSE(other.isEnabled()) << "one flag for all objects of the class";
  slot<SetEnabled>(&other, 5)(&other, true);
  EXPECT_TRUE(array_.isEnabled());
}

TEST_F(VirtualTable, HasTheDestructorsInSlots6And7) {
  using Destructor = void (*)(void*);
  void* memory = ::operator new(sizeof(FluentBitExportersArray));
  auto* array = new (memory) FluentBitExportersArray(dir_.path(), 0);
  log_.clear();
  slot<Destructor>(array, 6)(array);
  EXPECT_EQ(log_.count(7, "[~FluentBitExportersArray]"), 1u);
  ::operator delete(memory);  // the complete-object destructor leaves the memory alone

  array = new FluentBitExportersArray(dir_.path(), 0);
  slot<Destructor>(array, 7)(array);  // and the deleting one does not: see LeakSanitizer
  EXPECT_EQ(log_.count(7, "[~FluentBitExportersArray]"), 2u);
}

TEST_F(VirtualTable, ServesThroughTheBaseClasses) {
  Exporter& exporter = array_;
  EXPECT_EQ(exporter.id(), "fluentbit");
  EXPECT_TRUE(exporter.isEnabled());
  ExporterSwitcher<FluentBitExportersArray>& switcher = array_;
  switcher.setEnabled(false);
  EXPECT_FALSE(exporter.isEnabled());
  switcher.setEnabled(true);
}

// The table lies at the object's start and one string follows: the collector derives from these.
TEST_F(VirtualTable, IsFollowedByOneString) {
  EXPECT_EQ(sizeof(ExporterSwitcher<FluentBitExportersArray>), sizeof(void*) + sizeof(std::string));
  EXPECT_EQ(static_cast<void*>(static_cast<Exporter*>(&array_)), static_cast<void*>(&array_));
}

}  // namespace
}  // namespace vek::test
