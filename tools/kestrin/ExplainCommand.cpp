#include "tools/kestrin/ExplainCommand.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/supervision/Attention.hpp"
#include "BatteryCore/supervision/CalibrationDetector.hpp"
#include "BatteryCore/supervision/FullChargeSession.hpp"
#include "BatteryCore/supervision/LimitWatchdog.hpp"
#include "BatteryCore/supervision/Situation.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/MeaningSituation.hpp"

#include <CLI/CLI.hpp>

#include <iostream>
#include <optional>
#include <string>

namespace kestrin::tool {

using namespace batterycore;

struct ExplainCommand::Options {
  std::string snapshotFile;
  std::string sessionFile;
  std::string watchdogFile;
  std::string calibrationFile;
  std::string level = "simple";
  std::string locale;
  std::string now;
  std::string timeZone;
};

namespace {

// The record in the file at `path`; absent, with a line on standard error
// naming the file, when it cannot be read or decoded.
template <class T>
std::optional<T> load(const std::string& path) {
  return decodeJsonFile(path, std::cerr, [](const Json& json) { return decode<T>(json); });
}

// A saved state that was asked for must be read; one that was not keeps `value`.
template <class T>
bool loadIfGiven(const std::string& path, T& value) {
  if (path.empty()) return true;
  auto loaded = load<typename T::value_type>(path);
  if (loaded) value = std::move(*loaded);
  return loaded.has_value();
}

// The options first, each named in the one line that refuses it (status 2);
// then the files (status 1).
int explain(const ExplainCommand::Options& options) {
  if (!useLocale(options.locale, std::cerr)) return 2;
  std::optional<Date> chosenNow;
  if (!options.now.empty()) {
    chosenNow = nowOption(options.now, std::cerr);
    if (!chosenNow) return 2;
  }
  const auto calendar = calendarOption(options.timeZone, "--time-zone", std::cerr);
  if (!calendar) return 2;
  const DetailLevel level = detailLevelFromRaw(options.level).value_or(DetailLevel::simple);

  const auto read = load<BatterySnapshot>(options.snapshotFile);
  if (!read) return 1;
  const BatterySnapshot& snapshot = *read;
  std::optional<FullChargeSession> session;
  std::optional<LimitWatchdog> watchdog = LimitWatchdog{};
  std::optional<CalibrationDetector> detector = CalibrationDetector{};
  if (!loadIfGiven(options.sessionFile, session) || !loadIfGiven(options.watchdogFile, watchdog) ||
      !loadIfGiven(options.calibrationFile, detector)) {
    return 1;
  }
  const Date now = chosenNow.value_or(snapshot.at);

  const Situation situation{snapshot, watchdog->state, session, detector->state, LimitAvailability::available()};
  const Attention attention = Attention::of(situation);

  std::cout << "attention: " << attention.description() << "\n";
  std::cout << "widget tone: " << Attention::rawValue(attention.widgetTone()) << "\n";
  std::cout << "headline: " << Meaning::headline(attention, snapshot, session, level) << "\n";
  std::cout << "detail: " << Meaning::detail(attention, snapshot, session, level, now, *calendar) << "\n";
  std::cout << "why: " << Meaning::whyTitle(attention, snapshot) << "\n";
  if (const auto banner = Meaning::banner(attention, level)) {
    std::cout << "banner: " << banner->title << "\n";
    std::cout << "banner detail: " << banner->detail << "\n";
  } else {
    std::cout << "banner: none\n";
  }
  return 0;
}

}  // namespace

ExplainCommand ExplainCommand::add(CLI::App& app) {
  auto options = std::make_shared<Options>();
  auto* command = app.add_subcommand("explain", "Show what Kestrin says about one battery reading");
  command->add_option("snapshot", options->snapshotFile, "A battery snapshot as JSON")->required();
  command->add_option("--session", options->sessionFile, "A running full charge, as its saved JSON");
  command->add_option("--watchdog", options->watchdogFile, "The limit watchdog's saved state");
  command->add_option("--calibration", options->calibrationFile, "The calibration detector's saved state");
  command->add_option("--level", options->level, "simple or technical")
      ->check(CLI::IsMember({"simple", "technical"}))
      ->capture_default_str();
  command->add_option("--locale", options->locale, "The language and region, such as de_DE");
  command->add_option("--now", options->now, "The moment to explain at (ISO 8601); the reading's own by default");
  command->add_option("--time-zone", options->timeZone, "The calendar's time zone; the system's by default");
  return ExplainCommand(std::move(options), command);
}

bool ExplainCommand::chosen() const { return command_->parsed(); }

int ExplainCommand::run() const { return explain(*options_); }

}  // namespace kestrin::tool
