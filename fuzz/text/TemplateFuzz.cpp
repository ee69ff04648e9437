// Any bytes as a catalogue template and its values, rendered the way every
// text is: Meaning::formatValues (and renderTemplate, placeholderSignature,
// renderPositionMarks, which check translations). The first line is the
// template; each further line is one value, a number when it is "#" and
// digits ("#42"), otherwise text. No template may crash the renderer or make
// it read past its values; one that does not fit renders as it stands.
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/Template.hpp"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace {

batterycore::TemplateArg valueOf(std::string_view line) {
  if (line.size() > 1 && line.front() == '#') {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(line.data() + 1, line.data() + line.size(), number);
    if (error == std::errc{} && end == line.data() + line.size()) return batterycore::TemplateArg(number);
  }
  return batterycore::TemplateArg(line);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const auto firstEnd = rest.find('\n');
  const std::string_view format = rest.substr(0, firstEnd);
  rest = firstEnd == std::string_view::npos ? std::string_view{} : rest.substr(firstEnd + 1);
  std::vector<batterycore::TemplateArg> values;
  while (!rest.empty()) {
    const auto end = rest.find('\n');
    values.push_back(valueOf(rest.substr(0, end)));
    rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
  }
  const std::span<const batterycore::TemplateArg> args(values);
  (void)batterycore::renderTemplate(format, args);
  (void)batterycore::placeholderSignature(format);
  (void)batterycore::renderPositionMarks(format);
  // A key no catalogue has, so the template given is the one rendered.
  (void)batterycore::Meaning::formatValues("fuzz.template", format, args);
  return 0;
}
