#pragma once

struct Platform;

/// Runs the whole application on the calling thread, which becomes the event loop, until a signal or `quit`
/// ends it. Returns the exit status. Throws what the option parser, the reading of the FPGA's build number
/// and the shell's listening socket throw.
int RunApplication(int argc, char* argv[], const Platform& platform);
