// Every record the supervision rules keep between runs, in the form stored on
// disk: read and written back the same, older forms read, damage refused with
// the key path that names it.
#include "BatteryCore/supervision/AlertPolicy.hpp"
#include "BatteryCore/supervision/Attention.hpp"
#include "BatteryCore/supervision/CalibrationDetector.hpp"
#include "BatteryCore/supervision/FullChargeSession.hpp"
#include "BatteryCore/supervision/HeatRule.hpp"
#include "BatteryCore/supervision/LimitWatchdog.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace batterycore {
namespace {

using Reason = FullChargeSession::RestoreReason;

template <class T>
std::string rewritten(const Json& json) {
  return encode(decode<T>(json)).dump();
}

template <class T>
void read(const Json& json) {
  (void)decode<T>(json);
}

TEST(StoredForms, ReadAndWrittenBack) {
  struct Form {
    std::string (*rewrite)(const Json&);
    const char* stored;
    const char* written = nullptr;  // when not the same as stored
  };
  const Form forms[] = {
      {rewritten<std::vector<BatteryAlert::Kind>>,
       R"(["limitNotHolding","limitTurnedOff","hot","fullChargeDone","fullChargeRestored","limitRestoreFailed",)"
       R"("calibrating","calibrationOver","healthMilestone","weakCharger","accessoryLow","calendarFullCharge",)"
       R"("weeklyNote","smartFullCharge","backgroundDrain","limitTurnedOn","limitUnavailable"])"},
      {rewritten<std::vector<Attention::Tone>>,
       R"(["charging","holding","warning","low","battery","calibrating","alert"])"},
      {rewritten<std::vector<Reason>>, R"(["unplugged","full","timer","userCancelled","limitBackOn"])"},
      {rewritten<LimitWatchdog>, R"({"state":{"overshootSuspected":{"since":"2026-03-02T10:00:00Z"}}})"},
      {rewritten<LimitWatchdog>, R"({"state":{"notHolding":{"since":"2026-03-02T10:00:00Z"}}})"},
      {rewritten<LimitWatchdog>, R"({"state":{"holding":{}}})"},
      {rewritten<LimitWatchdog>, R"({"state":{"charging":{}}})"},
      {rewritten<LimitWatchdog>, R"({"state":{"ours":{}}})"},
      {rewritten<CalibrationDetector>,
       R"({"state":{"confirmed":{"since":"2026-03-03T08:00:00Z"}},"fullWhileLimitedDays":["2026-03-03","2026-03-02"],)"
       R"("lastAlertAt":"2026-03-03T08:00:00Z","restingSince":"2026-03-03T12:00:00Z"})",
       R"({"state":{"confirmed":{"since":"2026-03-03T08:00:00Z"}},"fullWhileLimitedDays":["2026-03-02","2026-03-03"],)"
       R"("lastAlertAt":"2026-03-03T08:00:00Z","restingSince":"2026-03-03T12:00:00Z"})"},
      {rewritten<CalibrationDetector>,
       R"({"state":{"suspected":{"since":"2026-03-02T10:00:00Z"}},"fullWhileLimitedDays":[]})"},
      {rewritten<CalibrationDetector>,
       R"({"state":{"recovered":{"at":"2026-03-02T10:00:00Z"}},"fullWhileLimitedDays":[]})"},
      {rewritten<CalibrationDetector>,
       R"({"state":{"normal":{}},"fullWhileLimitedDays":[],"lastAlertAt":"2026-03-02T10:00:00Z"})"},
      {rewritten<CalibrationDetector>, "{}", R"({"state":{"normal":{}},"fullWhileLimitedDays":[]})"},
      {rewritten<AlertPolicy>, "{}", R"({"lastPosted":{},"waiting":[]})"},
      {rewritten<AlertPolicy>,
       R"({"lastPosted":{"hot":"2026-03-02T09:00:00Z","limitNotHolding":"2026-03-02T08:00:00.500Z"},)"
       R"("lastPostAt":"2026-03-02T09:00:00Z","waiting":[{"kind":"weakCharger","at":"2026-03-02T09:00:10Z",)"
       R"("title":"t","body":"b"},{"kind":"limitTurnedOff","at":"2026-03-02T09:00:20Z","title":"t","body":"b",)"
       R"("technicalBody":"tb"}]})",
       R"({"lastPosted":{"limitNotHolding":"2026-03-02T08:00:00.500Z","hot":"2026-03-02T09:00:00Z"},)"
       R"("lastPostAt":"2026-03-02T09:00:00Z","waiting":[{"kind":"weakCharger","at":"2026-03-02T09:00:10Z",)"
       R"("title":"t","body":"b"},{"kind":"limitTurnedOff","at":"2026-03-02T09:00:20Z","title":"t","body":"b",)"
       R"("technicalBody":"tb"}]})"},
      {rewritten<HeatRule::Last>, R"({"at":"2026-03-02T10:00:00Z","level":3})"},
      // A smart origin is written with "smartDeparture" beside it for older readers.
      {rewritten<FullChargeSession>,
       R"({"startedAt":"2026-03-02T10:00:00Z","deadline":"2026-03-03T08:00:00Z",)"
       R"("origin":{"smart":{"departure":"2026-03-03T07:30:00Z"}},"smartDeparture":"2026-03-03T07:30:00Z",)"
       R"("restoreOnUnplug":true,"restoreWhenFull":false,"limit":80,"reachedFull":true,)"
       R"("restoreFailingSince":"2026-03-03T08:00:30Z","restoreAlertSent":true})"},
      {rewritten<FullChargeSession>,
       R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"calendar":{"eventTitle":"Flight to Lisbon"}},)"
       R"("restoreOnUnplug":false,"restoreWhenFull":true,"limit":75,"reachedFull":false,"restoreAlertSent":false})"},
      {rewritten<FullChargeSession>,
       R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"shortcut":{}},"smartDeparture":"2026-03-03T07:30:00Z",)"
       R"("restoreOnUnplug":true,"restoreWhenFull":true,"limit":80})",
       R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"shortcut":{}},)"
       R"("restoreOnUnplug":true,"restoreWhenFull":true,"limit":80,"reachedFull":false,"restoreAlertSent":false})"},
      // The older layout knew only "smartDeparture"; without it the person started the charge.
      {rewritten<FullChargeSession>,
       R"({"startedAt":"2026-03-02T10:00:00Z","smartDeparture":"2026-03-03T07:30:00Z",)"
       R"("restoreOnUnplug":true,"restoreWhenFull":false,"limit":80})",
       R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"smart":{"departure":"2026-03-03T07:30:00Z"}},)"
       R"("smartDeparture":"2026-03-03T07:30:00Z","restoreOnUnplug":true,"restoreWhenFull":false,"limit":80,)"
       R"("reachedFull":false,"restoreAlertSent":false})"},
      {rewritten<FullChargeSession>,
       R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"user":{}},"restoreOnUnplug":false,"restoreWhenFull":true,)"
       R"("limit":75,"reachedFull":false,"restoreAlertSent":false})"},
      {rewritten<FullChargeSession>,
       R"({"startedAt":"2026-03-02T10:00:00Z","restoreOnUnplug":false,"restoreWhenFull":true,"limit":75})",
       R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"user":{}},"restoreOnUnplug":false,"restoreWhenFull":true,)"
       R"("limit":75,"reachedFull":false,"restoreAlertSent":false})"},
  };
  for (const auto& form : forms) {
    EXPECT_EQ(form.rewrite(Json::parse(form.stored)), form.written ? form.written : form.stored);
  }
}

TEST(StoredForms, DamageIsRefusedWithItsKeyPath) {
  struct Damage {
    void (*read)(const Json&);
    const char* stored;
    const char* path;
    const char* reason;
  };
  const Damage damages[] = {
      {read<BatteryAlert::Kind>, R"("meltdown")", "", "unknown alert kind \"meltdown\""},
      {read<Attention::Tone>, R"("lowering")", "", "unknown tone \"lowering\""},
      {read<Reason>, R"("cancelled")", "", "unknown restore reason \"cancelled\""},
      {read<BatteryAlert>, R"({"at":"2026-01-01T00:00:00Z","title":"t"})", "kind", "missing key \"kind\""},
      {read<BatteryAlert>, R"({"kind":"hot","at":"2026-01-01T00:00:00Z"})", "title", "missing key \"title\""},
      {read<BatteryAlert>, R"({"kind":"hot","at":"2026-01-01T00:00:00Z","title":"t"})", "body", "missing key \"body\""},
      {read<LimitWatchdog>, "{}", "state", "missing key \"state\""},
      {read<LimitWatchdog>, R"({"state":{}})", "state", kInvalidNumberOfKeys},
      {read<LimitWatchdog>, R"({"state":{"holding":{},"charging":{}}})", "state", kInvalidNumberOfKeys},
      {read<LimitWatchdog>, R"({"state":{"broken":{}}})", "state.broken", "unknown case \"broken\""},
      {read<LimitWatchdog>, R"({"state":{"notHolding":{}}})", "state.notHolding.since", "missing key \"since\""},
      {read<LimitWatchdog>, R"({"state":{"notHolding":{"since":"soon"}}})", "state.notHolding.since",
       "not an ISO 8601 date: \"soon\""},
      {read<CalibrationDetector>, R"({"state":{"normal":{},"confirmed":{}}})", "state", kInvalidNumberOfKeys},
      {read<CalibrationDetector>, R"({"state":{"recovered":{"since":"2026-03-02T10:00:00Z"}}})",
       "state.recovered.at", "missing key \"at\""},
      {read<CalibrationDetector>, R"({"state":{"calibrating":{}}})", "state.calibrating",
       "unknown case \"calibrating\""},
      {read<CalibrationDetector>, R"({"fullWhileLimitedDays":"2"})", "fullWhileLimitedDays", "expected an array"},
      {read<CalibrationDetector>, R"({"restingSince":17})", "restingSince", "expected an ISO 8601 date"},
      {read<AlertPolicy>, "[]", "", "expected an object"},
      {read<AlertPolicy>, R"({"lastPosted":[]})", "lastPosted", "expected an object"},
      {read<AlertPolicy>, R"({"lastPosted":{"meltdown":"2026-03-02T09:00:00Z"}})", "lastPosted.meltdown",
       "unknown alert kind \"meltdown\""},
      {read<AlertPolicy>, R"({"lastPosted":{"hot":"yesterday"}})", "lastPosted.hot",
       "not an ISO 8601 date: \"yesterday\""},
      {read<AlertPolicy>, R"({"lastPostAt":12})", "lastPostAt", "expected an ISO 8601 date"},
      {read<AlertPolicy>, R"({"waiting":[{"kind":"hot"}]})", "waiting.[0].at", "missing key \"at\""},
      {read<HeatRule::Last>, R"({"at":"2026-03-02T10:00:00Z","level":4})", "level", "thermal level outside 0 to 3"},
      {read<FullChargeSession>, R"({"restoreOnUnplug":true,"restoreWhenFull":false,"limit":80})", "startedAt",
       "missing key \"startedAt\""},
      {read<FullChargeSession>, R"({"startedAt":"2026-03-02T10:00:00Z"})", "restoreOnUnplug",
       "missing key \"restoreOnUnplug\""},
      {read<FullChargeSession>, R"({"startedAt":"2026-03-02T10:00:00Z","restoreOnUnplug":true})", "restoreWhenFull",
       "missing key \"restoreWhenFull\""},
      {read<FullChargeSession>, R"({"startedAt":"2026-03-02T10:00:00Z","restoreOnUnplug":true,"restoreWhenFull":true})",
       "limit", "missing key \"limit\""},
      {read<FullChargeSession>, R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"user":{},"shortcut":{}}})", "origin",
       kInvalidNumberOfKeys},
      {read<FullChargeSession>, R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"robot":{}}})", "origin.robot",
       "unknown case \"robot\""},
      {read<FullChargeSession>, R"({"startedAt":"2026-03-02T10:00:00Z","origin":{"calendar":{}}})",
       "origin.calendar.eventTitle", "missing key \"eventTitle\""},
  };
  for (const auto& damage : damages) {
    try {
      damage.read(Json::parse(damage.stored));
      ADD_FAILURE() << damage.stored << " was read";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.path(), damage.path) << damage.stored;
      EXPECT_EQ(error.reason(), damage.reason) << damage.stored;
    }
  }
}

}  // namespace
}  // namespace batterycore
