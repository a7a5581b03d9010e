#include <gtest/gtest.h>

#include "DeviceRegistry.h"
#include "DeviceRegistryView.h"

namespace {

class Plain : public fsi::Fsi {};

class Numbered {
  public:
    explicit Numbered(int number) : mNumber(number) {}
    virtual ~Numbered() = default;
    int mNumber;
};

class NumberedFsi : public Numbered, public fsi::Fsi {
  public:
    using Numbered::Numbered;
};

}  // namespace

TEST(DeviceRegistry, RefusesASecondDeviceOfAName) {
    fsi::DeviceRegistry registry;
    const auto first = registry.Add<NumberedFsi>("a", 1);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(registry.Add<NumberedFsi>("a", 2), nullptr);
    EXPECT_FALSE(registry.Insert("b", first)) << "the same device under another name";
    ASSERT_EQ(registry.InNameOrder().size(), 1U);
    EXPECT_EQ(registry.InNameOrder().at("a"), first);
}

TEST(DeviceRegistryView, HoldsTheDevicesOfItsTypeInNameOrderAsTheyWere) {
    fsi::DeviceRegistry registry;
    registry.Add<NumberedFsi>("t2", 2);
    registry.Add<Plain>("gpio");
    registry.Add<NumberedFsi>("adcins", 1);
    const fsi::DeviceRegistryView<Numbered> view(&registry);
    registry.Add<NumberedFsi>("late", 3);

    std::vector<std::string> names;
    for (const auto& [name, device] : view) {
        names.push_back(name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"adcins", "t2"}));
    EXPECT_EQ(view.Find("t2")->mNumber, 2);
    EXPECT_EQ(view.Find("gpio"), nullptr);
    EXPECT_EQ(view.Find("late"), nullptr);
}
