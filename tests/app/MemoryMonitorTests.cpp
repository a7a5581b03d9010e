#include "MemoryMonitor.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <boost/asio/io_service.hpp>
#include <boost/filesystem.hpp>

#include "CapturedLog.h"
#include "EventLoop.h"
#include "ScopedFolder.h"

TEST(MemoryMonitor, ReportsEachPeriodUntilItIsStopped) {
    const ScopedFolder proc;
    const std::string pid = std::to_string(::getpid());
    boost::filesystem::create_directories(proc / pid);
    WriteFile(proc / "meminfo",
              "MemTotal:       1000 kB\nMemFree:          10 kB\nMemAvailable:    300 kB\n");
    WriteFile(proc / (pid + "/status"),
              "Name:\tbox\nVmHWM:\t   30 kB\nVmRSS:\t   20 kB\nVmSize:\t  100 kB\n");
    CapturedLog log;
    log.Enable(Feature::TalvoIoBox);
    boost::asio::io_service io;
    TalvoBrindlet::MemoryMonitor monitor(io, std::chrono::milliseconds(1), proc.Path());
    const std::string line =
        "Brindlet: SYS MEM-MemTotal=1000 kB, MemAvail=300 kB, MemFree=10 kB; FB MEM (PID=" + pid +
        ")-VmSize=100 kB, VmRSS=20 kB, Vm HWM=30 kB\n";
    monitor.Start();
    EXPECT_TRUE(RunUntil(io, [&] { return log.Count(line) == 2; }));
    EXPECT_EQ(log.Count("Brindlet:  PID " + pid + " \n"), 2U);
    boost::filesystem::remove_all(proc / pid);
    boost::filesystem::remove(proc / "meminfo");
    const std::string empty = "Brindlet: SYS MEM-MemTotal=, MemAvail=, MemFree=; FB MEM (PID=" + pid +
                              ")-VmSize=, VmRSS=, Vm HWM=\n";
    EXPECT_TRUE(RunUntil(io, [&] { return log.Count(empty) == 1; }));
    monitor.Stop();
    io.restart();
    io.run();  // comes to its end: nothing is armed
    EXPECT_EQ(log.Count("ERROR"), 0U);
}
