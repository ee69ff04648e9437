// JSON coding shared by every persisted record.
//
//   Json object = Json::object();
//   put(object, "percent", snapshot.percent);          // keys in the order written
//   putIfPresent(object, "minutesToFull", snapshot.minutesToFull);
//   auto percent = required<std::int64_t>(object, "percent");
//   auto minutes = optional<int>(object, "minutesToFull");   // missing or null: absent
//
// Enumerations with payloads are an object with exactly one key, the case
// name, holding an object of the payload's fields:
//   tagged("on", {{"_0", 80}})  ->  {"on": {"_0": 80}}
//   const auto [name, payload] = singleCase(json);      // throws on 0 or 2+ keys
//
// A record type T takes part by having `Json toJson() const` and
// `static T fromJson(const Json&)`; then encode/decode/required/optional work
// for it as for the built-in types. Every failure is a DecodingError naming the
// key path.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/DecodingError.hpp"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace batterycore {

using Json = nlohmann::ordered_json;

inline constexpr const char* kInvalidNumberOfKeys = "Invalid number of keys found, expected one.";

template <class T>
struct JsonCoding;

template <class T>
concept JsonRecord = requires(const T& value, const Json& json) {
  { value.toJson() } -> std::convertible_to<Json>;
  { T::fromJson(json) } -> std::convertible_to<T>;
};

template <JsonRecord T>
struct JsonCoding<T> {
  static Json encode(const T& value) { return value.toJson(); }
  static T decode(const Json& json) { return T::fromJson(json); }
};

template <>
struct JsonCoding<bool> {
  static Json encode(bool value) { return value; }
  static bool decode(const Json& json) {
    if (!json.is_boolean()) throw DecodingError("expected a boolean");
    return json.get<bool>();
  }
};

template <class T>
  requires(std::is_integral_v<T> && !std::is_same_v<T, bool>)
struct JsonCoding<T> {
  static Json encode(T value) { return value; }
  static T decode(const Json& json) {
    if (!json.is_number_integer()) throw DecodingError("expected an integer");
    if constexpr (std::is_unsigned_v<T>) {
      // Parsed text gives unsigned numbers; values built in code may be signed.
      if (!json.is_number_unsigned() && json.get<std::int64_t>() < 0) {
        throw DecodingError("expected an unsigned integer");
      }
      const auto value = json.get<std::uint64_t>();
      if (value > std::numeric_limits<T>::max()) throw DecodingError("integer out of range");
      return static_cast<T>(value);
    } else {
      if (json.is_number_unsigned() &&
          json.get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<T>::max())) {
        throw DecodingError("integer out of range");
      }
      const auto value = json.get<std::int64_t>();
      if (value < std::numeric_limits<T>::min() || value > std::numeric_limits<T>::max()) {
        throw DecodingError("integer out of range");
      }
      return static_cast<T>(value);
    }
  }
};

template <>
struct JsonCoding<double> {
  static Json encode(double value) { return value; }
  static double decode(const Json& json) {
    if (!json.is_number()) throw DecodingError("expected a number");
    return json.get<double>();
  }
};

template <>
struct JsonCoding<std::string> {
  static Json encode(const std::string& value) { return value; }
  static std::string decode(const Json& json) {
    if (!json.is_string()) throw DecodingError("expected a string");
    return json.get<std::string>();
  }
};

// Raw JSON, for callers that decode the parts themselves.
template <>
struct JsonCoding<Json> {
  static Json encode(const Json& value) { return value; }
  static Json decode(const Json& json) { return json; }
};

// Dates in our files are ISO 8601 UTC text.
template <>
struct JsonCoding<Date> {
  static Json encode(Date value) { return toIso8601(value); }
  static Date decode(const Json& json) {
    if (!json.is_string()) throw DecodingError("expected an ISO 8601 date");
    const auto date = parseIso8601(json.get_ref<const std::string&>());
    if (!date) throw DecodingError("not an ISO 8601 date: \"" + json.get<std::string>() + "\"");
    return *date;
  }
};

template <class T>
struct JsonCoding<std::vector<T>> {
  static Json encode(const std::vector<T>& values) {
    Json array = Json::array();
    for (const auto& value : values) array.push_back(JsonCoding<T>::encode(value));
    return array;
  }
  static std::vector<T> decode(const Json& json) {
    if (!json.is_array()) throw DecodingError("expected an array");
    std::vector<T> values;
    values.reserve(json.size());
    for (std::size_t i = 0; i < json.size(); ++i) {
      try {
        values.push_back(JsonCoding<T>::decode(json[i]));
      } catch (const DecodingError& error) {
        throw error.within("[" + std::to_string(i) + "]");
      }
    }
    return values;
  }
};

template <class T>
Json encode(const T& value) {
  return JsonCoding<T>::encode(value);
}

template <class T>
T decode(const Json& json) {
  return JsonCoding<T>::decode(json);
}

// The value under `key`, which must be there and not null.
template <class T>
T required(const Json& object, std::string_view key) {
  if (!object.is_object()) throw DecodingError("expected an object");
  const auto found = object.find(key);
  if (found == object.end() || found->is_null()) {
    throw DecodingError("missing key \"" + std::string(key) + "\"", std::string(key));
  }
  try {
    return JsonCoding<T>::decode(*found);
  } catch (const DecodingError& error) {
    throw error.within(std::string(key));
  }
}

// The value under `key`; a missing key and null both read as absent.
template <class T>
std::optional<T> optional(const Json& object, std::string_view key) {
  if (!object.is_object()) throw DecodingError("expected an object");
  const auto found = object.find(key);
  if (found == object.end() || found->is_null()) return std::nullopt;
  try {
    return JsonCoding<T>::decode(*found);
  } catch (const DecodingError& error) {
    throw error.within(std::string(key));
  }
}

// The value under `key`, or `fallback` when the key is missing or null.
template <class T>
T valueOr(const Json& object, std::string_view key, T fallback) {
  auto value = optional<T>(object, key);
  return value ? std::move(*value) : std::move(fallback);
}

template <class T>
void put(Json& object, std::string_view key, const T& value) {
  object[std::string(key)] = JsonCoding<T>::encode(value);
}

// Absent values are left out of the object.
template <class T>
void putIfPresent(Json& object, std::string_view key, const std::optional<T>& value) {
  if (value) put(object, key, *value);
}

// {"name": payload}; a case without payload has an empty object.
Json tagged(std::string_view name, Json payload = Json::object());

// The case name and payload of an enumeration object; throws
// "Invalid number of keys found, expected one." for any other key count.
std::pair<std::string, const Json&> singleCase(const Json& json);

// Failure for a case name the decoder does not know.
[[noreturn]] void throwUnknownCase(const std::string& name);

}  // namespace batterycore
