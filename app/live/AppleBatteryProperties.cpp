#include "app/live/AppleBatteryProperties.hpp"

#include "app/live/ApplePlist.hpp"
#include "app/live/IoregText.hpp"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

namespace kestrin::app::live {

using batterycore::Adapter;
using batterycore::BatterySnapshot;
using batterycore::Date;
using batterycore::DecodingError;
using batterycore::Json;
using batterycore::LimitState;
using batterycore::ThermalLevel;

namespace {

constexpr std::int64_t kPercentScale = 100;
constexpr std::int64_t kNoEstimate = 65535;
constexpr int kJsonMaxDepth = 64;

int saturatedInt(std::int64_t value) {
  return static_cast<int>(
      std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// The value under `key` of an object; null for a missing key, null value or
// something that is not an object.
const Json* member(const Json* object, const char* key) {
  if (!object || !object->is_object()) return nullptr;
  const auto found = object->find(key);
  if (found == object->end() || found->is_null()) return nullptr;
  return &*found;
}

// Signed fields: the text form prints negatives as their unsigned 64-bit two's
// complement, so anything above the signed range is read back as negative.
std::optional<std::int64_t> signedNumber(const Json* value) {
  if (!value || !value->is_number_integer()) return std::nullopt;
  if (value->is_number_unsigned()) return static_cast<std::int64_t>(value->get<std::uint64_t>());
  return value->get<std::int64_t>();
}

// Bit fields: JSON converted by others may show them as signed numbers.
std::optional<std::uint64_t> unsignedBits(const Json* value) {
  if (!value || !value->is_number_integer()) return std::nullopt;
  if (value->is_number_unsigned()) return value->get<std::uint64_t>();
  return static_cast<std::uint64_t>(value->get<std::int64_t>());
}

std::optional<bool> flag(const Json* value) {
  if (!value) return std::nullopt;
  if (value->is_boolean()) return value->get<bool>();
  if (value->is_number_integer()) {
    const auto number = signedNumber(value);
    if (number == 0 || number == 1) return *number == 1;
    return std::nullopt;
  }
  if (value->is_string()) {
    const auto& text = value->get_ref<const std::string&>();
    if (text == "Yes") return true;
    if (text == "No") return false;
  }
  return std::nullopt;
}

std::optional<std::string> text(const Json* value) {
  if (!value || !value->is_string()) return std::nullopt;
  return value->get<std::string>();
}

template <class T>
std::optional<T> firstOf(std::optional<T> value) {
  return value;
}
template <class T, class... Rest>
std::optional<T> firstOf(std::optional<T> value, std::optional<T> next, Rest... rest) {
  return value ? value : firstOf(std::move(next), std::move(rest)...);
}

std::optional<int> estimate(const Json* value) {
  const auto minutes = signedNumber(value);
  if (!minutes || *minutes < 0 || *minutes >= kNoEstimate) return std::nullopt;
  return saturatedInt(*minutes);
}

std::optional<int> milli(const Json* value) {
  const auto number = signedNumber(value);
  if (!number) return std::nullopt;
  return saturatedInt(*number);
}

// An adapter dictionary that reports its watts.
std::optional<Adapter> adapterFrom(const Json* details) {
  const auto watts = signedNumber(member(details, "Watts"));
  if (!watts || *watts <= 0) return std::nullopt;
  return Adapter{saturatedInt(*watts), firstOf(text(member(details, "Name")), text(member(details, "Description"))),
                 flag(member(details, "IsWireless")).value_or(false)};
}

// The adapter in use; with only the list of attached adapters, the strongest.
std::optional<Adapter> adapterOf(const Json& tree) {
  if (const auto* details = member(&tree, "AdapterDetails")) return adapterFrom(details);
  std::optional<Adapter> strongest;
  if (const auto* all = member(&tree, "AppleRawAdapterDetails"); all && all->is_array()) {
    for (const auto& details : *all) {
      const auto candidate = adapterFrom(&details);
      if (candidate && (!strongest || candidate->watts > strongest->watts)) strongest = candidate;
    }
  }
  return strongest;
}

AppleReading refuse(std::string reason) { return AppleReading{std::nullopt, std::move(reason)}; }

// Which JSON to read a `{` text as: `{"Key": ...` is JSON, `{` followed by
// `"Key" = ...` is an ioreg block whose header was left out.
bool looksLikeJson(std::string_view text) {
  if (text.front() == '[') return true;
  const auto open = text.find('"');
  if (open == std::string_view::npos) return true;
  const auto close = text.find('"', open + 1);
  if (close == std::string_view::npos) return true;
  const auto after = text.find_first_not_of(" \t\r\n", close + 1);
  return after == std::string_view::npos || text[after] != '=';
}

}  // namespace

AppleReading snapshotFromAppleProperties(const Json& tree, Date at, LimitState limit, ThermalLevel thermal) {
  if (!tree.is_object()) return refuse("the battery's properties are not a dictionary");
  const Json* batteryData = member(&tree, "BatteryData");
  const Json* chargerData = member(&tree, "ChargerData");
  const Json* telemetry = member(&tree, "PowerTelemetryData");
  const auto top = [&](const char* key) { return member(&tree, key); };
  const auto inBatteryData = [&](const char* key) { return member(batteryData, key); };

  if (flag(top("BatteryInstalled")) == false) return refuse("BatteryInstalled is No: there is no battery");

  // Percent, and whether CurrentCapacity/MaxCapacity are mAh (Intel) instead.
  const Json* currentJson = top("CurrentCapacity") ? top("CurrentCapacity") : inBatteryData("CurrentCapacity");
  if (!currentJson) return refuse("no CurrentCapacity: the charge percentage is unknown");
  const auto current = signedNumber(currentJson);
  if (!current) return refuse("CurrentCapacity is not a whole number");
  const auto max = firstOf(signedNumber(top("MaxCapacity")), signedNumber(inBatteryData("MaxCapacity")));
  const bool inMilliAmpHours = max ? *max != kPercentScale : false;
  if (!max && !top("AppleRawCurrentCapacity")) {
    return refuse("no MaxCapacity or AppleRawCurrentCapacity: CurrentCapacity could be a percentage or mAh");
  }
  std::int64_t percent = *current;
  if (inMilliAmpHours) {
    if (*max <= 0 || *current < 0) {
      return refuse("CurrentCapacity " + std::to_string(*current) + " of MaxCapacity " + std::to_string(*max) +
                    " mAh gives no percentage");
    }
    const auto scaled = (static_cast<long double>(*current) * kPercentScale) / static_cast<long double>(*max);
    percent = static_cast<std::int64_t>(std::min<long double>(kPercentScale, scaled + 0.5L));
  } else if (percent < 0 || percent > kPercentScale) {
    return refuse("CurrentCapacity " + std::to_string(percent) + " is not a percentage");
  }

  const auto pluggedIn = firstOf(flag(top("ExternalConnected")), flag(top("AppleRawExternalConnected")));
  if (!pluggedIn) return refuse("no ExternalConnected: whether the Mac is plugged in is unknown");

  const auto amperage = firstOf(signedNumber(top("Amperage")), signedNumber(top("InstantAmperage")));
  const bool charging = firstOf(flag(top("IsCharging")), flag(member(chargerData, "IsCharging")))
                            .value_or(*pluggedIn && amperage.value_or(0) > 0);

  const auto fullCharge = firstOf(signedNumber(top("AppleRawMaxCapacity")),
                                  inMilliAmpHours ? max : std::nullopt,
                                  signedNumber(inBatteryData("FullChargeCapacity")));
  const auto nominal =
      firstOf(signedNumber(top("NominalChargeCapacity")), signedNumber(inBatteryData("NominalChargeCapacity")),
              fullCharge);
  const auto remaining = firstOf(signedNumber(top("AppleRawCurrentCapacity")),
                                 inMilliAmpHours ? current : std::nullopt,
                                 signedNumber(inBatteryData("RemainingCapacity")));
  const auto design = firstOf(signedNumber(top("DesignCapacity")), signedNumber(inBatteryData("DesignCapacity")));
  const auto cycles = firstOf(signedNumber(top("CycleCount")), signedNumber(inBatteryData("CycleCount")));
  const auto voltage = firstOf(signedNumber(top("Voltage")), signedNumber(inBatteryData("Voltage")),
                               signedNumber(top("AppleRawBatteryVoltage")));
  const auto asInt = [](std::optional<std::int64_t> value) { return saturatedInt(value.value_or(0)); };

  return AppleReading{
      BatterySnapshot(at, percent, *pluggedIn, charging, flag(top("FullyCharged")).value_or(false),
                      estimate(top("AvgTimeToEmpty")), estimate(top("AvgTimeToFull")), std::move(limit),
                      unsignedBits(member(chargerData, "NotChargingReason")).value_or(0),
                      unsignedBits(member(chargerData, "SlowChargingReason")).value_or(0),
                      asInt(signedNumber(member(chargerData, "TimeChargingThermallyLimited"))), thermal,
                      asInt(fullCharge), asInt(nominal), asInt(design), asInt(remaining), asInt(cycles),
                      asInt(signedNumber(top("DesignCycleCount9C"))), asInt(voltage), asInt(amperage),
                      milli(member(telemetry, "SystemPowerIn")), milli(member(telemetry, "SystemLoad")),
                      milli(member(telemetry, "BatteryPower")),
                      *pluggedIn ? adapterOf(tree) : std::nullopt),
      {}};
}

Json appleTreeFromJson(std::string_view text) {
  Json parsed;
  try {
    parsed = Json::parse(text, [](int depth, Json::parse_event_t, Json&) {
      if (depth > kJsonMaxDepth) {
        throw DecodingError("JSON nests deeper than " + std::to_string(kJsonMaxDepth) + " levels");
      }
      return true;
    });
  } catch (const Json::exception& error) {
    throw DecodingError(std::string("not valid JSON: ") + error.what());
  }
  if (parsed.is_array()) {
    if (parsed.empty()) throw DecodingError("the JSON array holds no registry entry");
    parsed = Json(parsed.front());
  }
  if (!parsed.is_object()) throw DecodingError("the JSON holds no object of battery properties");
  return parsed;
}

Json appleTreeFromText(std::string_view text) {
  const auto start = text.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) throw DecodingError("the text is empty");
  const auto body = text.substr(start);
  const auto within = [](const char* form, const DecodingError& error) {
    return DecodingError(std::string(form) + ": " + error.reason(), error.path());
  };
  if (body.starts_with("<?xml") || body.starts_with("<plist") || body.starts_with("<!DOCTYPE plist")) {
    try {
      return parseApplePlist(text);
    } catch (const DecodingError& error) {
      throw within("XML property list", error);
    }
  }
  if ((body.front() == '{' || body.front() == '[') && looksLikeJson(body)) {
    try {
      return appleTreeFromJson(text);
    } catch (const DecodingError& error) {
      throw within("JSON", error);
    }
  }
  try {
    return parseIoregText(text);
  } catch (const DecodingError& error) {
    throw within("ioreg text", error);
  }
}

}  // namespace kestrin::app::live
