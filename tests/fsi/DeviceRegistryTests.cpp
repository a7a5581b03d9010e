#include <gtest/gtest.h>

#include "DeviceRegistry.h"
#include "DeviceRegistryView.h"

namespace {

class Plain : public fsi::Fsi {};
class Special : public fsi::Fsi {};

}  // namespace

TEST(DeviceRegistry, RefusesASecondDeviceOfANameAndAViewHoldsThoseOfItsTypeAsTheyWere) {
    fsi::DeviceRegistry registry;
    const auto t2 = registry.Add<Special>("t2");
    registry.Add<Plain>("gpio");
    registry.Add<Special>("adcins");
    EXPECT_EQ(registry.Add<Special>("t2"), nullptr);
    EXPECT_FALSE(registry.Insert("b", t2)) << "the same device under another name";
    const fsi::DeviceRegistryView<Special> view(&registry);
    registry.Add<Special>("late");
    std::vector<std::string> names;
    for (const auto& [name, device] : view) {
        names.push_back(name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"adcins", "t2"}));
    EXPECT_EQ(view.Find("t2"), t2);
    EXPECT_EQ(view.Find("gpio"), nullptr);
}
