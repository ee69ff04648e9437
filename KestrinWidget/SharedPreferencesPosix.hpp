// FileSharedPreferences: shared preferences as one file per key in a folder,
// for systems without a preferences service.
//
//   FileSharedPreferences preferences(group / "Preferences");
//   preferences.setData("widget.snapshot", R"({"percent":80})");
//   // group/Preferences/widget.snapshot now holds exactly those bytes
//
// Every value is replaced atomically (see writeFileAtomically), so a reader in
// another process sees the old value or the new one, never half of either.
// Raw bytes are stored as they are; a dictionary as a JSON object whose
// numbers keep their kind (1 stays an integer, 1.0 a double).
#pragma once

#include "KestrinWidget/SharedPreferences.hpp"

#include <filesystem>
#include <set>
#include <string>

namespace kestrin::widget {

class FileSharedPreferences final : public SharedPreferences {
 public:
  explicit FileSharedPreferences(std::filesystem::path folder) : folder_(std::move(folder)) {}

  std::optional<std::string> data(std::string_view key) const override;
  bool setData(std::string_view key, std::string_view bytes) override;
  std::optional<PreferenceDictionary> dictionary(std::string_view key) const override;
  bool setDictionary(std::string_view key, const PreferenceDictionary& dictionary) override;

  const std::filesystem::path& folder() const { return folder_; }

 private:
  // Absent for a key that is not a plain file name ("", ".", "a/b").
  std::optional<std::filesystem::path> fileFor(std::string_view key) const;

  std::filesystem::path folder_;
  // Files refused (not this user's, writable by others, a link, too large),
  // each logged once.
  mutable std::set<std::string> reported_;
};

// The dictionary as the JSON object FileSharedPreferences stores, and back;
// absent when the text is not an object of plain values.
std::string encodePreferenceDictionary(const PreferenceDictionary& dictionary);
std::optional<PreferenceDictionary> decodePreferenceDictionary(std::string_view text);

}  // namespace kestrin::widget
