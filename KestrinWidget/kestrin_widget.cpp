// The C entry points: each one catches everything, so no C++ exception ever
// crosses into the Swift or C caller.
#include "KestrinWidget/kestrin_widget.h"

#include "BatteryCore/text/Meaning.hpp"
#include "KestrinWidget/Clock.hpp"
#include "KestrinWidget/LimitValueProvider.hpp"
#include "KestrinWidget/SetLimitFromControlIntent.hpp"
#include "KestrinWidget/WidgetSnapshot.hpp"

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// malloc'd, so kestrin_widget_free is a plain free on every platform.
char* copyOut(const std::string& text) {
  auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (copy != nullptr) std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

}  // namespace

extern "C" {

char* kestrin_widget_snapshot_json(void) {
  try {
    const auto snapshot = kestrin::widget::WidgetSnapshot::load();
    return snapshot ? copyOut(snapshot->encoded()) : nullptr;
  } catch (...) {
    return nullptr;
  }
}

bool kestrin_widget_snapshot_is_stale(void) {
  try {
    const auto snapshot = kestrin::widget::WidgetSnapshot::load();
    return !snapshot || snapshot->isStale(kestrin::widget::SystemClock().now());
  } catch (...) {
    return true;
  }
}

char* kestrin_widget_text(const char* key, const char* english) {
  const char* fallback = english != nullptr ? english : "";
  try {
    if (key == nullptr) return copyOut(fallback);
    return copyOut(batterycore::Meaning::text(key, fallback));
  } catch (...) {
    return nullptr;
  }
}

bool kestrin_limit_current_value(void) {
  try {
    return kestrin::widget::LimitValueProvider::currentValue();
  } catch (...) {
    return false;
  }
}

bool kestrin_limit_set(bool on, char** message) {
  std::string text;
  try {
    kestrin::widget::SetLimitFromControlIntent{.value = on}.perform();
    return true;
  } catch (const kestrin::widget::ControlMessage& refusal) {
    text = refusal.text;
  } catch (...) {
    try {
      text = kestrin::widget::SetLimitFromControlIntent::notRunningText();
    } catch (...) {
    }
  }
  if (message != nullptr) *message = copyOut(text);
  return false;
}

void kestrin_widget_free(char* text) { std::free(text); }

}  // extern "C"
