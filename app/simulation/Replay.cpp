#include "app/simulation/Replay.hpp"

namespace kestrin::app::simulation {

using namespace batterycore;

namespace {

class TraceSource final : public BatterySource {
 public:
  std::optional<BatterySnapshot> reading;
  std::optional<BatterySnapshot> read() override { return reading; }
};

class RecordedLimit final : public LimitController {
 public:
  std::optional<std::string> switchOn() override { return refusal(); }
  std::optional<std::string> switchOff() override { return refusal(); }

 private:
  static std::string refusal() { return "a replay cannot switch the limit of the machine that recorded it"; }
};

}  // namespace

std::vector<BatterySnapshot> readTrace(std::istream& trace, std::vector<std::string>& problems) {
  std::vector<BatterySnapshot> readings;
  std::string line;
  for (int number = 1; std::getline(trace, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    try {
      readings.push_back(decode<BatterySnapshot>(Json::parse(line)));
    } catch (const Json::exception&) {
      problems.push_back("line " + std::to_string(number) + ": not JSON");
    } catch (const DecodingError& error) {
      problems.push_back("line " + std::to_string(number) + ": " + error.what());
    }
  }
  return readings;
}

MonitorState replay(const std::vector<BatterySnapshot>& readings, const Calendar& calendar, const Settings& settings,
                    const Simulation::Sink& sink) {
  TraceSource source;
  RecordedLimit limit;
  Monitor monitor(source, limit, calendar);
  monitor.settings() = settings;
  std::string lastHeadline;
  std::optional<Date> previous;
  for (const auto& reading : readings) {
    // A trace out of order would run the rules backwards: such readings are skipped.
    if (previous && reading.at <= *previous) continue;
    previous = reading.at;
    source.reading = reading;
    const auto report = monitor.tick(reading.at);
    for (const auto& event : eventsOf(report, monitor.settings(), reading.at, lastHeadline)) sink(event);
  }
  return monitor.state();
}

}  // namespace kestrin::app::simulation
