#include "Node.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>

#include "ActionN.h"
#include "RootNode.h"

namespace {

auto Named(const std::string& name, const std::string& description = "") {
    return cmd::action::MakeAction(
        name, [] {}, description);
}

TEST(CommandTree, FindsWholePathsAloneAndKeepsTheLatestActionAndTheFirstNodeOfAName) {
    cmd::NodeManager::RootNode root;
    for (const char* const name : {"dc_volts", "late"}) {
        root.AddAction(Named("adcrst", name));
        const auto power = std::make_shared<cmd::Node>("");
        power->AddAction("power", {Named(name)});
        root.AddChild(power);
    }
    root.AddAction("//clock/source", {Named("show")});
    root.AddAction("//clock/source", {Named("set")});
    for (const char* const path : {"//adcrst", "//power/dc_volts", "//clock/source/show"}) {
        EXPECT_NE(root.Find(path), nullptr) << path;
    }
    for (const char* const path :
         {"//tower/dc_volts", "//powers/dc_volts", "//ad", "//adcrsts", "//dc_volts", "//power/", "//power",
          "//power/dc_volts/", "//power//dc_volts", "//clock/show", "adcrst", "/", "//", ""}) {
        EXPECT_EQ(root.Find(path), nullptr) << path;
    }
    EXPECT_EQ(root.Find("//adcrst")->Brief(), "late");
    root.SetTreeListing(true);
    std::ostringstream tree;
    root.Write(tree);
    EXPECT_EQ(tree.str(),
              "//\n  adcrst\n    clock/\n      source/\n        set\n        show\n"
              "    power/\n      dc_volts\n");
}

}  // namespace
