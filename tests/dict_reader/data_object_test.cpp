#include "dict_reader/data_object.h"

#include <memory>

#include "tests/dict_reader/dict_fixture.h"

namespace vek::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Which objects were deleted, in order.
std::vector<std::string> g_deleted;

class Told final : public DataObject {
 public:
  explicit Told(const std::string* name) : DataObject(name, DATA_ITEM_NONE, false) {}
  ~Told() override { g_deleted.push_back(*name()); }
};

const std::string kA = "a";
const std::string kB = "b";
const std::string kC = "c";

TEST(DataObject, CarriesNameTypeAndValue) {
  const std::string text = "text";
  const StringDataObject string(&kA, &text, false, false);
  EXPECT_EQ(string.type(), DATA_ITEM_STRING);
  EXPECT_EQ(string.value(), &text);
  EXPECT_EQ(string.name(), &kA);
  EXPECT_EQ(string.parent(), nullptr);
  const LongDataObject integer(nullptr, INT64_MIN, false);
  EXPECT_EQ(integer.type(), DATA_ITEM_LONG);
  EXPECT_EQ(integer.value(), INT64_MIN);
  EXPECT_EQ(integer.name(), nullptr);
  const DoubleDataObject real(&kA, -0.5, false);
  EXPECT_EQ(real.type(), DATA_ITEM_DOUBLE);
  EXPECT_EQ(real.value(), -0.5);
  const BoolDataObject boolean(&kA, true, false);
  EXPECT_EQ(boolean.type(), DATA_ITEM_BOOL);
  EXPECT_TRUE(boolean.value());
  EXPECT_EQ(NoneDataObject(&kA, false).type(), DATA_ITEM_NONE);
}

TEST(DataObject, TypesHaveTheirNumbers) {
  EXPECT_THAT(
      (std::vector<uint32_t>{DATA_ITEM_STRING, DATA_ITEM_DOUBLE, DATA_ITEM_LONG, DATA_ITEM_BOOL,
                             DATA_ITEM_DICT, DATA_ITEM_LIST, DATA_ITEM_NONE}),
      ElementsAre(1, 2, 3, 4, 5, 6, 7));
}

// What is owned and not released, or released and not owned, is for the sanitizer to find.
TEST(DataObject, ReleasesWhatItOwns) {
  delete new LongDataObject(new std::string(100, 'n'), 1, true);
  delete new StringDataObject(&kA, new std::string(100, 'v'), true, false);
  const std::string borrowed(100, 'v');
  delete new StringDataObject(new std::string("n"), &borrowed, false, true);
  EXPECT_EQ(borrowed.size(), 100u);
}

TEST(DataObject, HashNameIsTheName) {
  EXPECT_EQ(LongDataObject(&kA, 1, false).getHashName(), "a");
  EXPECT_EQ(NoneDataObject(nullptr, false).getHashName(), "");
}

TEST(ContainerDataObject, KeepsChildrenInTheirOrder) {
  ContainerDataObject container(&kC, DATA_ITEM_DICT, false);
  EXPECT_EQ(container.count(), 0u);
  EXPECT_TRUE(container.AddDataObject(new LongDataObject(&kB, 1, false)));
  EXPECT_TRUE(container.AddDataObject(new BoolDataObject(&kA, false, false)));
  EXPECT_TRUE(container.AddDataObject(new NoneDataObject(nullptr, false)));
  EXPECT_EQ(container.count(), 3u);
  EXPECT_EQ(text_of(&container), "{\"b\":1,\"a\":false,(none):none}");
  EXPECT_EQ(container.first()->parent(), &container);
  EXPECT_EQ(container.last()->type(), DATA_ITEM_NONE);
}

TEST(ContainerDataObject, HashNameJoinsTheNamesOfItsChildren) {
  ContainerDataObject container(&kC, DATA_ITEM_DICT, false);
  EXPECT_EQ(container.getHashName(), "");
  container.AddDataObject(new LongDataObject(&kA, 1, false));
  EXPECT_EQ(container.getHashName(), "c.a");
  auto* const inner = new ContainerDataObject(&kB, DATA_ITEM_DICT, false);
  inner->AddDataObject(new LongDataObject(&kA, 2, false));
  container.AddDataObject(inner);
  EXPECT_EQ(container.getHashName(), "c.a_c.b") << "grandchildren take no part";
  EXPECT_EQ(inner->getHashName(), "b.a");
  container.AddDataObject(new NoneDataObject(nullptr, false));
  EXPECT_EQ(container.getHashName(), "c.a_c.b_c.");
}

TEST(ContainerDataObject, IsReachedThroughTheBase) {
  const std::unique_ptr<DataObject> object =
      std::make_unique<ContainerDataObject>(&kC, DATA_ITEM_LIST, false);
  auto* const container = ContainerDataObject::from(object.get());
  ASSERT_TRUE(container);
  container->AddDataObject(new LongDataObject(&kA, 1, false));
  EXPECT_EQ(object->getHashName(), "c.a");
  EXPECT_EQ(ContainerDataObject::from(container->first()), nullptr);
}

TEST(ContainerDataObject, RefusesNull) {
  const LogCapture log;
  ContainerDataObject container(&kC, DATA_ITEM_DICT, false);
  EXPECT_FALSE(container.AddDataObject(nullptr));
  EXPECT_EQ(container.count(), 0u);
  EXPECT_THAT(log.errors(), ElementsAre("[vek_dictionary] cannot add NULL as a data object"));
}

TEST(ContainerDataObject, ReportsATypeThatIsNoContainersAndIsBuiltAllTheSame) {
  const LogCapture log;
  for (const data_item_e type : {DATA_ITEM_DICT, DATA_ITEM_LIST}) {
    const ContainerDataObject sound(nullptr, type, false);
    EXPECT_EQ(sound.type(), type);
  }
  EXPECT_THAT(log.lines(), IsEmpty());
  ContainerDataObject container(&kC, DATA_ITEM_LONG, false);
  EXPECT_THAT(log.errors(),
              ElementsAre("[vek_dictionary] initialized ContainerDataObject with invalid type"));
  EXPECT_EQ(container.type(), DATA_ITEM_LONG);
  EXPECT_TRUE(container.AddDataObject(new LongDataObject(&kA, 1, false)));
}

TEST(ContainerDataObject, ReleasesEverythingBelowIt) {
  g_deleted.clear();
  {
    ContainerDataObject root(nullptr, DATA_ITEM_LIST, false);
    auto* const inner = new ContainerDataObject(nullptr, DATA_ITEM_DICT, false);
    auto* const odd = new ContainerDataObject(nullptr, DATA_ITEM_NONE, false);
    root.AddDataObject(inner);
    root.AddDataObject(new Told(&kC));
    inner->AddDataObject(new Told(&kA));
    inner->AddDataObject(odd);
    odd->AddDataObject(new Told(&kB));
    inner->AddDataObject(new ContainerDataObject(nullptr, DATA_ITEM_LIST, false));
  }
  EXPECT_THAT(g_deleted, ElementsAre("a", "b", "c"));
}

TEST(ContainerDataObject, LetsGoOfChildren) {
  ContainerDataObject list(nullptr, DATA_ITEM_LIST, false);
  for (int i = 1; i <= 4; ++i) list.AddDataObject(new LongDataObject(nullptr, i, false));
  const auto take = [&list](DataObject* child) {
    list.Remove(child);
    EXPECT_EQ(child->parent(), nullptr);
    EXPECT_EQ(child->next(), nullptr);
    delete child;
    return text_of(&list) + std::to_string(list.count());
  };
  EXPECT_EQ(take(list.first()->next()), "[1,3,4]3");
  EXPECT_EQ(take(list.last()), "[1,3]2");
  EXPECT_EQ(take(list.first()), "[3]1");
  EXPECT_EQ(take(list.first()), "[]0");
  EXPECT_EQ(list.last(), nullptr);
  list.AddDataObject(new LongDataObject(nullptr, 5, false));
  EXPECT_EQ(text_of(&list), "[5]");
}

TEST(ContainerDataObject, DepthIsNoMatterToItsRelease) {
  g_deleted.clear();
  auto root = std::make_unique<ContainerDataObject>(nullptr, DATA_ITEM_DICT, false);
  ContainerDataObject* at = root.get();
  for (int i = 0; i < 200'000; ++i) {
    auto* const inner =
        new ContainerDataObject(nullptr, i % 2 ? DATA_ITEM_DICT : DATA_ITEM_LIST, false);
    at->AddDataObject(inner);
    at = inner;
  }
  at->AddDataObject(new Told(&kA));
  root.reset();
  EXPECT_THAT(g_deleted, ElementsAre("a"));
}

}  // namespace
}  // namespace vek::test
