#include "app/live/ProcessTable.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace kestrin::app::live {
namespace {

namespace fs = std::filesystem;

// A shell job running in its terminal's foreground: pgrp 4242 == tpgid 4242 on tty 34816.
constexpr const char* kForegroundJob =
    "4242 (make) R 4200 4242 4200 34816 4242 4194304 98 0 0 0 1250 250 0 0 20 0 1 0 1896076 3133440 360 0 0 0";
// A daemon: no terminal.
constexpr const char* kDaemon =
    "812 (tracker-miner-f) S 1 812 812 0 -1 4194560 5000 0 10 0 3000 1000 0 0 39 19 4 0 2040 0 0 0";
// A kernel thread (PF_KTHREAD), as /proc shows kthreadd.
constexpr const char* kKernel = "2 (kthreadd) S 0 0 0 0 -1 2129984 0 0 0 0 7 3 0 0 20 0 1 0 24 0 0 0 0";

TEST(ProcStat, ReadsNameCpuTimeForegroundAndKernel) {
  const auto job = parseProcStat(kForegroundJob, 100);
  ASSERT_TRUE(job);
  EXPECT_EQ(job->pid, 4242);
  EXPECT_EQ(job->name, "make");
  EXPECT_DOUBLE_EQ(job->cpuSeconds, 15.0);
  EXPECT_TRUE(job->foreground);
  EXPECT_FALSE(job->kernel);

  const auto daemon = parseProcStat(kDaemon, 100);
  ASSERT_TRUE(daemon);
  EXPECT_DOUBLE_EQ(daemon->cpuSeconds, 40.0);
  EXPECT_FALSE(daemon->foreground);

  const auto kernel = parseProcStat(kKernel, 100);
  ASSERT_TRUE(kernel);
  EXPECT_TRUE(kernel->kernel);
}

TEST(ProcStat, TakesANameWithSpacesAndBracketsUpToTheLastBracket) {
  const auto odd = parseProcStat("77 (my (odd) app) S 1 77 77 0 -1 0 0 0 0 0 5 5 0 0 20 0 1 0 1 0 0", 100);
  ASSERT_TRUE(odd);
  EXPECT_EQ(odd->name, "my (odd) app");
  EXPECT_DOUBLE_EQ(odd->cpuSeconds, 0.1);
}

TEST(ProcStat, RefusesWhatIsNotAStatLine) {
  EXPECT_FALSE(parseProcStat("", 100));
  EXPECT_FALSE(parseProcStat("4242 make R 4200", 100));
  EXPECT_FALSE(parseProcStat("x (make) R 4200 4242 4200 34816 4242 0 0 0 0 0 1 1", 100));
  EXPECT_FALSE(parseProcStat("4242 (make) R 4200 4242", 100));                         // cut short
  EXPECT_FALSE(parseProcStat("4242 (make) R 1 2 3 4 5 6 7 8 9 10 -1 1 0", 100));        // negative time
  EXPECT_FALSE(parseProcStat(kDaemon, 0));
}

class ProcTree : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::temp_directory_path() / ("kestrin-proc-" + std::to_string(::getpid()));
    fs::remove_all(root_);
    write("4242/stat", kForegroundJob);
    write("812/stat", kDaemon);
    write("99/stat", "garbage");
    fs::create_directories(root_ / "self");
    write("self/stat", kDaemon);
    fs::create_directories(root_ / "31337");  // gone before its stat was read
  }
  void TearDown() override { fs::remove_all(root_); }
  void write(const std::string& name, const std::string& text) {
    fs::create_directories((root_ / name).parent_path());
    std::ofstream(root_ / name) << text << "\n";
  }
  fs::path root_;
};

TEST_F(ProcTree, ReadsEveryNumberedProcessThatParses) {
  auto processes = readProcesses(root_);
  std::sort(processes.begin(), processes.end(), [](const auto& a, const auto& b) { return a.pid < b.pid; });
  ASSERT_EQ(processes.size(), 2u);
  EXPECT_EQ(processes[0].name, "tracker-miner-f");
  EXPECT_EQ(processes[1].name, "make");
  EXPECT_TRUE(readProcesses(root_ / "missing").empty());
}

TEST(ProcessTable, FindsThisTestInTheRealProcFolder) {
  const auto processes = readProcesses();
  const auto self = std::find_if(processes.begin(), processes.end(),
                                 [](const auto& p) { return p.pid == static_cast<int>(::getpid()); });
  ASSERT_NE(self, processes.end());
  EXPECT_EQ(self->name, "app_tests");
  EXPECT_FALSE(self->kernel);
}

TEST_F(ProcTree, SumsThePackageCountersOnly) {
  write("powercap/intel-rapl:0/energy_uj", "1500000");
  write("powercap/intel-rapl:0:0/energy_uj", "900000");  // the cores inside package 0: not added again
  write("powercap/intel-rapl:1/energy_uj", "2500000");
  EXPECT_EQ(readPackageEnergy(root_ / "powercap"), 4.0);

  write("powercap/intel-rapl:1/energy_uj", "not a number");
  EXPECT_FALSE(readPackageEnergy(root_ / "powercap"));
  EXPECT_FALSE(readPackageEnergy(root_ / "nothing-here"));
}

}  // namespace
}  // namespace kestrin::app::live
