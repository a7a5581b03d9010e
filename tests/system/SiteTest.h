#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "PrivateNetwork.h"
#include "VirtualSite.h"

/// For tests that need the links: skips, with the reason, where the machine allows none.
class SiteTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!WhyNoPrivateNetwork().empty()) {
            GTEST_SKIP() << WhyNoPrivateNetwork();
        }
        mSite = std::make_unique<VirtualSite>();
    }

  private:
    std::unique_ptr<VirtualSite> mSite;
};
