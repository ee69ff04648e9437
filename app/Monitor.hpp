// Monitor: the application's tick. Each tick takes one reading, steps every
// rule in a fixed order, paces the alerts, works out the one attention, writes
// the widget snapshot when it is due and answers the Control Center control.
//
//   Monitor monitor(source, limit, calendar);
//   monitor.settings().smartTopUp = true;
//   auto report = monitor.tick(now);          // what happened, for the log or a story
//   report.posted                             // notifications to show now
//   monitor.save(store, now);                 // persist what changed
//
// The order within a tick: limit watchdog, limit change rule, calibration
// detector (with the latest power-log hit), the running full charge (putting
// the limit back when it ends), heat, departures, a trip in the calendar, the
// smart top-up, time above
// 80%, health sampling and milestones, the weak-charger rule, the weekly
// note, the background drain, accessory batteries; then the alert
// policy, the attention, the widget and the control. The rules themselves are
// pure; the monitor owns their states and the only side effects: switching the
// limit, writing the widget snapshot and answering the control.
#pragma once

#include "BatteryCore/departures/CalendarEvent.hpp"
#include "BatteryCore/departures/CalendarTrigger.hpp"
#include "BatteryCore/departures/DepartureLedger.hpp"
#include "BatteryCore/departures/DepartureModel.hpp"
#include "BatteryCore/departures/SmartTopUp.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/health/AccessoryBattery.hpp"
#include "BatteryCore/health/AccessoryRule.hpp"
#include "BatteryCore/health/BackgroundDrain.hpp"
#include "BatteryCore/health/ChargerMemory.hpp"
#include "BatteryCore/health/HealthMilestone.hpp"
#include "BatteryCore/health/HealthTrend.hpp"
#include "BatteryCore/health/HighChargeLedger.hpp"
#include "BatteryCore/health/ProcessSample.hpp"
#include "BatteryCore/health/WeakChargerRule.hpp"
#include "BatteryCore/health/WeeklyNote.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/AlertPolicy.hpp"
#include "BatteryCore/supervision/Attention.hpp"
#include "BatteryCore/supervision/CalibrationDetector.hpp"
#include "BatteryCore/supervision/FullChargeSession.hpp"
#include "BatteryCore/supervision/HeatRule.hpp"
#include "BatteryCore/supervision/LimitWatchdog.hpp"
#include "KestrinWidget/SharedPreferences.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"
#include "app/LimitController.hpp"
#include "app/Settings.hpp"
#include "app/StateStore.hpp"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kestrin::app {

// Everything the monitor remembers between ticks, persisted file by file.
struct MonitorState {
  std::optional<batterycore::BatterySnapshot> last;
  std::optional<batterycore::Date> lastTick;
  std::optional<batterycore::Date> lastOwnChangeAt;
  batterycore::LimitWatchdog watchdog;
  batterycore::CalibrationDetector calibration;
  std::optional<batterycore::FullChargeSession> session;
  std::optional<batterycore::HeatRule::Last> lastHot;
  batterycore::DepartureLedger departures;
  batterycore::SmartTopUp smartTopUp;
  batterycore::CalendarTrigger trips;
  batterycore::HighChargeLedger highCharge;
  std::vector<batterycore::HealthTrend::Sample> health;
  std::optional<batterycore::HealthMilestone> milestone;
  batterycore::WeakChargerRule weakCharger;
  batterycore::ChargerMemory chargers;
  batterycore::WeeklyNote weekly;
  batterycore::BackgroundDrain drain;
  batterycore::AccessoryRule accessories;
  batterycore::AlertPolicy policy;
  std::vector<batterycore::BatteryAlert> alerts;  // the alerts list, oldest first
  std::optional<widget::WidgetSnapshot> widget;
  std::optional<batterycore::Date> widgetWrittenAt;

  friend bool operator==(const MonitorState&, const MonitorState&) = default;
};

struct TickReport {
  std::optional<batterycore::BatterySnapshot> snapshot;  // absent: the battery could not be read
  std::vector<batterycore::BatteryAlert> raised;         // everything the rules raised
  std::vector<batterycore::BatteryAlert> posted;         // what the policy lets out now
  std::optional<batterycore::Attention> attention;
  bool attentionChanged = false;
  std::string headline;
  std::optional<batterycore::FullChargeSession> sessionStarted;
  std::optional<batterycore::FullChargeSession::RestoreReason> sessionEnded;
  std::optional<std::string> limitFailure;  // switching the limit failed, and why
  std::optional<widget::WidgetSnapshot> widgetWritten;
  std::optional<bool> controlAnswered;      // the control asked for on (true) or off (false)
};

class Monitor {
 public:
  struct Hooks {
    // The power-management log since the last look (for calibration).
    std::function<std::string()> powerLog;
    // Where widget snapshots go; none: not written anywhere.
    std::function<void(const widget::WidgetSnapshot&)> writeWidget;
    // The group's shared preferences, for answering the control.
    widget::SharedPreferences* controlPreferences = nullptr;
    // The process table and the processor's package energy (absent where it
    // cannot be read), for the background-drain rule; asked only on battery.
    std::function<std::vector<batterycore::ProcessSample>()> processes;
    std::function<std::optional<double>()> packageEnergy;
    // The events of the calendars at `path` (the setting) around `now`,
    // today to the day after tomorrow; asked on every tick while trips in the
    // calendar count, so it should keep what it read for a while.
    std::function<std::vector<batterycore::CalendarEvent>(batterycore::Date now, const std::string& path)>
        calendarEvents;
    // The batteries of wireless mice, keyboards and the like.
    std::function<std::vector<batterycore::AccessoryBattery>()> accessories;
  };

  Monitor(batterycore::BatterySource& source, LimitController& limit, batterycore::Calendar calendar);
  Monitor(batterycore::BatterySource& source, LimitController& limit, batterycore::Calendar calendar,
          Hooks hooks);

  TickReport tick(batterycore::Date now, std::optional<batterycore::Date> wokeAt = std::nullopt);

  // What the person can do.
  // Starts a full charge with these options; the reason when it cannot.
  std::optional<std::string> startFullCharge(batterycore::Date now, const FullChargeOptions& options);
  std::optional<std::string> stopFullCharge(batterycore::Date now);
  void skipToday(batterycore::Date now);
  // "Not tonight" on a calendar trip: no charge for it, and a running one stops.
  void skipTonight(batterycore::Date now);
  void forgetUnplugs();
  void clearAlerts() {
    state_.alerts.clear();
    ++alertsEdits_;
  }

  Settings& settings() { return settings_; }
  const Settings& settings() const { return settings_; }
  const MonitorState& state() const { return state_; }
  const batterycore::Calendar& calendar() const { return calendar_; }
  // Days from the next tick on follow this calendar (the system's time zone
  // changed); what was booked stays under the day keys it was booked under.
  void setCalendar(batterycore::Calendar calendar);

  // Reads every state from the store (damaged files are moved aside there).
  void load(StateStore& store);
  // The same states without a monitor, for the commands that only show them.
  static MonitorState readState(StateStore& store);
  // Reads the settings again: another process may have changed them.
  void reloadSettings(StateStore& store);
  // Writes what changed. The states that change on every tick (the last
  // reading, time above 80%) go at most every ten minutes. With `all` (at
  // shutdown) every state is written, so the folder holds all of them.
  // True when the per-tick states were written this time.
  bool save(StateStore& store, batterycore::Date now, bool all = false);
  // Whether the next save at `now` writes the per-tick states.
  bool flushDue(batterycore::Date now) const;

 private:
  // One tick's reading and what it has done so far.
  struct Tick {
    TickReport& report;
    const batterycore::BatterySnapshot& reading;
    batterycore::Date now;
    std::optional<batterycore::Date> wokeAt;
    bool ours;  // a full charge of ours was running when the tick began
  };
  // The tick: each stage in this order.
  static const std::array<void (Monitor::*)(Tick&), 15> stages;
  void limitStage(Tick& t);
  void calibrationStage(Tick& t);
  void sessionStage(Tick& t);
  void heatStage(Tick& t);
  void departureStage(Tick& t);
  void tripStage(Tick& t);
  void smartTopUpStage(Tick& t);
  void healthStage(Tick& t);
  void chargerStage(Tick& t);
  void weeklyStage(Tick& t);
  void drainStage(Tick& t);
  void accessoryStage(Tick& t);
  void alertStage(Tick& t);
  void attentionStage(Tick& t);
  void controlStage(Tick& t);

  // Switches the limit and, when that worked, records the change as ours, so
  // the limit-change rule does not blame the person for it. The reason when
  // it failed.
  std::optional<std::string> switchLimit(bool on, batterycore::Date now);
  // Switches the limit off for a full charge of ours (a trip, a top-up);
  // false, with the failure in the report, when the limit would not switch.
  bool startOurs(Tick& t, const batterycore::FullChargeSession& session);
  void raise(TickReport& report, batterycore::BatteryAlert alert);
  // With the keep-on setting: a limit that was on before a wake or a restart
  // and is off now, with no full charge of ours running, is switched back on
  // and `reading` shows it on; the line for the alerts list.
  std::optional<batterycore::BatteryAlert> keepLimitOn(batterycore::BatterySnapshot& reading, batterycore::Date now,
                                                       std::optional<batterycore::Date> wokeAt);
  void endSession(TickReport& report, batterycore::FullChargeSession::RestoreReason reason,
                  std::vector<batterycore::BatteryAlert> alerts, batterycore::Date now);
  std::optional<batterycore::Date> nextDeparture(batterycore::Date now);
  widget::WidgetSnapshot widgetSnapshot(const batterycore::BatterySnapshot& snapshot,
                                        const batterycore::Attention& attention, batterycore::Date now) const;
  void writeWidgetIfDue(TickReport& report, const batterycore::BatterySnapshot& snapshot,
                        const batterycore::Attention& attention, batterycore::Date now);

  batterycore::BatterySource& source_;
  LimitController& limit_;
  batterycore::Calendar calendar_;
  Hooks hooks_;
  Settings settings_;
  MonitorState state_;
  std::optional<batterycore::Attention> lastAttention_;
  // Alerts raised between ticks (a full charge the person stopped), raised
  // again by the next tick.
  std::vector<batterycore::BatteryAlert> carried_;
  bool ticked_ = false;  // a reading was taken since this monitor started

  // The next departure only changes with the ledger or the day; worked out
  // again only then.
  std::size_t departureLedgerSize_ = static_cast<std::size_t>(-1);
  std::string departureDay_;
  std::optional<batterycore::Date> departure_;

  std::optional<batterycore::Date> flushedAt_;
  std::optional<MonitorState> saved_;
  // The alerts list (up to 200 alerts of text) and the health samples (one
  // a day, up to 1000) are too long to compare with the saved ones on every
  // tick: they change only where these count.
  std::uint64_t alertsEdits_ = 0;
  std::uint64_t savedAlertsEdits_ = 0;
  std::uint64_t healthEdits_ = 0;
  std::uint64_t savedHealthEdits_ = 0;
  std::optional<Settings> savedSettings_;
};

}  // namespace kestrin::app
