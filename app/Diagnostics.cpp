#include "app/Diagnostics.hpp"

#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "app/SettingsTable.hpp"

#include <algorithm>
#include <cctype>
#include <sstream>

namespace kestrin::app {

namespace Meaning = batterycore::Meaning;
using batterycore::Date;
using batterycore::Json;

namespace {

std::string field(const std::string& label, const std::string& value) {
  return Meaning::format("diagnostics.field", "%@: %@", {label, value});
}

std::string iso(const std::optional<Date>& date) { return date ? batterycore::toIso8601(*date) : "none"; }
std::string text(const std::optional<std::string>& value) { return value ? *value : "none"; }
std::string flag(bool value) { return value ? "true" : "false"; }

// The case name of an enumeration written as {"case": {...}}.
std::string caseName(const Json& json) {
  try {
    return batterycore::singleCase(json).first;
  } catch (const batterycore::DecodingError&) {
    return json.dump();
  }
}

// "key=value key=value".
std::string pairs(std::initializer_list<std::pair<const char*, std::string>> items) {
  std::string line;
  for (const auto& [key, value] : items) {
    if (!line.empty()) line += ' ';
    line += key;
    line += '=';
    line += value;
  }
  return line;
}

std::string yesNo(const std::optional<bool>& value) {
  if (!value) return Meaning::text("diagnostics.unknown", "Unknown");
  return *value ? Meaning::text("diagnostics.yes", "Yes") : Meaning::text("diagnostics.no", "No");
}

void dropSerials(Json& json) {
  if (json.is_object()) {
    for (auto it = json.begin(); it != json.end();) {
      std::string key = it.key();
      std::transform(key.begin(), key.end(), key.begin(), [](unsigned char c) { return std::tolower(c); });
      if (key.find("serial") != std::string::npos) {
        it = json.erase(it);
      } else {
        dropSerials(it.value());
        ++it;
      }
    }
  } else if (json.is_array()) {
    for (auto& item : json) dropSerials(item);
  }
}

void replaceAll(std::string& line, const std::string& from, const std::string& to, bool ignoreCase) {
  if (from.size() < 2) return;
  auto lower = [](std::string s) {
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    return s;
  };
  const std::string needle = ignoreCase ? lower(from) : from;
  std::string haystack = ignoreCase ? lower(line) : line;
  for (auto at = haystack.find(needle); at != std::string::npos; at = haystack.find(needle, at + to.size())) {
    line.replace(at, from.size(), to);
    haystack.replace(at, from.size(), to);
  }
}

std::vector<std::string> ruleLines(const MonitorState& state, const Settings& settings) {
  std::vector<std::string> lines;
  auto add = [&lines](const char* key, const char* label, const std::string& value) {
    lines.push_back(field(Meaning::text(key, label), value));
  };

  const auto& watchdog = state.watchdog.state;
  add("diagnostics.rule.watchdog", "Limit watchdog",
      pairs({{"verdict", caseName(watchdog.toJson())}, {"since", iso(watchdog.since())}}));

  const auto& calibration = state.calibration;
  add("diagnostics.rule.calibration", "Calibration",
      pairs({{"verdict", caseName(calibration.state.toJson())},
             {"at", iso(calibration.state.moment())},
             {"fullWhileLimitedDays", std::to_string(calibration.fullWhileLimitedDays.size())},
             {"lastAlertAt", iso(calibration.lastAlertAt)}}));

  if (const auto& session = state.session) {
    add("diagnostics.rule.session", "Full charge",
        pairs({{"origin", caseName(session->origin.toJson())},
               {"startedAt", iso(session->startedAt)},
               {"deadline", iso(session->deadline)},
               {"limit", std::to_string(session->limit)},
               {"reachedFull", flag(session->reachedFull)},
               {"restoreOnUnplug", flag(session->restoreOnUnplug)},
               {"restoreWhenFull", flag(session->restoreWhenFull)}}));
  } else {
    add("diagnostics.rule.session", "Full charge", "none");
  }

  const auto& smart = state.smartTopUp;
  add("diagnostics.rule.smartTopUp", "Smart top-up",
      pairs({{"enabled", flag(settings.smartTopUp)},
             {"lastStartedDay", text(smart.lastStartedDay)},
             {"skippedDay", text(smart.skippedDay)},
             {"topUps", std::to_string(smart.topUpMinutes.size())},
             {"leadMinutes", std::to_string(smart.lead())}}));

  // Event titles are the person's own words: only when, never what.
  const auto& trips = state.trips;
  add("diagnostics.rule.calendar", "Calendar trips",
      pairs({{"enabled", flag(settings.calendarFullCharge)},
             {"next", trips.next ? batterycore::toIso8601(trips.next->start) : "none"},
             {"current", trips.current ? batterycore::toIso8601(trips.current->start) : "none"},
             {"handled", std::to_string(trips.handled.size())},
             {"skipped", std::to_string(trips.skipped.size())}}));

  add("diagnostics.rule.weeklyNote", "Weekly note", pairs({{"week", text(state.weekly.week)}}));

  add("diagnostics.rule.drain", "Background drain",
      pairs({{"window", state.drain.open ? batterycore::toIso8601(state.drain.open->openedAt) : "none"},
             {"alerted", std::to_string(state.drain.alerted.size())}}));

  const auto& accessories = state.accessories.accessories;
  add("diagnostics.rule.accessories", "Accessories",
      pairs({{"known", std::to_string(accessories.size())},
             {"armed", std::to_string(std::count_if(accessories.begin(), accessories.end(),
                                                    [](const auto& memory) { return memory.armed; }))}}));

  const auto& days = state.highCharge.days;
  add("diagnostics.rule.highCharge", "Days at high charge",
      pairs({{"days", std::to_string(days.size())},
             {"first", days.empty() ? "none" : days.front().day},
             {"last", days.empty() ? "none" : days.back().day}}));

  const auto& health = state.health;
  std::optional<int> percent;
  if (!health.empty()) percent = batterycore::HealthTrend::healthPercent(health.back());
  add("diagnostics.rule.health", "Health samples",
      pairs({{"samples", std::to_string(health.size())},
             {"first", health.empty() ? "none" : health.front().day},
             {"last", health.empty() ? "none" : health.back().day},
             {"healthPercent", percent ? std::to_string(*percent) : "none"},
             {"cycles", health.empty() ? "none" : std::to_string(health.back().cycleCount)}}));

  if (const auto& milestone = state.milestone) {
    add("diagnostics.rule.milestone", "Health milestone",
        pairs({{"percent", std::to_string(milestone->percent)}, {"since", batterycore::toIso8601(milestone->since)}}));
  } else {
    add("diagnostics.rule.milestone", "Health milestone", "none");
  }

  std::optional<Date> warning;
  for (const auto& charger : state.weakCharger.chargers) {
    if (charger.since && (!warning || *charger.since > *warning)) warning = charger.since;
  }
  add("diagnostics.rule.weakCharger", "Weak charger",
      pairs({{"chargers", std::to_string(state.weakCharger.chargers.size())}, {"warningSince", iso(warning)}}));

  add("diagnostics.rule.alertPolicy", "Alert pacing",
      pairs({{"waiting", std::to_string(state.policy.waiting.size())},
             {"lastPostAt", iso(state.policy.lastPostAt)},
             {"kindsPosted", std::to_string(state.policy.lastPosted.size())}}));
  return lines;
}

}  // namespace

std::string scrubLine(std::string line, const MachineFacts& facts) {
  // The home folder first: it usually holds the user name.
  if (facts.homeFolder.size() > 1) {
    std::string home = facts.homeFolder;
    while (home.size() > 1 && home.back() == '/') home.pop_back();
    replaceAll(line, home, "~", false);
  }
  for (const auto& word : facts.privateWords) replaceAll(line, word, "***", false);
  replaceAll(line, facts.hostName, "***", true);
  replaceAll(line, facts.userName, "***", true);
  return line;
}

std::string readingLine(const batterycore::BatterySnapshot& reading) {
  Json json = batterycore::encode(reading);
  dropSerials(json);
  return json.dump();
}

std::string diagnosticReport(const DiagnosticsInput& input) {
  const auto& machine = input.machine;
  std::vector<std::string> lines;
  lines.push_back(Meaning::text("diagnostics.title", "Diagnostic report"));
  lines.push_back(machine.apple
                      ? Meaning::text("diagnostics.lead",
                                      "This report lists your Mac's model, macOS version, charge limit state and "
                                      "recent battery readings. Read it first; it only leaves your Mac if you send it.")
                      : Meaning::text("diagnostics.lead.other",
                                      "This report lists your laptop's model, system version, charge limit state and "
                                      "recent battery readings. Read it first; it only leaves your laptop if you "
                                      "send it."));
  lines.emplace_back();

  lines.push_back(Meaning::text("diagnostics.section.machine", "This machine"));
  lines.push_back(field(Meaning::text("diagnostics.version", "Version"), machine.version));
  const auto compatibility = batterycore::Compatibility::check(machine.arch, machine.osVersion, machine.limitSupported);
  lines.push_back(field(Meaning::text("diagnostics.system", "System"),
                        machine.system.empty() ? compatibility.osVersion : machine.system));
  lines.push_back(field(Meaning::text("diagnostics.architecture", "Architecture"), machine.arch));
  lines.push_back(field(Meaning::text("diagnostics.model", "Model"),
                        machine.model ? *machine.model : Meaning::text("diagnostics.unknown", "Unknown")));
  lines.push_back(
      field(Meaning::text("diagnostics.limitAvailable", "Charge limit available"), yesNo(compatibility.limitSupported)));
  if (!machine.limitSwitch.empty()) {
    lines.push_back(field(Meaning::text("diagnostics.limitSwitchedBy", "Charge limit switched by"), machine.limitSwitch));
  }
  // The check's messages speak of Macs and macOS versions.
  if (machine.apple && compatibility.message) lines.push_back(*compatibility.message);
  if (input.reading) {
    const std::string label = input.readingFromService
                                  ? Meaning::text("diagnostics.reading.saved", "Last reading of the service")
                                  : Meaning::text("diagnostics.reading.fresh", "Reading taken now");
    lines.push_back(field(label, readingLine(*input.reading)));
  } else {
    lines.push_back(Meaning::text("diagnostics.reading.none", "No battery reading"));
  }
  for (const auto& unreadable : input.unreadable) {
    lines.push_back(field(Meaning::text("diagnostics.unreadable", "Unreadable state file"), unreadable));
  }
  lines.emplace_back();

  lines.push_back(Meaning::text("diagnostics.section.rules", "Rules"));
  for (auto& line : ruleLines(input.state, input.settings)) lines.push_back(std::move(line));
  lines.emplace_back();

  lines.push_back(Meaning::text("diagnostics.section.settings", "Settings"));
  for (const auto& row : settingRows()) lines.push_back(row.key + " = " + row.show(input.settings));
  lines.emplace_back();

  lines.push_back(Meaning::text("diagnostics.section.alerts", "Last alerts"));
  const auto& alerts = input.state.alerts;  // oldest first
  if (alerts.empty()) lines.push_back(Meaning::text("empty.alerts", "No alerts. All quiet."));
  const std::size_t shown = std::min(alerts.size(), kDiagnosticAlerts);
  for (std::size_t i = 0; i < shown; ++i) {
    const auto& alert = alerts[alerts.size() - 1 - i];
    lines.push_back(field(batterycore::toIso8601(alert.at) + " " + std::string(batterycore::BatteryAlert::rawValue(alert.kind)),
                          alert.title));
  }
  lines.emplace_back();
  lines.push_back(Meaning::text("diagnostics.footer", "No serial number, names or files are included."));

  std::string report;
  for (const auto& line : lines) {
    // One fact per line: a value with a line break of its own stays on it.
    std::string flat = scrubLine(line, machine);
    std::replace(flat.begin(), flat.end(), '\n', ' ');
    std::replace(flat.begin(), flat.end(), '\r', ' ');
    report += flat;
    report += '\n';
  }
  return report;
}

}  // namespace kestrin::app
