#pragma once

#include <poll.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <string>

#include "Board.h"

/// A node of the board as the application has it: its registers, the indirect pair, and its interrupts.
class OpenNode {
  public:
    OpenNode(sim::Board& board, const std::string& identity) : mWindow(board.Open(identity, 0)) {}

    std::uint32_t Read(std::uint32_t offset) { return mWindow->Read(offset); }
    void Write(std::uint32_t offset, std::uint32_t value) { mWindow->Write(offset, value); }
    fsi::IRegisterWindow& Window() { return *mWindow; }

    std::uint32_t ReadWord(std::uint32_t address) {
        Write(0x24, address);
        return Read(0x20);
    }
    void WriteWord(std::uint32_t address, std::uint32_t value) {
        Write(0x24, address);
        Write(0x20, value);
    }

    /// Reads one count, as the interrupt thread does; false where none comes within so many milliseconds.
    bool TakeSignal(int waitMs = 0) {
        pollfd poll{mWindow->Descriptor(), POLLIN, 0};
        std::uint32_t count = 0;
        return ::poll(&poll, 1, waitMs) == 1 && ::read(poll.fd, &count, sizeof count) == sizeof count;
    }

  private:
    std::unique_ptr<fsi::IRegisterWindow> mWindow;
};
