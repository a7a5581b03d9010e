#include <gmock/gmock.h>

#include <boost/asio/post.hpp>
#include <future>
#include <regex>
#include <sstream>

#include "Audit.h"
#include "RemoteAuditor.h"
#include "ShellFixture.h"

namespace {

/// A shell whose log is the process's, and whose clients tail it from the start. Each command is logged as it
/// comes and as it is answered.
class LogTailing : public ShellFixture {
  protected:
    LogTailing() {
        auto auditor = std::make_unique<cmd::RemoteAuditor>(mShell, "", "/dev/null");
        auditor->SetTailOnConnect(true);
        Audit::SetInstance(std::move(auditor));
        mShell.SetOnReceived(
            [](const std::string& line) { AUDIT(Feature::Information, "<%s>\n", line.c_str()); });
        mShell.SetOnSent([](const std::string& command, const std::string& reply) {
            Audit::Instance().OutputLong(Feature::Information, command + "=" + reply);
        });
        testing::internal::CaptureStdout();
    }

    ~LogTailing() override {
        StopShell();
        Audit::DestroyInstance();
        testing::internal::GetCapturedStdout();
    }
};

std::string WithoutTimeStamps(const std::string& text) {
    return std::regex_replace(text, std::regex(R"(\[\d\d/\d\d/\d\d \d\d:\d\d:\d\d\] )"), "");
}

void Log(const std::string& line, int times = 1) {
    for (int count = 0; count < times; ++count) {
        AUDIT(Feature::Information, "%s\n", line.c_str());
    }
}

TEST_F(LogTailing, ShowsEachCommandOnceAndItsReplyInTheLogAloneWhileTailing) {
    StartShell();
    GreetedClient first(mPort);
    GreetedClient second(mPort);
    first.Send("\n  \r\n num 5\r\ntail true\ntail false\nnum 6\ntail true\nnum 7\n");
    first.EndSending();
    EXPECT_EQ(
        WithoutTimeStamps(first.ReadToEnd()),
        "< num 5\r>\nnum=5\n<tail true>\ntail=true\n<tail false>\nfalse\n6\ntail=true\n<num 7>\nnum=7\n");
    EXPECT_EQ(
        WithoutTimeStamps(second.ReadUntil("num=7\n")),
        "< num 5\r>\nnum=5\n<tail true>\ntail=true\n<tail false>\ntail=false\n<num 6>\nnum=6\n<tail true>\n"
        "tail=true\n<num 7>\nnum=7\n");
}

TEST_F(LogTailing, CarriesTheLinesOfManyThreadsWholeAndInOrderWhileOthersComeAndGo) {
    constexpr int kThreads = 3;
    constexpr int kLines = 400;
    const auto text = [](int thread, int line) {
        return "thread " + std::to_string(thread) + " line " + std::to_string(line);
    };
    StartShell();
    GreetedClient client(mPort);
    std::vector<std::future<void>> threads(kThreads);
    for (int thread = 0; thread < kThreads; ++thread) {
        threads[thread] = std::async(std::launch::async, [thread, &text] {
            for (int line = 0; line < kLines; ++line) {
                Log(text(thread, line));
            }
        });
    }
    for (int visit = 0; visit < 20; ++visit) {
        GreetedClient visitor(mPort);
        visitor.Send("tail false\ntail true\n");
        visitor.ReadUntil("tail=true\n");
    }
    threads.clear();  // waits for them
    Log("the end");
    std::vector<int> carried(kThreads);
    std::istringstream seen(WithoutTimeStamps(client.ReadUntil("the end\n")));
    for (std::string line; std::getline(seen, line);) {
        for (int thread = 0; thread < kThreads; ++thread) {
            carried[thread] += line == text(thread, carried[thread]) ? 1 : 0;
        }
    }
    EXPECT_THAT(carried, testing::Each(kLines));
}

TEST_F(LogTailing, DropsAClientThatNeverReadsAndEveryClientWhenTheEventLoopFallsBehind) {
    constexpr int kMostRounds = 160;  // 32 MB: more than kernel and queue hold
    const std::string line(1000, 'x');
    StartShell();
    LineClient idle(mPort);
    GreetedClient reader(mPort);
    std::string seen;
    for (int round = 0; round < kMostRounds && seen.find("dropped client") == std::string::npos; ++round) {
        Log(line, 200);
        Log("round");
        seen = reader.ReadUntil("round\n");
    }
    EXPECT_THAT(seen, testing::HasSubstr("it doesn't read what it is sent"));
    idle.ReadToEnd();
    boost::asio::post(mIo, [&line] { Log(line, 2100); });
    EXPECT_EQ(reader.ReadToEnd(), "");
    GreetedClient next(mPort);
    next.Send("num 3\n");
    next.ReadUntil("num=3\n");
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr("the log came faster than"));
    testing::internal::CaptureStdout();
}

}  // namespace
