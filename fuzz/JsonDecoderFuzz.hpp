// The shared body of the targets that feed bytes to our JSON decoders: the
// bytes are parsed as the state folder parses a file (text that is not JSON is
// refused there, so it is not a finding here), then decoded as each of the
// given types in turn. A decoder succeeds or throws DecodingError; anything
// else escaping is a finding. What decodes must survive being saved and read
// back: decode(encode(value)) equals the value, both as a JSON tree and
// through the text the state folder writes.
//
//   KESTRIN_JSON_DECODER_FUZZ(batterycore::LimitWatchdog)
//   KESTRIN_JSON_DECODER_FUZZ(batterycore::BatteryAlert, std::vector<batterycore::BatteryAlert>)
#pragma once

#include "BatteryCore/foundation/DecodingError.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "fuzz/Finding.hpp"

#include <cxxabi.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>
#include <typeinfo>

namespace kestrin::fuzz {

// Parsed as the state folder parses a file; absent for text that is not JSON.
inline std::optional<batterycore::Json> parseJson(const std::uint8_t* data, std::size_t size) {
  try {
    return batterycore::Json::parse(data, data + size);
  } catch (const batterycore::Json::exception&) {
    return std::nullopt;
  }
}

template <class T>
bool sameValue(const T& a, const T& b) {
  if constexpr (std::equality_comparable<T>) {
    return a == b;
  } else {
    return batterycore::encode(a) == batterycore::encode(b);
  }
}

// The type's name as written in code, for the message of a finding.
template <class T>
std::string typeName() {
  int status = 0;
  char* name = abi::__cxa_demangle(typeid(T).name(), nullptr, nullptr, &status);
  std::string readable = status == 0 && name != nullptr ? name : typeid(T).name();
  std::free(name);
  return readable;
}

template <class T>
void checkRoundTrip(const T& value) {
  const std::string type = typeName<T>();
  batterycore::Json encoded;
  std::string text;
  try {
    encoded = batterycore::encode(value);
    text = encoded.dump();  // as the state folder writes it
  } catch (const std::exception& error) {
    finding(type, std::string("encoding a decoded value threw: ") + error.what());
  }
  try {
    if (!sameValue(batterycore::decode<T>(encoded), value)) {
      finding(type, "decode(encode(value)) differs from the value; encoded: " + text);
    }
    if (!sameValue(batterycore::decode<T>(batterycore::Json::parse(text)), value)) {
      finding(type, "the value read back from its saved text differs; saved: " + text);
    }
  } catch (const std::exception& error) {
    finding(type, std::string("reading back its own encoding threw: ") + error.what() + "; encoded: " + text);
  }
}

template <class T>
void decodeAs(const batterycore::Json& json) {
  std::optional<T> decoded;
  try {
    decoded = batterycore::decode<T>(json);
  } catch (const batterycore::DecodingError&) {
    return;
  }
  checkRoundTrip(*decoded);
}

template <class... Types>
int fuzzJsonDecoders(const std::uint8_t* data, std::size_t size) {
  const auto json = parseJson(data, size);
  if (!json) return 0;
  (decodeAs<Types>(*json), ...);
  return 0;
}

}  // namespace kestrin::fuzz

#define KESTRIN_JSON_DECODER_FUZZ(...)                                                \
  extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) { \
    return ::kestrin::fuzz::fuzzJsonDecoders<__VA_ARGS__>(data, size);                \
  }
