#include "BatteryCore/text/MeaningEnergy.hpp"

#include "BatteryCore/text/Formatting.hpp"
#include "BatteryCore/text/Meaning.hpp"

namespace batterycore::Meaning {

namespace {
constexpr double kVisibleW = 0.1;
}

DrainWords drainAlert(const BackgroundDrain::Share& share) {
  const auto percent = Formatting::percent(share.batteryPercent);
  DrainWords words{format("drain.title", "%@ is draining the battery", {share.name}),
                   format("drain.simple",
                          "It took %@ of the battery in 15 minutes without you using it. Quit it if you don't need it.",
                          {percent}),
                   std::nullopt};
  if (share.watts) {
    words.technical = format("drain.technical", "Took %@ of the battery in 15 minutes in the background, averaging %@.",
                             {percent, Energy::watts(*share.watts)});
  }
  return words;
}

namespace Energy {

std::string title() { return text("energy.title", "Energy"); }
std::string system() { return text("energy.system", "System"); }
std::string everythingElse() { return text("energy.everythingElse", "Everything else"); }

std::string level(double watts) {
  if (watts >= workingHardFromW) return text("energy.level.workingHard", "Working hard");
  if (watts >= busyFromW) return text("energy.level.busy", "Busy");
  return text("energy.level.idle", "Idle");
}

std::string watts(double watts) {
  if (watts < kVisibleW) return text("energy.under01W", "under 0.1 W");
  return Formatting::watts(watts);
}

std::string total(double totalWatts, DetailLevel detail) {
  return leveled("energy.total", detail, "All apps together: %@", "Processor power in total: %@", {watts(totalWatts)});
}

std::string summary(const std::string& topName, double topWatts, double totalWatts, DetailLevel detail) {
  if (totalWatts < kVisibleW) return text("energy.nothing", "Nothing is using much power right now.");
  if (topWatts < workingHardFromW) return text("energy.summary.nothingHard", "Nothing is working hard right now.");
  if (detail == DetailLevel::technical) {
    return format("energy.summary.technical", "%@ is the top user at %@.", {topName, watts(topWatts)});
  }
  return format("energy.summary.simple", "%@ is working the hardest right now.", {topName});
}

std::string footer(DetailLevel detail) {
  return leveled("energy.footer", detail,
                 "Think of watts as how fast an app drinks from the battery. The screen, Wi-Fi and Bluetooth aren't "
                 "counted.",
                 "Processor energy only, sampled over a few seconds. The screen, Wi-Fi and Bluetooth aren't counted. "
                 "Working hard is 5 W and up, busy 1 to 5 W, idle under 1 W.");
}

std::string measuring() { return text("energy.measuring", "Measuring…"); }
std::string watching() { return text("energy.summary.watching", "Watching which apps use the most power."); }

}  // namespace Energy

}  // namespace batterycore::Meaning
