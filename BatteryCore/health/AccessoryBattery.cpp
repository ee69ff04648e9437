#include "BatteryCore/health/AccessoryBattery.hpp"

#include <array>
#include <utility>

namespace batterycore {

namespace {

constexpr int kFull = 100;

constexpr std::array<std::string_view, 5> kLevelNames{"critical", "low", "normal", "high", "full"};
constexpr std::array<AccessoryBattery::Level, 5> kLevels{
    AccessoryBattery::Level::critical, AccessoryBattery::Level::low, AccessoryBattery::Level::normal,
    AccessoryBattery::Level::high, AccessoryBattery::Level::full};

constexpr std::array<std::string_view, 4> kStatusNames{"charging", "discharging", "full", "unknown"};
constexpr std::array<AccessoryBattery::Status, 4> kStatuses{
    AccessoryBattery::Status::charging, AccessoryBattery::Status::discharging, AccessoryBattery::Status::full,
    AccessoryBattery::Status::unknown};

bool believable(std::int64_t percent, AccessoryBattery::Status status) {
  if (percent < 0 || percent > kFull) return false;
  // An empty battery cannot report; a bare 0 is a phantom or a placeholder.
  if (percent == 0) {
    return status == AccessoryBattery::Status::charging || status == AccessoryBattery::Status::discharging;
  }
  return true;
}

// ASCII letters in lower case, every other byte as it is.
std::string folded(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

}  // namespace

AccessoryBattery AccessoryBattery::fromReading(std::string id, std::string name, std::optional<std::int64_t> percent,
                                               std::optional<Level> level, Status status) {
  std::optional<int> kept;
  if (percent && believable(*percent, status)) kept = static_cast<int>(*percent);
  return AccessoryBattery{std::move(id), std::move(name), kept, level, status};
}

bool AccessoryBattery::listedBefore(const AccessoryBattery& a, const AccessoryBattery& b) {
  const auto foldedA = folded(a.name);
  const auto foldedB = folded(b.name);
  if (foldedA != foldedB) return foldedA < foldedB;
  if (a.name != b.name) return a.name < b.name;
  return a.id < b.id;
}

std::string_view AccessoryBattery::rawValue(Level level) { return kLevelNames.at(static_cast<std::size_t>(level)); }

std::string_view AccessoryBattery::rawValue(Status status) {
  return kStatusNames.at(static_cast<std::size_t>(status));
}

std::optional<AccessoryBattery::Level> AccessoryBattery::levelFromRawValue(std::string_view raw) {
  for (const auto level : kLevels) {
    if (rawValue(level) == raw) return level;
  }
  return std::nullopt;
}

std::optional<AccessoryBattery::Status> AccessoryBattery::statusFromRawValue(std::string_view raw) {
  for (const auto status : kStatuses) {
    if (rawValue(status) == raw) return status;
  }
  return std::nullopt;
}

Json AccessoryBattery::toJson() const {
  Json json = Json::object();
  put(json, "id", id);
  put(json, "name", name);
  putIfPresent(json, "percent", percent);
  if (level) put(json, "level", std::string(rawValue(*level)));
  put(json, "status", std::string(rawValue(status)));
  return json;
}

AccessoryBattery AccessoryBattery::fromJson(const Json& json) {
  AccessoryBattery accessory{required<std::string>(json, "id"), valueOr<std::string>(json, "name", {}),
                             optional<int>(json, "percent"), std::nullopt, Status::unknown};
  if (accessory.percent && (*accessory.percent < 0 || *accessory.percent > kFull)) {
    throw DecodingError("percentage outside 0 to 100", "percent");
  }
  if (const auto raw = optional<std::string>(json, "level")) {
    accessory.level = levelFromRawValue(*raw);
    if (!accessory.level) throw DecodingError("unknown level \"" + *raw + "\"", "level");
  }
  if (const auto raw = optional<std::string>(json, "status")) {
    const auto status = statusFromRawValue(*raw);
    if (!status) throw DecodingError("unknown status \"" + *raw + "\"", "status");
    accessory.status = *status;
  }
  return accessory;
}

}  // namespace batterycore
