// Built on Apple platforms only; elsewhere this file compiles to nothing.
#ifdef __APPLE__

#include "app/live/AppleAccessories.hpp"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitKeys.h>
#include <IOKit/IOKitLib.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

namespace kestrin::app::live {

using batterycore::AccessoryBattery;
using batterycore::Json;

namespace {

// The properties read from each entry; every other one is left alone.
constexpr const char* kTextProperties[] = {"Product", "DeviceAddress", "SerialNumber"};
constexpr const char* kPercentProperty = "BatteryPercent";

struct ReleaseCF {
  void operator()(CFTypeRef object) const {
    if (object) CFRelease(object);
  }
};
using CFPointer = std::unique_ptr<std::remove_pointer_t<CFTypeRef>, ReleaseCF>;

struct ReleaseIOObject {
  io_object_t object = IO_OBJECT_NULL;
  ~ReleaseIOObject() {
    if (object != IO_OBJECT_NULL) IOObjectRelease(object);
  }
};

CFPointer keyFor(const char* name) {
  return CFPointer(CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8));
}

std::string stringFrom(CFStringRef text) {
  if (const char* fast = CFStringGetCStringPtr(text, kCFStringEncodingUTF8)) return fast;
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
  std::vector<char> buffer(static_cast<std::size_t>(size), '\0');
  if (!CFStringGetCString(text, buffer.data(), size, kCFStringEncodingUTF8)) return {};
  return std::string(buffer.data());
}

// The entry's own property (not searched in its parents), or null.
CFPointer property(io_registry_entry_t entry, const char* name) {
  const CFPointer key = keyFor(name);
  if (!key) return nullptr;
  return CFPointer(
      IORegistryEntryCreateCFProperty(entry, static_cast<CFStringRef>(key.get()), kCFAllocatorDefault, kNilOptions));
}

Json propertiesOf(io_registry_entry_t entry) {
  Json properties = Json::object();
  if (const auto percent = property(entry, kPercentProperty);
      percent && CFGetTypeID(percent.get()) == CFNumberGetTypeID()) {
    std::int64_t value = 0;
    if (CFNumberGetValue(static_cast<CFNumberRef>(percent.get()), kCFNumberSInt64Type, &value)) {
      properties[kPercentProperty] = value;
    }
  }
  for (const char* name : kTextProperties) {
    const auto value = property(entry, name);
    if (value && CFGetTypeID(value.get()) == CFStringGetTypeID()) {
      properties[name] = stringFrom(static_cast<CFStringRef>(value.get()));
    }
  }
  return properties;
}

}  // namespace

std::vector<AccessoryBattery> readAppleAccessories() {
  std::vector<AccessoryBattery> accessories;
  // Any registered service that has the property, whatever its class (the
  // Bluetooth HID drivers have changed names over the years).
  CFMutableDictionaryRef matching = IOServiceMatching(kIOServiceClass);
  if (!matching) return accessories;
  const CFPointer propertyName = keyFor(kPercentProperty);
  if (!propertyName) {
    CFRelease(matching);
    return accessories;
  }
  CFDictionarySetValue(matching, CFSTR(kIOPropertyExistsMatchKey), propertyName.get());

  io_iterator_t iterator = IO_OBJECT_NULL;
  // IOServiceGetMatchingServices consumes the matching dictionary.
  if (IOServiceGetMatchingServices(kIOMainPortDefault, matching, &iterator) != KERN_SUCCESS) return accessories;
  const ReleaseIOObject ownedIterator{iterator};
  while (const io_object_t service = IOIteratorNext(iterator)) {
    const ReleaseIOObject ownedService{service};
    std::uint64_t entryId = 0;
    if (IORegistryEntryGetRegistryEntryID(service, &entryId) != KERN_SUCCESS) continue;
    auto accessory = accessoryFromAppleProperties(propertiesOf(service), std::to_string(entryId));
    if (!accessory) continue;
    // A device can show its battery on more than one entry (the HID device
    // and its event service); the first one stands for it.
    const bool seen = std::any_of(accessories.begin(), accessories.end(),
                                  [&](const AccessoryBattery& other) { return other.id == accessory->id; });
    if (!seen) accessories.push_back(std::move(*accessory));
  }
  std::sort(accessories.begin(), accessories.end(), AccessoryBattery::listedBefore);
  return accessories;
}

}  // namespace kestrin::app::live

#endif  // __APPLE__
