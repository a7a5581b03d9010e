#include <gmock/gmock.h>

#include "PrivateNetwork.h"
#include "Process.h"

using testing::HasSubstr;
using testing::Not;

namespace {

/// scripts/demo.sh beside a site of this build's programs.
class Demo {
  public:
    explicit Demo(const std::vector<std::string>& options) : mProcess(mFolder, "demo", Words(options), {}) {}

    Process& Script() { return mProcess; }

  private:
    std::vector<std::string> Words(const std::vector<std::string>& options) const {
        const std::string scripts = BRINDLET_SCRIPTS_DIR;
        std::vector<std::string> words{"bash",     scripts + "/site.sh",
                                       "--bin",    BRINDLET_BIN_DIR,
                                       "--beside", "bash '" + scripts + "/demo.sh'"};
        words.insert(words.end(), options.begin(), options.end());
        words.insert(words.end(), {"--root", mFolder / "root"});
        return words;
    }

    ScopedFolder mFolder;
    Process mProcess;
};

}  // namespace

TEST(Demo, TellsTheStoryToItsEndAndStopsAtWhatIsWrong) {
    if (!WhyNoPrivateNetwork().empty()) {
        GTEST_SKIP() << WhyNoPrivateNetwork();
    }
    Demo good({});
    good.Script().WaitForOutput("Router 0 dies");
    EXPECT_EQ(good.Script().WaitForEnd(), 0) << good.Script().Output();
    EXPECT_THAT(good.Script().Output(), HasSubstr("\nAll was as it should be"));

    Demo wrong({"--link0", "up 0x5002 2 adma 5"});
    EXPECT_EQ(wrong.Script().WaitForEnd(), 1);
    EXPECT_THAT(wrong.Script().Output(), HasSubstr("    expected: t1:7 t1:6 - - t1:5 "));
    EXPECT_THAT(wrong.Script().Output(), HasSubstr("    seen:     5:7 5:6 - - 5:5 "));
    EXPECT_THAT(wrong.Script().Output(), Not(HasSubstr("All was")));
}
