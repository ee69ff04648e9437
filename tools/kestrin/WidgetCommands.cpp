#include "tools/kestrin/WidgetCommands.hpp"

#include "BatteryCore/supervision/Attention.hpp"
#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "KestrinWidget/Clock.hpp"
#include "KestrinWidget/SetLimitFromControlIntent.hpp"
#include "KestrinWidget/SharedContainer.hpp"
#include "BatteryCore/text/MeaningTimeLeft.hpp"
#include "app/StateStore.hpp"
#include "app/Settings.hpp"
#include "tools/kestrin/CommandSupport.hpp"

#include <CLI/CLI.hpp>

#include <ostream>
#include <sstream>

namespace kestrin::tool {

namespace {

namespace Formatting = batterycore::Formatting;
namespace Meaning = batterycore::Meaning;
using widget::WidgetSnapshot;

// A figure with its sentence below it, indented; either may be missing.
void figureAndLine(std::ostream& out, const std::optional<std::string>& figure,
                   const std::optional<std::string>& line) {
  if (figure) out << *figure << "\n";
  if (line) out << (figure ? "  " : "") << *line << "\n";
}

}  // namespace

std::optional<std::string> timeLeftFromStates(const std::filesystem::path& stateFolder, batterycore::Date now) {
  constexpr batterycore::Seconds kFreshFor = std::chrono::minutes{15};
  try {
    const auto record = app::StateStore::peek(stateFolder, "monitor");
    if (!record) return std::nullopt;
    const auto last = batterycore::optional<batterycore::BatterySnapshot>(*record, "last");
    if (!last || last->pluggedIn || !last->minutesToEmpty || *last->minutesToEmpty <= 0) return std::nullopt;
    if (now < last->at || now - last->at > kFreshFor) return std::nullopt;
    const int since = static_cast<int>((now - last->at) / std::chrono::minutes{1});
    auto level = batterycore::DetailLevel::simple;
    if (const auto settings = widget::readWholeFile(stateFolder / "settings.json")) {
      level = app::Settings::fromJson(batterycore::Json::parse(*settings)).level;
    }
    return Meaning::timeLeft(*last->minutesToEmpty - since, level).left;
  } catch (const std::exception&) {
    return std::nullopt;  // a damaged file is the service's to report
  }
}

std::string renderStatus(const std::optional<WidgetSnapshot>& snapshot, batterycore::Date now,
                         const std::optional<std::string>& timeLeft) {
  if (!snapshot || snapshot->isStale(now)) {
    return Meaning::text("widget.placeholder", "Open Kestrin once to see your battery here.") + "\n";
  }
  std::ostringstream out;
  out << Formatting::percent(snapshot->percent);
  if (snapshot->charging) out << " · " << Meaning::text("accessory.charging", "Charging");
  out << "\n";
  if (snapshot->limit) {
    out << Meaning::text("limit.title.on", "Charge limit on") << " · " << Formatting::percent(*snapshot->limit)
        << "\n";
  } else {
    out << Meaning::text("limit.title.off", "Charge limit off") << "\n";
  }
  out << snapshot->headline << "\n";
  if (timeLeft && !snapshot->charging) out << *timeLeft << "\n";
  out << "Mood: " << batterycore::Attention::rawValue(snapshot->mood) << "\n";
  const auto health =
      snapshot->health ? std::optional(Meaning::format("widget.health", "%@ health", {*snapshot->health}))
                       : std::nullopt;
  figureAndLine(out, health, snapshot->healthLine);
  const auto highCharge =
      snapshot->highCharge
          ? std::optional(Meaning::format("widget.above80", "%@ above 80%%", {*snapshot->highCharge}))
          : std::nullopt;
  figureAndLine(out, highCharge, snapshot->highChargeLine);
  return out.str();
}

namespace {

std::string placeholder() {
  return Meaning::text("widget.placeholder", "Open Kestrin once to see your battery here.");
}

bool fresh(const std::optional<WidgetSnapshot>& snapshot, batterycore::Date now) {
  return snapshot && !snapshot->isStale(now);
}

std::string chargeText(const WidgetSnapshot& snapshot) {
  return Formatting::percent(snapshot.percent) + (snapshot.charging ? " ⚡" : "");
}

}  // namespace

std::string renderWaybar(const std::optional<WidgetSnapshot>& snapshot, batterycore::Date now,
                         const std::optional<std::string>& timeLeft) {
  batterycore::Json object;
  if (!fresh(snapshot, now)) {
    object = {{"text", placeholder()}, {"tooltip", placeholder()}, {"class", "placeholder"}};
  } else {
    std::string tooltip = snapshot->headline;
    const auto left = snapshot->charging ? std::nullopt : timeLeft;
    for (const auto& line : {left, snapshot->healthLine, snapshot->highChargeLine}) {
      if (line) tooltip += "\n" + *line;
    }
    object = {{"text", chargeText(*snapshot)},
              {"tooltip", tooltip},
              {"class", std::string(batterycore::Attention::rawValue(snapshot->mood))},
              {"percentage", snapshot->percent}};
  }
  return object.dump(-1, ' ', false, batterycore::Json::error_handler_t::replace) + "\n";
}

std::string renderLine(const std::optional<WidgetSnapshot>& snapshot, batterycore::Date now,
                       const std::optional<std::string>& timeLeft) {
  if (!fresh(snapshot, now)) return placeholder() + "\n";
  const bool showLeft = timeLeft && !snapshot->charging;
  return chargeText(*snapshot) + " · " + snapshot->headline + (showLeft ? " · " + *timeLeft : std::string()) + "\n";
}

int runStatus(const WidgetOptions& options, std::ostream& out, std::ostream& err) {
  const auto moment = nowOption(options.now, err);
  if (!moment) return 2;
  const batterycore::Date now = *moment;
  if (!checkFolderOption(options.stateFolder, "--state", err)) return 1;
  const auto snapshot = WidgetSnapshot::load();
  const auto folder = stateFolderOrDefault(options.stateFolder);
  const auto timeLeft = folder ? timeLeftFromStates(*folder, now) : std::nullopt;
  if (options.format == "waybar") {
    out << renderWaybar(snapshot, now, timeLeft);
  } else if (options.format == "line") {
    out << renderLine(snapshot, now, timeLeft);
  } else {
    out << renderStatus(snapshot, now, timeLeft);
  }
  return 0;
}

int runLimit(const WidgetOptions& options, std::ostream& out, std::ostream& err) {
  bool on = options.limit == "on";
  if (options.limit == "toggle") {
    // The opposite of what the widget shows; without a snapshot there is no
    // running service to ask.
    const auto snapshot = WidgetSnapshot::load();
    if (!snapshot) {
      err << widget::SetLimitFromControlIntent::notRunningText() << "\n";
      return 1;
    }
    on = !snapshot->limit.has_value();
  }
  try {
    widget::SetLimitFromControlIntent{.value = on}.perform();
  } catch (const widget::ControlMessage& message) {
    err << message.text << "\n";
    return 1;
  }
  out << (on ? Meaning::text("limit.title.on", "Charge limit on") : Meaning::text("limit.title.off", "Charge limit off"))
      << "\n";
  return 0;
}

bool WidgetCommands::chosen() const { return (status != nullptr && *status) || (limit != nullptr && *limit); }

int WidgetCommands::run(std::ostream& out, std::ostream& err) const {
  if (*status) return runStatus(*options, out, err);
  return runLimit(*options, out, err);
}

WidgetCommands addWidgetCommands(CLI::App& app) {
  WidgetCommands commands;
  commands.options = std::make_shared<WidgetOptions>();
  commands.status = app.add_subcommand("status", "Show what the widget shows: charge, limit, mood, health");
  commands.status->add_option("--now", commands.options->now, "The moment to judge staleness at (ISO 8601)");
  commands.status->add_option("--format", commands.options->format, "text, waybar (one JSON object) or line")
      ->check(CLI::IsMember({"text", "waybar", "line"}));
  commands.status->add_option("--state", commands.options->stateFolder,
                              "The service's state folder, for the time left on battery");
  commands.limit = app.add_subcommand("limit", "Switch the charge limit through the running application");
  commands.limit->add_option("state", commands.options->limit, "on, off or toggle")
      ->required()
      ->check(CLI::IsMember({"on", "off", "toggle"}));
  return commands;
}

}  // namespace kestrin::tool
