#include "BatteryCore/supervision/CalibrationLog.hpp"

#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstring>

namespace batterycore {

namespace {

// Turkish and Azerbaijani fold the dotted and dotless i differently; every
// other language folds case the same way.
std::uint32_t foldOptions() {
  const char* language = icu::Locale::getDefault().getLanguage();
  const bool turkic = std::strcmp(language, "tr") == 0 || std::strcmp(language, "az") == 0;
  return turkic ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT;
}

icu::UnicodeString folded(std::string_view text, std::uint32_t options) {
  auto unicode =
      icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
  unicode.foldCase(options);
  return unicode;
}

}  // namespace

std::vector<std::string> CalibrationLog::hits(std::string_view text) {
  const auto options = foldOptions();
  std::array<icu::UnicodeString, needles.size()> foldedNeedles;
  std::transform(needles.begin(), needles.end(), foldedNeedles.begin(),
                 [&](std::string_view needle) { return folded(needle, options); });

  std::vector<std::string> lines;
  std::size_t start = 0;
  while (start <= text.size()) {
    const auto end = std::min(text.find('\n', start), text.size());
    const auto line = text.substr(start, end - start);
    start = end + 1;
    if (line.empty()) continue;
    const auto foldedLine = folded(line, options);
    const bool hit =
        std::any_of(foldedNeedles.begin(), foldedNeedles.end(),
                    [&](const icu::UnicodeString& needle) { return foldedLine.indexOf(needle) >= 0; });
    if (hit) lines.emplace_back(line);
  }
  return lines;
}

}  // namespace batterycore
