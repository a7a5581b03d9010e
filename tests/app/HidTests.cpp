#include "Hid.h"

#include <gtest/gtest.h>

#include "CapturedLog.h"
#include "RootedPath.h"
#include "ScopedFolder.h"

TEST(Hid, PrintsInItsFourForms) {
    const struct {
        std::uint32_t mHid;
        const char* mText;
    } rows[] = {
        {0, "LOCAL_DSP_HID "},         {0xFFFFFFFF, "INVALID_HID "}, {1, "0x1(1) "},
        {0xABC, "0xABC(2748) "},       {4094, "0xFFE(4094) "},       {4095, "0.0:fff "},
        {0xC0B28000, "192.178:8000 "},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(TalvoBrindlet::HidText(row.mHid), row.mText);
    }
}

TEST(Hid, ReadsOneHexadecimalNumberFromTheExtensionFile) {
    const struct {
        const char* mContent;
        std::uint32_t mValue;
    } rows[] = {
        {"1F", 0x1F},       {"  \n 0x1f rest", 0x1F},
        {"1F\n2F\n", 0x1F}, {"1000000", 0x1000000},
        {"FFFFFFFFF", 0},   {"", 0},
        {"none", 0},        {"\xFF\xFE", 0},
    };
    const ScopedFolder folder;
    const CapturedLog log;
    for (const auto& row : rows) {
        WriteFile(folder / "ExtendedHID", row.mContent);
        EXPECT_EQ(TalvoBrindlet::ReadExtendedHid(RootedPath(folder.Path(), "/ExtendedHID")), row.mValue)
            << row.mContent;
    }
    EXPECT_EQ(TalvoBrindlet::ReadExtendedHid(RootedPath(folder.Path(), "/nosuch")), 0U);
    EXPECT_EQ(log.Lines().back(),
              "Could not find HID extension file /nosuch. Okay if it should not be there.\n");
    EXPECT_EQ(log.Lines()[1], "Found Extended HID file /ExtendedHID, extended attributes are 31\n");
}
