#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/asio/io_service.hpp>
#include <boost/filesystem.hpp>

#include "Board.h"
#include "CapturedLog.h"
#include "EventLoop.h"
#include "FirmwareRecord.h"
#include "Hid.h"
#include "MemoryMonitor.h"
#include "RootedPath.h"
#include "ScopedFolder.h"

namespace {

/// What the box reads from files, and what it writes to them.
class BoxFiles : public testing::Test {
  protected:
    bool UpdateRecord(const char* identity = "0010") {
        return TalvoBrindlet::UpdateFirmwareRecord(RootedPath(mFolder.Path(), "/Application.xml"), mBoard,
                                                   identity);
    }

    ScopedFolder mFolder;
    std::string mRecord = mFolder / "Application.xml";
    CapturedLog mLog;
    sim::Board mBoard{{}};
};

}  // namespace

TEST_F(BoxFiles, TakeTheBuildNumberBehindTheVersion) {
    const std::pair<const char*, const char*> rows[] = {
        {"<Version>1.2.3</Version>", "<Version>1.2.1234</Version>"},
        {"<Version>1.2</Version>", "<Version>0.0.1234</Version>"},
        {"<Version>1.2.3.4</Version>", "<Version>0.0.1234</Version>"},
        {"<Version/>", "<Version>0.0.1234</Version>"},
        {"<Version><!-- none --></Version>", "<Version>0.0.1234</Version>"},
        {"<Name>x</Name><Version a=\"1\">7.8.</Version>", "<Version a=\"1\">7.8.1234</Version>"},
    };
    for (const auto& [before, after] : rows) {
        WriteFile(mRecord, std::string("<?xml version=\"1.0\"?><Application>") + before + "</Application>");
        EXPECT_TRUE(UpdateRecord()) << before;
        EXPECT_NE(ContentOf(mRecord).find(after), std::string::npos) << ContentOf(mRecord);
    }
    EXPECT_TRUE(mLog.Lines().empty());
}

TEST_F(BoxFiles, AreLeftAsTheyAreWithoutARecordOrABuildOrAPlaceToSave) {
    std::string deep;
    while (deep.size() < 16380) {
        deep += "<a>";
    }
    const std::string record = "<Application><Version>1.2.3</Version></Application>";
    const std::string failed = "Failed to find the firmware config file /Application.xmldue to error";
    const struct {
        std::string mContent;
        std::string mLine;
        const char* mIdentity = "0010";
    } rows[] = {
        {"", failed},
        {"rubbish", failed},
        {"<Application><Version>1.2.3", failed},
        {deep, failed},
        {std::string(20000, ' ') + "<Application/>", failed + "more than 16384 bytes\n"},
        {"<Other/>", "Did not find Application element in file /Application.xml\n"},
        {"<Application/>", "Did not find Version element in file /Application.xml\n"},
        {record, "Failed to read the firmware build: FSI '0FFF'", "0FFF"},
    };
    for (const auto& row : rows) {
        WriteFile(mRecord, row.mContent);
        const std::size_t before = mLog.Count(row.mLine);
        EXPECT_FALSE(UpdateRecord(row.mIdentity)) << row.mContent.substr(0, 40);
        EXPECT_EQ(mLog.Count(row.mLine), before + 1) << row.mContent.substr(0, 40);
        EXPECT_EQ(ContentOf(mRecord), row.mContent);
    }
    WriteFile(mRecord, record);
    boost::filesystem::create_directories(mRecord + ".new/taken");
    EXPECT_FALSE(UpdateRecord());
    EXPECT_EQ(mLog.Count("Failed to save updated Firmware Application XML file\n"), 1U);
    EXPECT_EQ(ContentOf(mRecord), record);
    boost::filesystem::remove(mRecord);
    EXPECT_FALSE(UpdateRecord());
    EXPECT_EQ(mLog.Count(failed + "No such file or directory\n"), 1U);
    ASSERT_EQ(::mkfifo(mRecord.c_str(), 0600), 0);
    EXPECT_FALSE(UpdateRecord()) << "nor does it hang";
}

TEST_F(BoxFiles, KeepTheirPlaceAndTheirReaders) {
    const std::string real = mFolder / "real.xml";
    WriteFile(real, "<Application><Version>1.2.3</Version></Application>");
    ASSERT_EQ(::chmod(real.c_str(), 0604), 0);
    boost::filesystem::create_symlink("real.xml", mRecord);
    const mode_t former = ::umask(077);
    EXPECT_TRUE(UpdateRecord());
    ::umask(former);
    EXPECT_TRUE(boost::filesystem::is_symlink(mRecord));
    EXPECT_NE(ContentOf(real).find("1.2.1234"), std::string::npos);
    EXPECT_EQ(boost::filesystem::status(real).permissions(), 0604);
}

TEST_F(BoxFiles, ExtendTheHidByOneHexadecimalNumber) {
    const std::pair<const char*, std::uint32_t> rows[] = {
        {"1F", 0x1F},       {"  \n 0x1f rest", 0x1F},
        {"1F\n2F\n", 0x1F}, {"1000000", 0x1000000},
        {"FFFFFFFFF", 0},   {"", 0},
        {"none", 0},        {"\xFF\xFE", 0},
    };
    for (const auto& [content, value] : rows) {
        WriteFile(mFolder / "ExtendedHID", content);
        EXPECT_EQ(TalvoBrindlet::ReadExtendedHid(RootedPath(mFolder.Path(), "/ExtendedHID")), value)
            << content;
    }
    EXPECT_EQ(TalvoBrindlet::ReadExtendedHid(RootedPath(mFolder.Path(), "/nosuch")), 0U);
    EXPECT_EQ(mLog.Lines().back(),
              "Could not find HID extension file /nosuch. Okay if it should not be there.\n");
    EXPECT_EQ(mLog.Lines()[1], "Found Extended HID file /ExtendedHID, extended attributes are 31\n");
}

TEST_F(BoxFiles, TellOfTheMemoryEachPeriodUntilThatIsStopped) {
    mLog.Enable(Feature::TalvoIoBox);
    boost::asio::io_service io;
    TalvoBrindlet::MemoryMonitor monitor(io, std::chrono::milliseconds(1), mFolder.Path());
    monitor.Start();
    const std::string pid = std::to_string(::getpid());
    const std::string empty = "Brindlet: SYS MEM-MemTotal=, MemAvail=, MemFree=; FB MEM (PID=" + pid +
                              ")-VmSize=, VmRSS=, Vm HWM=\n";
    EXPECT_TRUE(RunUntil(io, [&] { return mLog.Count(empty) == 1; }));
    boost::filesystem::create_directories(mFolder / pid);
    WriteFile(mFolder / "meminfo", "MemTotal: 1000 kB\nMemFree:   10 kB\nMemAvailable:    300 kB\n");
    WriteFile(mFolder / (pid + "/status"), "Name:\tbox\nVmHWM:\t   30 kB\nVmRSS:\t 20 kB\nVmSize:\t100 kB\n");
    const std::string full =
        "Brindlet: SYS MEM-MemTotal=1000 kB, MemAvail=300 kB, MemFree=10 kB; FB MEM (PID=" + pid +
        ")-VmSize=100 kB, VmRSS=20 kB, Vm HWM=30 kB\n";
    EXPECT_TRUE(RunUntil(io, [&] { return mLog.Count(full) == 2; }));
    monitor.Stop();
    io.restart();
    io.run();  // comes to its end: nothing is armed
    EXPECT_EQ(mLog.Count("ERROR"), 0U);
}

TEST(Hid, PrintsInItsFourForms) {
    const std::pair<std::uint32_t, const char*> rows[] = {
        {0, "LOCAL_DSP_HID "},         {0xFFFFFFFF, "INVALID_HID "}, {1, "0x1(1) "},
        {0xABC, "0xABC(2748) "},       {4094, "0xFFE(4094) "},       {4095, "0.0:fff "},
        {0xC0B28000, "192.178:8000 "},
    };
    for (const auto& [hid, text] : rows) {
        EXPECT_EQ(TalvoBrindlet::HidText(hid), text);
    }
}
