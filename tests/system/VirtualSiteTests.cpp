#include <gmock/gmock.h>

#include "VirtualSite.h"

TEST(RouterSeat, PlansBothEndsOfALink) {
    const struct {
        RouterSeat mSeat;
        const char* mBox;
        const char* mRouter;
    } rows[] = {
        {{0, 0x5002, 2}, "10.0.66.1", "10.0.66.254"},
        {{1, 0x5002, 2}, "10.0.98.2", "10.0.98.254"},
        {{1, 0x57FE, 31}, "10.255.255.2", "10.255.255.254"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.mSeat.BoxAddress(), row.mBox);
        EXPECT_EQ(row.mSeat.RouterAddress(), row.mRouter);
    }
}

TEST_F(SiteTest, X) {}
