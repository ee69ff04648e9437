// kestrin: the command-line face of Kestrin.
//
//   kestrin demo                 the bundled sample readings, phase by phase
//   kestrin readings FILE.json   the same table for readings of your own
#include "app/ReadingTable.hpp"
#include "tools/kestrin/Resources.hpp"

#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>

namespace {

int printReadings(const std::filesystem::path& path) {
  std::ifstream file(path);
  if (!file) {
    std::cerr << "kestrin: cannot open " << path.string() << "\n";
    return 1;
  }
  try {
    const auto json = batterycore::Json::parse(file);
    std::cout << kestrin::app::renderReadingTable(kestrin::app::decodeReadings(json));
    return 0;
  } catch (const batterycore::Json::parse_error& error) {
    std::cerr << "kestrin: " << path.string() << " is not valid JSON: " << error.what() << "\n";
  } catch (const batterycore::DecodingError& error) {
    std::cerr << "kestrin: " << path.string() << ": " << error.what() << "\n";
  }
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Kestrin: a battery-care companion for laptops that keep a charge limit."};
  app.require_subcommand(0, 1);

  auto* demo = app.add_subcommand("demo", "Show the bundled sample readings, phase by phase");
  std::string readingsFile;
  auto* readings = app.add_subcommand("readings", "Show the phase, mood and power flow of readings");
  readings->add_option("file", readingsFile, "A JSON file of labelled readings")->required();

  CLI11_PARSE(app, argc, argv);

  if (*readings) return printReadings(readingsFile);
  (void)demo;
  const auto scenarios = kestrin::tool::scenarioFolder(argv[0]);
  if (!scenarios) {
    std::cerr << "kestrin: cannot find the bundled scenarios (share/kestrin/scenarios)\n";
    return 1;
  }
  std::cout << "Kestrin sample readings: what each one means\n\n";
  return printReadings(*scenarios / "readings.json");
}
