#include "RootedPath.h"

#include <gtest/gtest.h>

TEST(RootedPath, ShowsTheNameAndOpensItBelowTheRoot) {
    const RootedPath rooted("/tmp/bench", "/var/log/T2.log");
    EXPECT_EQ(rooted.Shown(), "/var/log/T2.log");
    EXPECT_EQ(rooted.Actual(), "/tmp/bench/var/log/T2.log");
    EXPECT_EQ(RootedPath("here/T2.log").Actual(), "here/T2.log");
}

TEST(RootedPath, TakesTheRootOutOfAMessageWhereverThePathStands) {
    const RootedPath rooted("/b", "/b/log");
    EXPECT_EQ(rooted.ShownIn("rename: \"/b/b/log.1\", \"/b/b/log.2\" in /b/other"),
              "rename: \"/b/log.1\", \"/b/log.2\" in /b/other");
    EXPECT_EQ(RootedPath("", "/b/log").ShownIn("open: /b/log"), "open: /b/log");
}
