#include "CommandNames.h"

#include <algorithm>
#include <iterator>

namespace {

struct CommandName {
    std::uint32_t mId;
    const char* mName;
};

constexpr CommandName kCommandNames[] = {
    {800, "IO_INFO_REQ"},        {801, "IO_INFO"},         {802, "IO_SET_INPUT_PARAMS"},
    {806, "IO_ACTIVE_ROUTER"},   {807, "IO_ACTIVE_AUDIO"}, {808, "IO_SET_OUTPUT_GAIN"},
    {815, "IO_SET_PORT_BITMAP"}, {816, "IO_MUTE_OUTPUT"},  {874, "IO_SAMPLE_CAPABILITIES"},
    {875, "IO_SET_SAMPLE_RATE"}, {891, "IO_SYNC_SWAP"},    {892, "IO_SYNC_FAIL"},
};

}  // namespace

const char* GetCommandName(std::uint32_t id) {
    const auto* const found = std::find_if(std::begin(kCommandNames), std::end(kCommandNames),
                                           [id](const CommandName& row) { return row.mId == id; });
    return found == std::end(kCommandNames) ? "Unknown" : found->mName;
}
