// The service on a made-up machine, in the test process: the platform's
// parts are wired to the monitor, the store, the widget and the metrics.
#include "app/Service.hpp"

#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"
#include "tests/app/HeldBattery.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace kestrin::app {
namespace {

namespace fs = std::filesystem;
using batterycore::BatteryAlert;
using batterycore::Date;
using namespace std::chrono_literals;

class ServiceTest : public ::testing::Test {
 protected:
  void TearDown() override { fs::remove_all(folder_); }

  // A plugged-in laptop held at 80% that remembers one number between runs,
  // and a clock the test moves.
  Platform platform() {
    Platform p;
    p.battery = battery_;
    p.limit = battery_;
    p.batteryName = "the held battery";
    p.group = widget::AppGroup::inFolder(folder_ / "group");
    p.clock = [this] { return now_; };
    p.timeZone = [] { return std::string("UTC"); };
    p.log = [this](std::string_view line, bool) { logged_.emplace_back(line); };
    p.startNotes = {"no udev monitor (none here)"};
    p.restore = [this](StateStore& store) { restored_ = store.loadJson("kept").has_value(); };
    p.persist = [this](StateStore& store) {
      store.saveJson("kept", batterycore::Json{{"ticks", ++persisted_}});
      if (stopAfter_ && persisted_ >= stopAfter_) stop_ = 1;
    };
    return p;
  }
  ServiceOptions options() const {
    ServiceOptions options;
    options.stateFolder = folder_ / "state";
    options.interval = 60s;
    options.metrics = folder_ / "kestrin.prom";
    return options;
  }
  bool logged(std::string_view line) const {
    return std::any_of(logged_.begin(), logged_.end(), [line](const std::string& l) { return l.starts_with(line); });
  }

  fs::path folder_ = fs::temp_directory_path() / ("kestrin-service-" + std::to_string(::getpid()) + "-" +
                                                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
  std::shared_ptr<testing::HeldBattery> battery_ = std::make_shared<testing::HeldBattery>(80);
  Date now_ = *batterycore::parseIso8601("2026-03-02T09:00:00Z");
  std::vector<std::string> logged_;
  bool restored_ = false;
  int persisted_ = 0;
  int stopAfter_ = 0;
  volatile std::sig_atomic_t stop_ = 0;
};

TEST_F(ServiceTest, RunsOnItsPlatformAndStopsWithEveryStateSaved) {
  stopAfter_ = 1;  // as a signal would, right after the first tick
  std::vector<std::string> echoed;
  auto shown = options();
  shown.echo = [&echoed](std::string_view line) { echoed.emplace_back(line); };
  {
    Service service(platform(), shown);
    service.run(stop_);
  }
  EXPECT_FALSE(restored_) << "nothing kept before the first run";
  EXPECT_EQ(persisted_, 2) << "after the tick and at the stop";
  ASSERT_GE(logged_.size(), 3u);
  EXPECT_EQ(logged_.front(), "no udev monitor (none here)");
  EXPECT_TRUE(logged("watching the held battery every 60 s; states in " + (folder_ / "state").string()));
  EXPECT_EQ(logged_.back(), "stopped; every state saved");
  EXPECT_EQ(echoed, logged_) << "a terminal sees what the log sees";

  const auto widget = widget::WidgetSnapshot::load(widget::AppGroup::inFolder(folder_ / "group"));
  ASSERT_TRUE(widget);
  EXPECT_EQ(widget->limit, 80);
  for (const char* name : {"monitor", "watchdog", "departures", "alerts", "kept"}) {
    EXPECT_TRUE(StateStore::peek(folder_ / "state", name)) << name;
  }
  EXPECT_NE(widget::readWholeFile(folder_ / "kestrin.prom").value_or("").find("kestrin_charge_limit_ratio 0.8\n"),
            std::string::npos);

  // The next run reads back what the platform kept.
  Service again(platform(), options());
  EXPECT_TRUE(restored_);
}

TEST_F(ServiceTest, AnswersTheControlAsItsOwnChange) {
  Service service(platform(), options());
  service.start();
  (void)service.tick(now_);
  const widget::ControlRequest request{false, now_ + 30s};
  auto& preferences = *service.platform().group.preferences;
  ASSERT_TRUE(preferences.setDictionary(widget::ControlRequest::requestKey, request.dictionary()));
  now_ += 31s;
  const auto report = service.tick(now_);
  EXPECT_EQ(report.controlAnswered, false);
  EXPECT_TRUE(battery_->reading.limit.isOff());
  EXPECT_EQ(service.monitor().state().lastOwnChangeAt, now_);
  // Ours: the limit-change rule blames nobody for it.
  now_ += 60s;
  const auto next = service.tick(now_);
  EXPECT_TRUE(std::none_of(next.raised.begin(), next.raised.end(), [](const BatteryAlert& alert) {
    return alert.kind == BatteryAlert::Kind::limitTurnedOff;
  }));
}

}  // namespace
}  // namespace kestrin::app
