#include "app/live/ProcessTable.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>

namespace kestrin::app::live {
namespace {

namespace fs = std::filesystem;

// A /proc of made-up processes: a shell job in its terminal's foreground
// (pgrp 4242 == tpgid 4242 on tty 34816), a daemon without a terminal, a
// kernel thread (PF_KTHREAD), a name with spaces and brackets, lines that
// are no stat lines, and a process gone before its stat was read.
TEST(ProcessTable, ReadsEveryNumberedProcessThatParsesAndThePackageCounters) {
  const fs::path root = fs::temp_directory_path() / ("kestrin-proc-" + std::to_string(::getpid()));
  fs::remove_all(root);
  const auto write = [&root](const std::string& name, const std::string& text) {
    fs::create_directories((root / name).parent_path());
    std::ofstream(root / name) << text << "\n";
  };
  const char* daemon = "812 (tracker-miner-f) S 1 812 812 0 -1 4194560 5000 0 10 0 3000 1000 0 0 39 19 4 0 2040 0 0 0";
  write("4242/stat", "4242 (make) R 4200 4242 4200 34816 4242 4194304 98 0 0 0 1250 250 0 0 20 0 1 0 1896076 3133440");
  write("812/stat", daemon);
  write("2/stat", "2 (kthreadd) S 0 0 0 0 -1 2129984 0 0 0 0 7 3 0 0 20 0 1 0 24 0 0 0 0");
  write("77/stat", "77 (my (odd) app) S 1 77 77 0 -1 0 0 0 0 0 5 5 0 0 20 0 1 0 1 0 0");
  write("self/stat", daemon);
  int pid = 90;
  for (const char* line : {"", "4242 make R 4200", "x (make) R 4200 4242 4200 34816 4242 0 0 0 0 0 1 1",
                           "4242 (make) R 4200 4242", "4242 (make) R 1 2 3 4 5 6 7 8 9 10 -1 1 0"}) {
    write(std::to_string(pid++) + "/stat", line);
  }
  fs::create_directories(root / "31337");
  auto processes = readProcesses(root);
  std::ranges::sort(processes, {}, &batterycore::ProcessSample::pid);
  EXPECT_EQ(processes, (std::vector<batterycore::ProcessSample>{{2, "kthreadd", 0.1, false, true},
                                                                {77, "my (odd) app", 0.1, false, false},
                                                                {812, "tracker-miner-f", 40.0, false, false},
                                                                {4242, "make", 15.0, true, false}}));
  EXPECT_TRUE(readProcesses(root / "missing").empty());
  EXPECT_FALSE(parseProcStat(daemon, 0)) << "no clock ticks per second";

  write("powercap/intel-rapl:0/energy_uj", "1500000");
  write("powercap/intel-rapl:0:0/energy_uj", "900000");  // the cores inside package 0: not added again
  write("powercap/intel-rapl:1/energy_uj", "2500000");
  EXPECT_EQ(readPackageEnergy(root / "powercap"), 4.0);
  write("powercap/intel-rapl:1/energy_uj", "not a number");
  EXPECT_FALSE(readPackageEnergy(root / "powercap"));
  EXPECT_FALSE(readPackageEnergy(root / "nothing-here"));
  fs::remove_all(root);

  const auto real = readProcesses();
  const auto self = std::ranges::find(real, ::getpid(), &batterycore::ProcessSample::pid);
  ASSERT_NE(self, real.end()) << "this test in the real /proc";
  EXPECT_EQ(self->name, "app_tests");
  EXPECT_FALSE(self->kernel);
}

}  // namespace
}  // namespace kestrin::app::live
