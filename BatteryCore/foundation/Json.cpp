#include "BatteryCore/foundation/Json.hpp"

namespace batterycore {

Json tagged(std::string_view name, Json payload) {
  Json object = Json::object();
  object[std::string(name)] = std::move(payload);
  return object;
}

std::pair<std::string, const Json&> singleCase(const Json& json) {
  if (!json.is_object()) throw DecodingError("expected an object");
  if (json.size() != 1) throw DecodingError(kInvalidNumberOfKeys);
  const auto first = json.begin();
  if (!first.value().is_object()) {
    throw DecodingError("expected an object", first.key());
  }
  return {first.key(), first.value()};
}

void throwUnknownCase(const std::string& name) {
  throw DecodingError("unknown case \"" + name + "\"", name);
}

}  // namespace batterycore
