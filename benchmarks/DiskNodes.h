#pragma once

#include <boost/filesystem.hpp>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "UioBus.h"

/// Register blocks on a device tree of plain files, mapped by the product's own bus: plain memory.
class DiskNodes {
  public:
    /// Each node's identity, and the byte that gives its address on the audio DMA.
    explicit DiskNodes(const std::vector<std::pair<std::string, char>>& nodes) {
        namespace fs = boost::filesystem;
        constexpr std::size_t kPage = 4096;
        constexpr std::size_t kIdentityByte = 4;
        mFolder = fs::temp_directory_path() / fs::unique_path("brindlet-%%%%%%%%");
        fs::create_directories(mFolder / "dev");
        for (std::size_t index = 0; index < nodes.size(); ++index) {
            const std::string node = "uio" + std::to_string(index);
            fs::create_directories(mFolder / "class" / node / "maps/map0");
            Write("class/" + node + "/name", nodes[index].first);
            Write("class/" + node + "/maps/map0/size", "0x1000");
            std::string block(kPage, '\0');
            block[kIdentityByte] = nodes[index].second;
            Write("dev/" + node, block);
        }
    }
    ~DiskNodes() {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(mFolder, ignored);
    }
    DiskNodes(const DiskNodes&) = delete;
    DiskNodes& operator=(const DiskNodes&) = delete;

    fsi::UioBus Bus() const { return fsi::UioBus((mFolder / "class").string(), (mFolder / "dev").string()); }

  private:
    void Write(const std::string& name, const std::string& content) const {
        std::ofstream((mFolder / name).string()) << content;
    }

    boost::filesystem::path mFolder;
};
