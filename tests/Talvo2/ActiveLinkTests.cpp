#include "ActiveLink.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

namespace {

constexpr unsigned kRouter = 1;
constexpr unsigned kPassive = 5;

struct Step {
    std::function<ActiveLink::Outcome(ActiveLink&)> mHappens;
    int mActive;
    bool mIsSet;
    bool mIsAnnounced;
};

Step Claim(int link, int active, bool isSet) {
    return {[link](ActiveLink& links) { return links.OnClaim(link); }, active, isSet, isSet};
}

Step Found(int link, unsigned type, int active) {
    return {[link, type](ActiveLink& links) {
                links.OnFound(link, type);
                return ActiveLink::Outcome();
            },
            active, false, false};
}

Step Swap(int link) {
    return {[link](ActiveLink& links) { return links.OnSwap(link); }, link, true, false};
}

Step Fail(int link, bool otherIsUp, int active, bool isSet) {
    return {[=](ActiveLink& links) { return links.OnFail(link, otherIsUp); }, active, isSet, false};
}

Step Lost(int link, bool otherIsUp, int active, bool isSet) {
    return {[=](ActiveLink& links) { return links.OnLost(link, otherIsUp); }, active, isSet,
            isSet && active != kNoLink};
}

Step Stream(int link, int active, bool isSet) {
    return {[link](ActiveLink& links) { return links.OnStream(link); }, active, isSet, isSet};
}

}  // namespace

TEST(ActiveLinkDecision, FollowsWhatHappensOnTheLinks) {
    constexpr bool kUp = true;
    const struct {
        const char* mName;
        std::vector<Step> mSteps;
    } rows[] = {
        {"the first claim counts, the other one is remembered",
         {Claim(0, 0, true), Claim(1, 0, false), Lost(0, kUp, 1, true)}},
        {"a swap is obeyed whatever was active, and isn't announced",
         {Claim(0, 0, true), Swap(1), Swap(1), Swap(0)}},
        {"a failing router hands over to one that wants the box",
         {Claim(0, 0, true), Claim(1, 0, false), Fail(0, kUp, 1, true)}},
        {"a failing router whose other side isn't heard leaves none",
         {Claim(0, 0, true), Claim(1, 0, false), Fail(0, !kUp, kNoLink, true)}},
        {"a failing router whose other side doesn't want the box leaves none",
         {Claim(0, 0, true), Fail(0, kUp, kNoLink, true), Claim(1, 1, true)}},
        {"a failure on the other link changes its flag alone",
         {Claim(0, 0, true), Claim(1, 0, false), Fail(1, kUp, 0, false), Lost(0, kUp, kNoLink, true)}},
        {"a loss hands over to a router that is heard",
         {Found(0, kRouter, kNoLink), Found(1, kRouter, kNoLink), Stream(0, 0, true), Lost(0, kUp, 1, true),
          Lost(1, !kUp, kNoLink, true)}},
        {"a passive device doesn't want the box by being heard",
         {Found(1, kPassive, kNoLink), Claim(0, 0, true), Lost(0, kUp, kNoLink, true)}},
        {"a loss on the other link changes its flag alone",
         {Claim(1, 1, true), Claim(0, 1, false), Lost(0, kUp, 1, false), Fail(1, kUp, kNoLink, true)}},
        {"a stream is taken where there is no active link", {Stream(1, 1, true), Stream(0, 1, false)}},
        {"a lost link comes back by its claim",
         {Claim(0, 0, true), Lost(0, !kUp, kNoLink, true), Claim(0, 0, true)}},
    };
    for (const auto& row : rows) {
        ActiveLink links;
        for (std::size_t step = 0; step < row.mSteps.size(); ++step) {
            const Step& expected = row.mSteps[step];
            const ActiveLink::Outcome outcome = expected.mHappens(links);
            const std::string place = std::string(row.mName) + ", step " + std::to_string(step);
            EXPECT_EQ(links.Get(), expected.mActive) << place;
            EXPECT_EQ(outcome.mIsSet, expected.mIsSet) << place;
            EXPECT_EQ(outcome.mIsAnnounced, expected.mIsAnnounced) << place;
        }
    }
}
