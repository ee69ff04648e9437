// SuitePreferences: the application group's preferences suite through
// CoreFoundation, which the system keeps in step between processes.
//
//   SuitePreferences preferences("ABCDE12345.app.kestrin");
//   preferences.setDictionary("control.request", {{"on", true}, {"at", 1767225600.0}});
#pragma once

#ifdef __APPLE__

#include "KestrinWidget/SharedPreferences.hpp"

#include <CoreFoundation/CoreFoundation.h>

#include <string>

namespace kestrin::widget {

class SuitePreferences final : public SharedPreferences {
 public:
  explicit SuitePreferences(const std::string& suite);
  ~SuitePreferences() override;
  SuitePreferences(const SuitePreferences&) = delete;
  SuitePreferences& operator=(const SuitePreferences&) = delete;

  std::optional<std::string> data(std::string_view key) const override;
  bool setData(std::string_view key, std::string_view bytes) override;
  std::optional<PreferenceDictionary> dictionary(std::string_view key) const override;
  bool setDictionary(std::string_view key, const PreferenceDictionary& dictionary) override;

 private:
  bool store(std::string_view key, CFPropertyListRef value);
  CFPropertyListRef copy(std::string_view key) const;  // the caller releases it

  CFStringRef suite_;
};

}  // namespace kestrin::widget

#endif  // __APPLE__
