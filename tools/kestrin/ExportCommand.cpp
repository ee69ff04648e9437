#include "tools/kestrin/ExportCommand.hpp"

#include "tools/kestrin/CommandSupport.hpp"

#include "app/Export.hpp"
#include "app/StoredState.hpp"

#include <CLI/CLI.hpp>

#include <ostream>

namespace kestrin::tool {

namespace {

const char* stateName(app::ExportSubject subject) {
  switch (subject) {
    case app::ExportSubject::health: return "health";
    case app::ExportSubject::habits: return "highCharge";
    case app::ExportSubject::alerts: return "alerts";
  }
  return "";
}

}  // namespace

int runExport(const ExportOptions& options, std::ostream& out, std::ostream& err) {
  const auto format = app::exportFormatFromRaw(options.format);
  if (!format) {
    err << "kestrin: --format must be csv or json, not " << options.format << "\n";
    return 2;
  }
  const auto subject = app::exportSubjectFromRaw(options.what);
  if (!subject) {
    err << "kestrin: --what must be health, habits or alerts, not " << options.what << "\n";
    return 2;
  }
  const auto folder = stateFolderOrDefault(options.stateFolder);
  if (!folder) {
    err << "kestrin: no folder for the states; give --state DIR\n";
    return 2;
  }

  if (!checkFolderOption(*folder, "--state", err)) return 1;
  const auto stored = app::readStoredState(*folder);
  for (const auto& damage : stored.damaged) {
    if (damage.name == stateName(*subject)) {
      err << "kestrin: " << damage.line << "\n";
      return 1;
    }
  }

  app::ExportTable table;
  switch (*subject) {
    case app::ExportSubject::health: table = app::healthTable(stored.state.health); break;
    case app::ExportSubject::habits: table = app::habitsTable(stored.state.highCharge); break;
    case app::ExportSubject::alerts: table = app::alertsTable(stored.state.alerts); break;
  }
  const std::string text = *format == app::ExportFormat::csv ? app::toCsv(table) : app::toJson(table).dump(2) + "\n";

  if (options.outFile.empty()) {
    out << text;
    return 0;
  }
  return writeFileText(options.outFile, text, err) ? 0 : 1;
}

bool ExportCommand::chosen() const { return command->parsed(); }

int ExportCommand::run(std::ostream& out, std::ostream& err) const { return runExport(*options, out, err); }

ExportCommand addExportCommand(CLI::App& app) {
  ExportCommand export_;
  export_.options = std::make_shared<ExportOptions>();
  auto& options = *export_.options;
  export_.command = app.add_subcommand("export", "The history as CSV or JSON: health, habits or alerts");
  export_.command->add_option("--state", options.stateFolder, "The service's state folder");
  export_.command->add_option("--format", options.format, "csv (default) or json");
  export_.command->add_option("--what", options.what, "health (default), habits or alerts");
  export_.command->add_option("--out", options.outFile, "Write into this file (default: standard output)");
  return export_;
}

}  // namespace kestrin::tool
