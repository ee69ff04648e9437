#ifdef __APPLE__

#include "KestrinWidget/SharedPreferencesApple.hpp"

#include <memory>
#include <type_traits>
#include <vector>

namespace kestrin::widget {

namespace {

struct Releaser {
  void operator()(CFTypeRef ref) const {
    if (ref != nullptr) CFRelease(ref);
  }
};
using Owned = std::unique_ptr<std::remove_pointer_t<CFTypeRef>, Releaser>;

CFStringRef createString(std::string_view text) {
  return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                 static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
}

std::optional<std::string> utf8(CFStringRef text) {
  const CFIndex length = CFStringGetLength(text);
  const CFIndex capacity = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<std::size_t>(capacity), '\0');
  if (!CFStringGetCString(text, buffer.data(), capacity, kCFStringEncodingUTF8)) return std::nullopt;
  buffer.resize(std::char_traits<char>::length(buffer.c_str()));
  return buffer;
}

std::optional<PreferenceValue> valueOf(CFTypeRef value) {
  const CFTypeID type = CFGetTypeID(value);
  if (type == CFBooleanGetTypeID()) return PreferenceValue(CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0);
  if (type == CFNumberGetTypeID()) {
    const auto number = static_cast<CFNumberRef>(value);
    if (CFNumberIsFloatType(number)) {
      double d = 0;
      CFNumberGetValue(number, kCFNumberDoubleType, &d);
      return PreferenceValue(d);
    }
    std::int64_t i = 0;
    CFNumberGetValue(number, kCFNumberSInt64Type, &i);
    return PreferenceValue(i);
  }
  if (type == CFStringGetTypeID()) {
    if (auto text = utf8(static_cast<CFStringRef>(value))) return PreferenceValue(std::move(*text));
  }
  return std::nullopt;
}

CFTypeRef createValue(const PreferenceValue& value) {
  if (const auto* b = std::get_if<bool>(&value)) {
    return CFRetain(*b ? kCFBooleanTrue : kCFBooleanFalse);
  }
  if (const auto* i = std::get_if<std::int64_t>(&value)) {
    return CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, i);
  }
  if (const auto* d = std::get_if<double>(&value)) {
    return CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, d);
  }
  return createString(std::get<std::string>(value));
}

}  // namespace

SuitePreferences::SuitePreferences(const std::string& suite) : suite_(createString(suite)) {}

SuitePreferences::~SuitePreferences() {
  if (suite_ != nullptr) CFRelease(suite_);
}

CFPropertyListRef SuitePreferences::copy(std::string_view key) const {
  const Owned name(createString(key));
  // Picks up what the other process stored since this one last looked.
  CFPreferencesAppSynchronize(suite_);
  return CFPreferencesCopyAppValue(static_cast<CFStringRef>(name.get()), suite_);
}

bool SuitePreferences::store(std::string_view key, CFPropertyListRef value) {
  const Owned name(createString(key));
  CFPreferencesSetAppValue(static_cast<CFStringRef>(name.get()), value, suite_);
  return CFPreferencesAppSynchronize(suite_) != 0;
}

std::optional<std::string> SuitePreferences::data(std::string_view key) const {
  const Owned value(copy(key));
  if (!value || CFGetTypeID(value.get()) != CFDataGetTypeID()) return std::nullopt;
  const auto bytes = static_cast<CFDataRef>(value.get());
  return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(bytes)),
                     static_cast<std::size_t>(CFDataGetLength(bytes)));
}

bool SuitePreferences::setData(std::string_view key, std::string_view bytes) {
  const Owned value(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                 static_cast<CFIndex>(bytes.size())));
  return value && store(key, value.get());
}

std::optional<PreferenceDictionary> SuitePreferences::dictionary(std::string_view key) const {
  const Owned value(copy(key));
  if (!value || CFGetTypeID(value.get()) != CFDictionaryGetTypeID()) return std::nullopt;
  const auto dictionary = static_cast<CFDictionaryRef>(value.get());
  const CFIndex count = CFDictionaryGetCount(dictionary);
  std::vector<const void*> keys(static_cast<std::size_t>(count));
  std::vector<const void*> values(static_cast<std::size_t>(count));
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
  PreferenceDictionary result;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (CFGetTypeID(keys[i]) != CFStringGetTypeID()) continue;
    auto name = utf8(static_cast<CFStringRef>(keys[i]));
    auto entry = valueOf(values[i]);
    // An entry of another kind (a date, a nested array) is left out.
    if (name && entry) result.emplace(std::move(*name), std::move(*entry));
  }
  return result;
}

bool SuitePreferences::setDictionary(std::string_view key, const PreferenceDictionary& dictionary) {
  const Owned object(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                               &kCFTypeDictionaryValueCallBacks));
  if (!object) return false;
  const auto mutableObject = static_cast<CFMutableDictionaryRef>(const_cast<void*>(object.get()));
  for (const auto& [name, entry] : dictionary) {
    const Owned cfName(createString(name));
    const Owned cfValue(createValue(entry));
    if (!cfName || !cfValue) return false;
    CFDictionarySetValue(mutableObject, cfName.get(), cfValue.get());
  }
  return store(key, object.get());
}

}  // namespace kestrin::widget

#endif  // __APPLE__
