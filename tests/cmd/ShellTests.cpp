#include <gmock/gmock.h>

#include <chrono>
#include <list>
#include <stdexcept>

#include "ClientConnection.h"
#include "FewDescriptors.h"
#include "ShellFixture.h"

namespace {

using Shell = ShellFixture;

TEST_F(Shell, GreetsWithNameAndTimeAndRepliesToWhatIsTyped) {
    const auto add = [this](const std::string& name, auto callable) {
        mShell.Root()->AddAction(cmd::action::MakeAction(name, callable, ""));
    };
    add("pair", [](const std::string& a, const std::string& b) { return a + "|" + b; });
    add("level", [](int, bool) {});
    add("fail", [] { throw std::runtime_error("it is gone"); });
    add("fail_oddly", [] { throw 42; });
    add("refuse", [](int) { throw cmd::parser::BadCommandArg("no such port"); });
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"  num   178 \t\r", "178"},
        {"pair \"t1\" {t1 t2}", "t1|t1 t2"},
        {"num --help x y", "Repeat a number\n\nUsage: num 'int'"},
        {"--help", "unrecognised command '--help'"},
        {"%s%n%s --help", "unrecognised command '%s%n%s'"},
        {std::string("\0\xff\xf4", 3), std::string("unrecognised command '\0\xff\xf4'", 26)},
        {"level x x", "error: arg 0: cannot convert 'x' to type 'int'"},
        {"fail", "it is gone"},
        {"fail_oddly", "error: 'fail_oddly' failed"},
        {"refuse 1", "no such port"},
    };
    StartShell();
    LineClient client(mPort);
    EXPECT_THAT(client.ReadUntil("'cmd'.\n"),
                testing::MatchesRegex("\nSorvel command shell: box "
                                      "[A-Z][a-z]+ [A-Z][a-z]+ [ 1-3][0-9] [0-9]+:[0-9]+:[0-9]+ [0-9]+\n"
                                      "Type 'help' to see available commands\\.\n"
                                      "Type 'cmd --help' to find out more about 'cmd'\\.\n"));
    for (const auto& [typed, reply] : rows) {
        client.Send(typed + "\n");
        EXPECT_EQ(client.ReadUntil(reply + "\n"), reply + "\n") << typed;
    }
}

TEST_F(Shell, AnswersManyLinesAtOnceInOrderAlsoToAClientThatEndsSendingAndEndsOneWhoseLineIsTooLong) {
    StartShell();
    GreetedClient client(mPort);
    std::string typed;
    std::string replies;
    for (int number = 0; number < 5000; ++number) {
        typed += "num " + std::to_string(number) + "\n";
        replies += std::to_string(number) + "\n";
    }
    client.Send(typed + "num 5");  // the last line has no end, and so is none
    client.EndSending();
    EXPECT_EQ(client.ReadToEnd(), replies);

    GreetedClient wordy(mPort);
    const std::string longest(cmd::ClientConnection::kMaxLine, 'x');
    EXPECT_EQ(wordy.Ask(longest), "unrecognised command '" + longest + "'");
    wordy.Send(longest + "x");
    EXPECT_EQ(wordy.ReadToEnd(), "");
}

TEST_F(Shell, WaitsForDescriptorsWithoutSpinningAndThenAccepts) {
    LineClient client(mPort);
    {
        const FewDescriptors none(0);
        const std::size_t handlers = mIo.run_for(std::chrono::milliseconds(350));
        EXPECT_TRUE(handlers >= 1 && handlers <= 8) << "an accept and a timer each 100 ms: " << handlers;
    }
    StartShell();
    client.ReadUntil("'cmd'.\n");
}

TEST_F(Shell, LeavesDescriptorsToOthersHoweverManyClientsCome) {
    StartShell();
    constexpr int kSpare = 64;
    const int end = FewDescriptors::Next() + kSpare;
    const FewDescriptors few(kSpare);
    std::list<GreetedClient> clients;
    const auto openAll = [&] {
        while (clients.size() < kSpare) {
            clients.emplace_back(mPort);
        }
    };
    EXPECT_THROW(openAll(), std::exception);
    EXPECT_EQ(LineClient(mPort).ReadToEnd(), "Too many clients\n");
    EXPECT_GE(end - FewDescriptors::Next(), end / 4 - 2);
    EXPECT_EQ(clients.back().Ask("num 7"), "7");
}

}  // namespace
