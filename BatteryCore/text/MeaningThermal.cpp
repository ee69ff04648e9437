#include "BatteryCore/text/Meaning.hpp"

namespace batterycore::Meaning {

namespace {

std::string thermalTitle(ThermalLevel level, DetailLevel detailLevel) {
  switch (level) {
    case ThermalLevel::nominal:
      return detailLevel == DetailLevel::technical ? text("thermal.normal", "Normal")
                                                   : text("thermal.comfortable", "Comfortable");
    case ThermalLevel::fair: return text("thermal.warm", "Warm");
    case ThermalLevel::serious: return text("thermal.hot", "Hot");
    case ThermalLevel::critical: return text("thermal.veryHot", "Very hot");
  }
  return text("thermal.normal", "Normal");
}

// Nominal and fair: heat is not the story, so the detail reassures. The
// technical wording names the operating system's thermal state first.
std::string coolDetail(ThermalLevel level, DetailLevel detailLevel) {
  const bool nominal = level == ThermalLevel::nominal;
  if (detailLevel == DetailLevel::simple) {
    return nominal ? text("thermal.nominal.simple", "Cool enough that heat isn't wearing the battery.")
                   : text("thermal.fair.simple", "Warm, nothing to worry about.");
  }
  return join({format("thermal.state", "Thermal state %@.", {thermalLevelName(level)}),
               nominal ? text("thermal.nominal.technical", "Heat isn't wearing the battery.")
                       : text("thermal.fair.technical", "Nothing to worry about.")});
}

// Serious and critical: the same advice at both levels, shaped by whether the
// charger adds heat of its own.
std::string hotDetail(bool pluggedIn) {
  if (pluggedIn) {
    return text("detail.hotWhileCharging",
                "Your Mac is running hot while charging. Heat ages a battery. Give it some air or pause "
                "the heavy work.");
  }
  return text("thermal.hot.unplugged",
              "Your Mac is running hot. Heat ages a battery, so ease off the heavy work when you can.");
}

}  // namespace

Line thermal(ThermalLevel level, bool pluggedIn, DetailLevel detailLevel) {
  const bool hot = level == ThermalLevel::serious || level == ThermalLevel::critical;
  return Line{thermalTitle(level, detailLevel), hot ? hotDetail(pluggedIn) : coolDetail(level, detailLevel)};
}

}  // namespace batterycore::Meaning
