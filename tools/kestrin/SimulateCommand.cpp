#include "tools/kestrin/SimulateCommand.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "BatteryCore/departures/DepartureModel.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/MeaningHealth.hpp"
#include "BatteryCore/text/MeaningSmart.hpp"
#include "app/live/ICalendarFiles.hpp"
#include "app/simulation/Replay.hpp"
#include "app/simulation/Simulation.hpp"

#include <CLI/CLI.hpp>
#include <unicode/dtfmtsym.h>
#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <system_error>

namespace kestrin::tool {

namespace fs = std::filesystem;
using namespace batterycore;
using app::simulation::Scenario;
using app::simulation::Simulation;
using app::simulation::SimulationEvent;

namespace {


// "Monday, March 2, 2026" in the locale and zone.
std::string longDay(Date date, const Calendar& calendar) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Locale locale = icu::Locale::getDefault();
  std::unique_ptr<icu::DateTimePatternGenerator> generator(
      icu::DateTimePatternGenerator::createInstance(locale, status));
  if (U_FAILURE(status)) return calendar.dayKey(date);
  const auto pattern = generator->getBestPattern(u"yMMMMEEEEd", status);
  icu::SimpleDateFormat format(pattern, locale, status);
  if (U_FAILURE(status)) return calendar.dayKey(date);
  format.adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(calendar.timeZone())));
  icu::UnicodeString text;
  format.format(secondsSince1970(date) * 1000.0, text);
  std::string out;
  text.toUTF8String(out);
  return out;
}

std::string marker(SimulationEvent::Kind kind) {
  switch (kind) {
    case SimulationEvent::Kind::attention: return "  ";
    case SimulationEvent::Kind::alertPosted: return "! ";
    case SimulationEvent::Kind::alertHeldBack: return "· ";
    case SimulationEvent::Kind::alertListed: return "· ";
    case SimulationEvent::Kind::fullChargeStarted: return "↑ ";
    case SimulationEvent::Kind::fullChargeEnded: return "↓ ";
    case SimulationEvent::Kind::limitFailed: return "✗ ";
    case SimulationEvent::Kind::widgetWritten: return "  ";
  }
  return "  ";
}

std::string storyText(const SimulationEvent& event) {
  switch (event.kind) {
    case SimulationEvent::Kind::alertHeldBack: return "held back for now: " + event.text;
    case SimulationEvent::Kind::alertListed: return "in the alerts list: " + event.text;
    case SimulationEvent::Kind::fullChargeEnded: return "full charge over (" + event.text + "), limit back on";
    case SimulationEvent::Kind::limitFailed: return "could not switch the limit: " + event.text;
    default: return event.text;
  }
}

// Tells the events day by day, or as JSON lines.
class StoryPrinter {
 public:
  StoryPrinter(const Calendar& calendar, bool json, std::ostream& out) : calendar_(calendar), json_(json), out_(out) {}

  void operator()(const SimulationEvent& event) {
    if (json_) {
      out_ << event.toJson().dump() << "\n";
      return;
    }
    if (event.kind == SimulationEvent::Kind::widgetWritten) {
      ++widgetWrites_;
      return;
    }
    const std::string key = calendar_.dayKey(event.at);
    if (key != day_) {
      finish();
      day_ = key;
      out_ << "\n" << longDay(event.at, calendar_) << "\n";
    }
    std::string time = Formatting::time(event.at, calendar_);
    if (time.size() < 8) time.insert(0, 8 - time.size(), ' ');
    out_ << "  " << marker(event.kind) << time << "  " << storyText(event) << "\n";
  }

  // Closes the last day.
  void finish() {
    if (!json_ && !day_.empty() && widgetWrites_ > 0) out_ << "        (widget refreshed " << widgetWrites_ << "×)\n";
    widgetWrites_ = 0;
  }

 private:
  const Calendar& calendar_;
  bool json_;
  std::ostream& out_;
  std::string day_;
  int widgetWrites_ = 0;
};

void printSummary(const app::MonitorState& state, const Calendar& calendar, Date end, DetailLevel level,
                  std::ostream& out) {
  out << "\nWhat the weeks left behind\n";

  out << "\n  Time above 80%\n";
  std::string month;
  for (const auto& day : state.highCharge.days) {
    if (day.day.substr(0, 7) == month) continue;
    month = day.day.substr(0, 7);
    const auto at = calendar.startOfDay(std::string_view(day.day));
    if (!at) continue;
    const auto summary = state.highCharge.summary(*at, calendar);
    out << "    " << Formatting::monthYear(month) << ": " << Formatting::hours(summary.hoursAbove80) << " above 80%, "
        << Formatting::hours(summary.hoursPlugged) << " plugged in\n";
  }
  const auto line = Meaning::highCharge(state.highCharge.summary(end, calendar), level);
  out << "    " << line.title << ". " << line.detail << "\n";

  out << "\n  Health\n";
  if (!state.health.empty()) {
    const auto& last = state.health.back();
    const auto percent = HealthTrend::healthPercent(last);
    const auto health = Meaning::health(percent, last.cycleCount, level);
    out << "    " << health.title << ". " << health.detail << "\n";
    const auto projection = HealthTrend::projection(state.health, end, calendar);
    out << "    "
        << Meaning::healthProjection(projection, percent.value_or(0),
                                     HealthTrend::daysInWindow(state.health, end, calendar), level)
        << "\n";
  }

  out << "\n  When you usually unplug\n";
  const auto days = DepartureModel::learned(state.departures, end, calendar);
  out << "    " << Meaning::Smart::learned(days, calendar, level) << "\n";
  out << "    Smart top-ups: " << state.smartTopUp.topUpMinutes.size() << " reached full";
  if (!state.smartTopUp.topUpMinutes.empty()) out << ", now starting " << state.smartTopUp.lead() << " min ahead";
  out << "\n";
}

}  // namespace

bool SimulateCommand::chosen() const { return command != nullptr && command->parsed(); }

// Longer runs are refused rather than left to run for hours.
constexpr int kMostDays = 3660;

std::optional<Scenario> loadScenario(const std::string& nameOrPath, const std::string& folder, std::ostream& err) {
  fs::path path(nameOrPath);
  if (path.extension() != ".json" && !path.has_parent_path()) {
    if (folder.empty()) {
      err << "kestrin: cannot find the bundled scenarios\n";
      return std::nullopt;
    }
    path = fs::path(folder) / (nameOrPath + ".json");
    std::error_code missing;
    if (!fs::exists(path, missing)) {
      err << "kestrin: no scenario named " << nameOrPath << " (looked for " << path.string() << ")\n";
      return std::nullopt;
    }
  }
  auto scenario = decodeJsonFile(path, err, [](const Json& json) { return Scenario::fromJson(json); });
  if (!scenario) return std::nullopt;
  const auto refuse = [&](const std::string& problem) {
    err << "kestrin: " << path.string() << ": " << problem << "\n";
    return std::nullopt;
  };
  if (!knownTimeZone(scenario->timeZone)) return refuse("timeZone: " + scenario->timeZone + " is not a time zone");
  if (scenario->days > kMostDays) return refuse("days: at most " + std::to_string(kMostDays));
  const auto calendar = Calendar::gregorian(scenario->timeZone);
  const auto start = calendar.startOfDay(std::string_view(scenario->start));
  if (!start) return refuse("start: " + scenario->start + " is not a day");
  // The scenario's calendar file lies beside it; one that cannot be read
  // would quietly make a different story.
  if (scenario->calendar) {
    if (fs::path(*scenario->calendar).is_relative()) {
      scenario->calendar = (path.parent_path() / *scenario->calendar).string();
    }
    const auto end = calendar.addingDays(*start, scenario->days);
    const auto reading = app::live::readCalendarEvents(*scenario->calendar, *start, end, calendar);
    if (!reading.errors.empty()) return refuse("calendar: " + singleLine(reading.errors.front()));
  }
  return scenario;
}

int runSimulate(const SimulateOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  const auto level = detailLevelFromRaw(options.level);
  if (!level) {
    err << "kestrin: --level is simple or technical, not " << options.level << "\n";
    return 2;
  }
  if (!(options.tickSeconds >= 1 && options.tickSeconds <= 3600)) {
    err << "kestrin: --tick is between 1 and 3600 seconds\n";
    return 2;
  }
  if (options.days && (*options.days < 1 || *options.days > kMostDays)) {
    err << "kestrin: --days is between 1 and " << kMostDays << "\n";
    return 2;
  }
  if (!options.timeZone.empty() && !knownTimeZone(options.timeZone)) {
    err << "kestrin: --tz " << options.timeZone << " is not a time zone\n";
    return 2;
  }
  if (!checkFolderOption(options.stateFolder, "--state", err)) return 1;
  const auto loaded = loadScenario(options.scenario, options.scenarioFolder, err);
  if (!loaded) return 1;
  const Scenario& scenario = *loaded;

  // A simulation never touches the real state: without --state it gets a
  // fresh folder that goes away afterwards.
  fs::path folder = options.stateFolder;
  bool temporary = false;
  if (folder.empty()) {
    std::string pattern = (fs::temp_directory_path() / "kestrin-simulate-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      err << "kestrin: cannot create a temporary state folder\n";
      return 1;
    }
    folder = pattern;
    temporary = true;
  } else if (std::error_code error; !fs::create_directories(folder, error) && error) {
    err << "kestrin: --state " << folder.string() << ": cannot create it (" << error.message() << ")\n";
    return 1;
  }

  app::simulation::SimulationOptions simulationOptions;
  simulationOptions.days = options.days;
  simulationOptions.tick = Seconds{options.tickSeconds};
  simulationOptions.level = *level;
  if (!options.timeZone.empty()) simulationOptions.timeZone = options.timeZone;
  simulationOptions.stateFolder = folder;
  simulationOptions.durable = !temporary;
  Simulation simulation(scenario, simulationOptions);
  const auto& calendar = simulation.battery().calendar();

  if (!options.json) {
    out << "Kestrin on a simulated laptop: " << scenario.name << "\n";
    if (!scenario.summary.empty()) out << scenario.summary << "\n";
    out << "(" << calendar.timeZone() << ", " << options.days.value_or(scenario.days) << " days, a reading every "
        << options.tickSeconds << " s)\n";
  }

  StoryPrinter printer(calendar, options.json, out);
  const bool showProgress = !options.json && ::isatty(STDERR_FILENO);
  simulation.run(
      [&](const SimulationEvent& event) { printer(event); },
      [&](double done) {
        if (!showProgress) return;
        const int width = 30;
        const int filled = static_cast<int>(done * width);
        err << "\r[" << std::string(filled, '#') << std::string(width - filled, ' ') << "] "
            << static_cast<int>(done * 100) << "%" << (done >= 1.0 ? "\n" : "") << std::flush;
      });
  printer.finish();
  if (!options.json) {
    printSummary(simulation.monitor().state(), calendar, simulation.end() - Seconds{1}, *level, out);
  }
  if (temporary) {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  }
  return 0;
}

bool ReplayCommand::chosen() const { return command != nullptr && command->parsed(); }

int runReplay(const ReplayOptions& options, std::ostream& out, std::ostream& err) {
  if (!useLocale(options.locale, err)) return 2;
  const auto level = detailLevelFromRaw(options.level);
  if (!level) {
    err << "kestrin: --level is simple or technical, not " << options.level << "\n";
    return 2;
  }
  const std::string zone = options.timeZone.empty() ? "UTC" : options.timeZone;
  if (!knownTimeZone(zone)) {
    err << "kestrin: --tz " << zone << " is not a time zone\n";
    return 2;
  }
  const Calendar calendar = Calendar::gregorian(zone, Formatting::localeName());
  const auto text = readFileText(options.trace, err);
  if (!text) return 1;
  std::istringstream file(*text);
  std::vector<std::string> problems;
  const auto readings = app::simulation::readTrace(file, problems);
  if (readings.empty()) {
    err << "kestrin: " << options.trace << " holds no readings"
        << (problems.empty() ? std::string() : " (" + singleLine(problems.front()) + ")") << "\n";
    return 1;
  }
  // A few damaged lines in a long recording are left out, said once.
  if (!problems.empty()) {
    err << "kestrin: " << options.trace << ": skipped " << problems.size() << " line"
        << (problems.size() == 1 ? "" : "s") << " that hold no reading (" << singleLine(problems.front()) << ")\n";
  }
  app::Settings settings;
  settings.level = *level;
  StoryPrinter printer(calendar, options.json, out);
  if (!options.json) {
    out << "Kestrin over " << readings.size() << " recorded readings (" << calendar.timeZone() << ")\n";
  }
  const auto state = app::simulation::replay(readings, calendar, settings, std::ref(printer));
  printer.finish();
  if (!options.json) printSummary(state, calendar, readings.back().at, *level, out);
  return 0;
}

ReplayCommand addReplayCommand(CLI::App& app) {
  ReplayCommand command;
  command.options = std::make_shared<ReplayOptions>();
  auto& o = *command.options;
  command.command = app.add_subcommand("replay", "Run Kestrin over readings recorded on a real machine");
  command.command->add_option("trace", o.trace, "A file with one battery reading (JSON) per line")->required();
  command.command->add_option("--level", o.level, "simple or technical");
  command.command->add_option("--locale", o.locale, "An ICU locale for the texts, such as de_DE");
  command.command->add_option("--tz", o.timeZone, "The IANA time zone the readings were taken in (default UTC)");
  command.command->add_flag("--json", o.json, "One JSON event per line");
  return command;
}

SimulateCommand addSimulateCommand(CLI::App& app) {
  SimulateCommand command;
  command.options = std::make_shared<SimulateOptions>();
  auto& o = *command.options;
  command.command = app.add_subcommand("simulate", "Run Kestrin on a simulated laptop and tell what happened");
  command.command->add_option("scenario", o.scenario, "A bundled scenario (office-worker, calibration, "
                                                      "travel-week, weak-charger) or a JSON file");
  command.command->add_option("--days", o.days, "How many days to simulate");
  command.command->add_option("--tick", o.tickSeconds, "Seconds between readings");
  command.command->add_option("--level", o.level, "simple or technical");
  command.command->add_option("--locale", o.locale, "An ICU locale for the texts, such as de_DE");
  command.command->add_option("--tz", o.timeZone, "An IANA time zone instead of the scenario's");
  command.command->add_option("--state", o.stateFolder, "Keep the state in this folder");
  command.command->add_flag("--json", o.json, "One JSON event per line");
  return command;
}

}  // namespace kestrin::tool
