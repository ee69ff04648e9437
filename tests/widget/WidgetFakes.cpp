#include "WidgetFakes.hpp"

#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace kestrin::widget::testing {

std::optional<std::string> MemoryPreferences::data(std::string_view key) const {
  const auto found = values.find(key);
  if (found == values.end()) return std::nullopt;
  if (const auto* bytes = std::get_if<std::string>(&found->second)) return *bytes;
  return std::nullopt;
}

bool MemoryPreferences::setData(std::string_view key, std::string_view bytes) {
  if (refuseWrites) return false;
  values.insert_or_assign(std::string(key), std::string(bytes));
  return true;
}

std::optional<PreferenceDictionary> MemoryPreferences::dictionary(std::string_view key) const {
  const auto found = values.find(key);
  if (found == values.end()) return std::nullopt;
  if (const auto* dictionary = std::get_if<PreferenceDictionary>(&found->second)) return *dictionary;
  return std::nullopt;
}

bool MemoryPreferences::setDictionary(std::string_view key, const PreferenceDictionary& dictionary) {
  if (refuseWrites) return false;
  values.insert_or_assign(std::string(key), dictionary);
  return true;
}

void SteppingClock::sleep(batterycore::Seconds span) {
  sleeps.push_back(span);
  current += span;
  if (afterSleep) afterSleep(static_cast<int>(sleeps.size()));
}

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "kestrin-widget-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

WidgetSnapshot restingSnapshot() {
  return WidgetSnapshot{kMorning,     82,           80,           false,        batterycore::Attention::Tone::holding,
                        "Resting at 80%", std::nullopt, std::nullopt, std::nullopt, std::nullopt};
}

}  // namespace kestrin::widget::testing
