// `kestrin status` and `kestrin limit on|off`: what the widget shows, and the
// Control Center toggle's action, from a terminal.
//
//   kestrin status                          the latest snapshot as the widget shows it
//   kestrin status --now 2026-03-01T09:00:00Z
//   kestrin status --format waybar          one JSON object for a Waybar custom module
//   kestrin status --format line            one short line for i3blocks or Polybar
//   kestrin limit off                       asks the running application; exit 0 when applied
//   kestrin limit toggle                    the opposite of what the widget shows
//
// Both find the application group as the widget does (KESTRIN_GROUP_DIR, else
// $XDG_STATE_HOME/kestrin/group, else ~/.local/state/kestrin/group). `limit`
// exits 1 with the message on stderr when the application refuses or does
// not answer within three seconds.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"

#include <iosfwd>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct WidgetOptions {
  std::string now;             // status: ISO 8601; empty: the system clock
  std::string format = "text";  // status: text, waybar or line
  std::string limit = "on";     // limit: "on", "off" or "toggle"
  std::string stateFolder;      // status: the service's states, for the time left on battery
};

// On battery: the pace of the last reading the service kept in `stateFolder`
// ("About an hour left"), counted down by the time since it was taken; absent
// when plugged in, without an estimate, or when that reading is older than
// a quarter of an hour.
std::optional<std::string> timeLeftFromStates(const std::filesystem::path& stateFolder, batterycore::Date now);

// The widget's face as lines of text: percent and charging, the limit, the
// headline, the mood, then health and high charge as far as the snapshot has
// them; the placeholder when there is no snapshot or it is stale.
// On battery the time left follows the headline.
std::string renderStatus(const std::optional<widget::WidgetSnapshot>& snapshot, batterycore::Date now,
                         const std::optional<std::string>& timeLeft = std::nullopt);

// The object Waybar's custom modules read: "text" (the charge), "tooltip"
// (the headline, then health and high charge), "class" (the mood, or
// "placeholder") and "percentage". One line, ending in a newline.
std::string renderWaybar(const std::optional<widget::WidgetSnapshot>& snapshot, batterycore::Date now,
                         const std::optional<std::string>& timeLeft = std::nullopt);

// "82% · Resting at 80%": the charge, a bolt while charging, the headline.
// On battery the time left follows: "64% · On battery · About an hour left".
std::string renderLine(const std::optional<widget::WidgetSnapshot>& snapshot, batterycore::Date now,
                       const std::optional<std::string>& timeLeft = std::nullopt);

int runStatus(const WidgetOptions& options, std::ostream& out, std::ostream& err);
int runLimit(const WidgetOptions& options, std::ostream& out, std::ostream& err);

// Both subcommands as registered, with the options they fill in.
struct WidgetCommands {
  CLI::App* status = nullptr;
  CLI::App* limit = nullptr;
  std::shared_ptr<WidgetOptions> options;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const;
};

WidgetCommands addWidgetCommands(CLI::App& app);

}  // namespace kestrin::tool
