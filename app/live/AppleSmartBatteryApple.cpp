// Built on Apple platforms only; elsewhere this file compiles to nothing.
#ifdef __APPLE__

#include "app/live/AppleSmartBattery.hpp"

#include "app/live/AppleBatteryProperties.hpp"
#include "app/live/IoregText.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

namespace kestrin::app::live {

using batterycore::Date;
using batterycore::Json;
using batterycore::LimitState;
using batterycore::ThermalLevel;

namespace {

// The same bound as the text and property-list readers.
constexpr int kMaxDepth = kIoregMaxDepth;

struct ReleaseCF {
  void operator()(CFTypeRef object) const {
    if (object) CFRelease(object);
  }
};
using CFPointer = std::unique_ptr<std::remove_pointer_t<CFTypeRef>, ReleaseCF>;

std::string stringFrom(CFStringRef text) {
  if (const char* fast = CFStringGetCStringPtr(text, kCFStringEncodingUTF8)) return fast;
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
  std::vector<char> buffer(static_cast<std::size_t>(size), '\0');
  if (!CFStringGetCString(text, buffer.data(), size, kCFStringEncodingUTF8)) return {};
  return std::string(buffer.data());
}

// CF values as the saved-file readers write them: data as "<hex>" text,
// integers as signed 64-bit (as IOKit stores them), dates and other types null.
Json jsonFrom(CFTypeRef value, int depth) {
  if (!value || depth > kMaxDepth) return nullptr;
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFBooleanGetTypeID()) return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0;
  if (type == CFNumberGetTypeID()) {
    const auto number = static_cast<CFNumberRef>(value);
    if (CFNumberIsFloatType(number)) {
      double real = 0;
      CFNumberGetValue(number, kCFNumberDoubleType, &real);
      return real;
    }
    std::int64_t integer = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &integer);
    return integer;
  }
  if (type == CFStringGetTypeID()) return stringFrom(static_cast<CFStringRef>(value));
  if (type == CFDataGetTypeID()) {
    const auto data = static_cast<CFDataRef>(value);
    const UInt8* bytes = CFDataGetBytePtr(data);
    constexpr char kDigits[] = "0123456789abcdef";
    std::string hex = "<";
    for (CFIndex i = 0; i < CFDataGetLength(data); ++i) {
      hex += kDigits[bytes[i] >> 4];
      hex += kDigits[bytes[i] & 0xf];
    }
    return hex + ">";
  }
  if (type == CFArrayGetTypeID()) {
    const auto array = static_cast<CFArrayRef>(value);
    Json items = Json::array();
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
      items.push_back(jsonFrom(CFArrayGetValueAtIndex(array, i), depth + 1));
    }
    return items;
  }
  if (type == CFDictionaryGetTypeID()) {
    const auto dictionary = static_cast<CFDictionaryRef>(value);
    const CFIndex count = CFDictionaryGetCount(dictionary);
    std::vector<const void*> keys(static_cast<std::size_t>(count));
    std::vector<const void*> values(static_cast<std::size_t>(count));
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    Json object = Json::object();
    for (CFIndex i = 0; i < count; ++i) {
      if (CFGetTypeID(keys[i]) != CFStringGetTypeID()) continue;
      object[stringFrom(static_cast<CFStringRef>(keys[i]))] = jsonFrom(values[i], depth + 1);
    }
    return object;
  }
  return nullptr;
}

}  // namespace

AppleSmartBattery::AppleSmartBattery(Clock clock, LimitReader limit, ThermalReader thermal)
    : clock_(std::move(clock)), limit_(std::move(limit)), thermal_(std::move(thermal)) {}

std::optional<Json> AppleSmartBattery::properties() {
  // IOServiceGetMatchingService consumes the matching dictionary.
  const io_service_t service = IOServiceGetMatchingService(kIOMainPortDefault, IOServiceMatching("AppleSmartBattery"));
  if (service == IO_OBJECT_NULL) return std::nullopt;
  CFMutableDictionaryRef raw = nullptr;
  const kern_return_t result = IORegistryEntryCreateCFProperties(service, &raw, kCFAllocatorDefault, kNilOptions);
  IOObjectRelease(service);
  const CFPointer owned(raw);
  if (result != KERN_SUCCESS || !raw) return std::nullopt;
  return jsonFrom(raw, 1);
}

std::optional<batterycore::BatterySnapshot> AppleSmartBattery::read() {
  const auto tree = properties();
  if (!tree) {
    lastRefusal_ = "this Mac has no AppleSmartBattery registry entry";
    return std::nullopt;
  }
  auto reading = snapshotFromAppleProperties(
      *tree, clock_(), limit_ ? limit_() : LimitState::unavailable("the charge limit is not read here"),
      thermal_ ? thermal_() : ThermalLevel::nominal);
  lastRefusal_ = std::move(reading.refusal);
  return std::move(reading.snapshot);
}

}  // namespace kestrin::app::live

#endif  // __APPLE__
