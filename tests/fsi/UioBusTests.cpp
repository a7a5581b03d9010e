#include "UioBus.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <boost/filesystem.hpp>
#include <cstring>
#include <system_error>

#include "Registers.h"
#include "ScopedFolder.h"

namespace {

/// A device tree of plain files: entries as the kernel has them, and a file of memory for each device node.
class UioTree : public testing::Test {
  protected:
    UioTree() { boost::filesystem::create_directories(mFolder / "dev"); }

    void Add(const std::string& node, const std::string& name, const std::string& size = "0x00001000\n",
             const std::string& offset = "0x0\n") {
        const std::string folder = mFolder / ("class/" + node);
        boost::filesystem::create_directories(folder + "/maps/map0");
        WriteFile(folder + "/name", name);
        WriteFile(folder + "/maps/map0/size", size);
        WriteFile(folder + "/maps/map0/offset", offset);
        WriteFile(Device(node), std::string(8192, '\0'));
    }

    std::string Device(const std::string& node) const { return mFolder / ("dev/" + node); }

    std::uint32_t WordInFile(const std::string& node, std::size_t offset) const {
        std::uint32_t word = 0;
        const std::string content = ContentOf(Device(node));
        std::memcpy(&word, content.data() + offset, sizeof word);
        return word;
    }

    std::unique_ptr<fsi::IRegisterWindow> Open(const std::string& identity, unsigned instance) {
        return fsi::UioBus(mFolder / "class", mFolder / "dev").Open(identity, instance);
    }

    std::string FailureOf(const std::string& identity, unsigned instance = 0) {
        try {
            Open(identity, instance);
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::error_code(19, std::generic_category()));
            return error.what();
        }
        return "no failure";
    }

    ScopedFolder mFolder;
};

}  // namespace

TEST_F(UioTree, ReachesTheRegistersThroughTheMapOffset) {
    Add("uio3", "000C\n", "0x1000\n", "0x100\n");
    const auto window = Open("000c", 0);
    window->Write(fsi::registers::kControl, 0x12345678);
    EXPECT_EQ(WordInFile("uio3", 0x138), 0x12345678U);
    EXPECT_EQ(window->Read(fsi::registers::kControl), 0x12345678U);
    const std::uint32_t run[] = {1, 2, 3};
    window->WriteRun(fsi::registers::kIndirectData, run, 3);
    EXPECT_EQ(WordInFile("uio3", 0x120), 3U);
    EXPECT_EQ(WordInFile("uio3", 0x124), 0U) << "a run goes to one register";
    EXPECT_NE(fcntl(window->Descriptor(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_EQ(window->MappedBase() % 0x1000, 0x100U);
}

TEST_F(UioTree, CountsInstancesInStringOrderOfTheirPaths) {
    Add("uio2", "0007\n");
    Add("uio10", "0007\n");
    Add("uio1", "0008\n");
    boost::filesystem::create_directories(mFolder / "class/uio0");  // an entry without a name
    Open("0007", 0)->Write(fsi::registers::kControl, 10);
    Open("0007", 1)->Write(fsi::registers::kControl, 2);
    EXPECT_EQ(WordInFile("uio10", 0x38), 10U);
    EXPECT_EQ(WordInFile("uio2", 0x38), 2U);
    EXPECT_THAT(FailureOf("0007", 2), testing::HasSubstr("FSI '0007' (device '', fd -1, size 0)"));
}

TEST_F(UioTree, NamesWhatItCouldNotOpenOrMap) {
    Add("uio0", "0001");
    boost::filesystem::remove(Device("uio0"));
    Add("uio1", "0002");
    boost::filesystem::remove(mFolder / "class/uio1/maps/map0/size");
    Add("uio2", "0003", "junk");
    Add("uio3", "0004", "0x1000", "0xFE0");  // a block that would reach beyond its mapping
    Add("uio4", "0005", "FFFFFFFFFF");
    const std::pair<const char*, const char*> rows[] = {
        {"0001", "FSI '0001' .device '.*uio0', fd -1, size 4096.*"},
        {"0002", "FSI '0002' .device '.*uio1', fd [0-9]+, size 0.*"},
        {"0003", "FSI '0003' .device '.*uio2', fd [0-9]+, size 0.*"},
        {"0004", "FSI '0004' .device '.*uio3', fd [0-9]+, size 4096.*"},
        {"0005", "FSI '0005' .device '.*uio4', fd [0-9]+, size 0.*"},
        {"000", "FSI '000' .device '', fd -1, size 0.*"},  // the start of an identity is not the identity
    };
    for (const auto& [identity, failure] : rows) {
        EXPECT_THAT(FailureOf(identity), testing::MatchesRegex(failure));
    }
}
