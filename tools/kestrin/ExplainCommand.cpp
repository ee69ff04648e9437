#include "tools/kestrin/ExplainCommand.hpp"

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
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
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

// A file that cannot be opened, parsed or decoded; the message names it.
struct InputError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

template <class T>
T load(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw InputError("cannot open " + path);
  try {
    return decode<T>(Json::parse(file));
  } catch (const Json::parse_error& error) {
    throw InputError(path + " is not valid JSON: " + error.what());
  } catch (const DecodingError& error) {
    throw InputError(path + ": " + error.what());
  }
}

// The system's zone when none is given, as the application would use it.
std::string hostTimeZone() {
  std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createDefault());
  icu::UnicodeString id;
  zone->getID(id);
  std::string name;
  id.toUTF8String(name);
  return name;
}

void setLocale(const std::string& name) {
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(icu::Locale(name.c_str()), status);
  if (U_FAILURE(status)) throw InputError("cannot use the locale " + name);
}

void explain(const ExplainCommand::Options& options) {
  if (!options.locale.empty()) setLocale(options.locale);
  const auto snapshot = load<BatterySnapshot>(options.snapshotFile);
  std::optional<FullChargeSession> session;
  if (!options.sessionFile.empty()) session = load<FullChargeSession>(options.sessionFile);
  LimitWatchdog watchdog;
  if (!options.watchdogFile.empty()) watchdog = load<LimitWatchdog>(options.watchdogFile);
  CalibrationDetector detector;
  if (!options.calibrationFile.empty()) detector = load<CalibrationDetector>(options.calibrationFile);

  Date now = snapshot.at;
  if (!options.now.empty()) {
    const auto parsed = parseIso8601(options.now);
    if (!parsed) throw InputError("--now is not an ISO 8601 date: " + options.now);
    now = *parsed;
  }
  const auto calendar = Calendar::gregorian(options.timeZone.empty() ? hostTimeZone() : options.timeZone,
                                            Formatting::localeName());
  const DetailLevel level = detailLevelFromRaw(options.level).value_or(DetailLevel::simple);

  const Situation situation{snapshot, watchdog.state, session, detector.state, LimitAvailability::available()};
  const Attention attention = Attention::of(situation);

  std::cout << "attention: " << attention.description() << "\n";
  std::cout << "widget tone: " << Attention::rawValue(attention.widgetTone()) << "\n";
  std::cout << "headline: " << Meaning::headline(attention, snapshot, session, level) << "\n";
  std::cout << "detail: " << Meaning::detail(attention, snapshot, session, level, now, calendar) << "\n";
  std::cout << "why: " << Meaning::whyTitle(attention, snapshot) << "\n";
  if (const auto banner = Meaning::banner(attention, level)) {
    std::cout << "banner: " << banner->title << "\n";
    std::cout << "banner detail: " << banner->detail << "\n";
  } else {
    std::cout << "banner: none\n";
  }
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

int ExplainCommand::run() const {
  try {
    explain(*options_);
    return 0;
  } catch (const InputError& error) {
    std::cerr << "kestrin: " << error.what() << "\n";
  }
  return 1;
}

}  // namespace kestrin::tool
