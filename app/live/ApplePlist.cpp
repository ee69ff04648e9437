#include "app/live/ApplePlist.hpp"

#include "app/live/IoregText.hpp"

#include <plist/plist.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

namespace kestrin::app::live {

using batterycore::DecodingError;
using batterycore::Json;

namespace {

constexpr double kSecondsFrom1970To2001 = 978307200.0;
constexpr double kMicrosecondsPerSecond = 1e6;

struct PlistFree {
  void operator()(void* node) const { plist_free(node); }
};
using PlistPointer = std::unique_ptr<void, PlistFree>;

// Strings and iterators the library hands over are the caller's to free().
struct CFree {
  void operator()(void* memory) const { std::free(memory); }
};
using CharPointer = std::unique_ptr<char, CFree>;
using IteratorPointer = std::unique_ptr<void, CFree>;

// Deepest nesting of <dict> and <array> in the text, counted before the
// library parses it: it recurses on nesting and cannot be told to stop.
int nestingDepth(std::string_view xml) {
  int depth = 0;
  int deepest = 0;
  for (auto at = xml.find('<'); at != std::string_view::npos; at = xml.find('<', at + 1)) {
    const auto tag = xml.substr(at + 1);
    const bool closing = tag.starts_with('/');
    const auto name = closing ? tag.substr(1) : tag;
    std::size_t length = 0;
    if (name.starts_with("dict")) length = 4;
    else if (name.starts_with("array")) length = 5;
    else continue;
    const auto end = name.find('>');
    if (end == std::string_view::npos) continue;
    if (end > length && name[length] != ' ' && name[length] != '\t' && name[length] != '/') continue;
    if (closing) {
      --depth;
    } else if (name[end - 1] != '/') {
      deepest = std::max(deepest, ++depth);
    }
  }
  return deepest;
}

std::string hexText(const char* bytes, std::uint64_t length) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text = "<";
  text.reserve(2 * length + 2);
  for (std::uint64_t i = 0; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 0xf];
  }
  return text + ">";
}

std::string utf8(const char* text, const std::string& path) {
  std::string value = text ? text : "";
  if (!isWellFormedUtf8(value)) throw DecodingError("a string is not UTF-8", path);
  return value;
}

std::string joined(const std::string& path, const std::string& key) { return path.empty() ? key : path + "." + key; }

Json toJson(plist_t node, int depth, const std::string& path) {
  if (depth > kPlistMaxDepth) {
    throw DecodingError("values nest deeper than " + std::to_string(kPlistMaxDepth) + " levels", path);
  }
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t value = 0;
      plist_get_bool_val(node, &value);
      return value != 0;
    }
    case PLIST_UINT:
    case PLIST_UID: {
      std::uint64_t value = 0;
      if (plist_get_node_type(node) == PLIST_UINT) plist_get_uint_val(node, &value);
      else plist_get_uid_val(node, &value);
      if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return static_cast<std::int64_t>(value);  // written negative
      }
      return value;
    }
    case PLIST_REAL: {
      double value = 0;
      plist_get_real_val(node, &value);
      return value;
    }
    case PLIST_STRING:
    case PLIST_KEY: {
      char* raw = nullptr;
      if (plist_get_node_type(node) == PLIST_STRING) plist_get_string_val(node, &raw);
      else plist_get_key_val(node, &raw);
      const CharPointer text(raw);
      return utf8(text.get(), path);
    }
    case PLIST_DATA: {
      char* raw = nullptr;
      std::uint64_t length = 0;
      plist_get_data_val(node, &raw, &length);
      const CharPointer bytes(raw);
      return hexText(bytes.get(), bytes ? length : 0);
    }
    case PLIST_DATE: {
      std::int32_t seconds = 0;
      std::int32_t microseconds = 0;
      plist_get_date_val(node, &seconds, &microseconds);
      return kSecondsFrom1970To2001 + seconds + microseconds / kMicrosecondsPerSecond;
    }
    case PLIST_ARRAY: {
      Json items = Json::array();
      const auto size = plist_array_get_size(node);
      for (std::uint32_t i = 0; i < size; ++i) {
        items.push_back(toJson(plist_array_get_item(node, i), depth + 1, path + "[" + std::to_string(i) + "]"));
      }
      return items;
    }
    case PLIST_DICT: {
      Json object = Json::object();
      plist_dict_iter rawIterator = nullptr;
      plist_dict_new_iter(node, &rawIterator);
      const IteratorPointer iterator(rawIterator);
      for (;;) {
        char* rawKey = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(node, iterator.get(), &rawKey, &value);
        const CharPointer key(rawKey);
        if (!value) break;
        std::string name = utf8(key.get(), path);
        auto converted = toJson(value, depth + 1, joined(path, name));
        object[std::move(name)] = std::move(converted);
      }
      return object;
    }
    case PLIST_NONE:
      break;
  }
  return nullptr;
}

}  // namespace

Json parseApplePlist(std::string_view xml) {
  if (xml.size() > std::numeric_limits<std::uint32_t>::max()) throw DecodingError("the property list is too large");
  // XML has no NUL character, and the property list library stops the
  // program on a string that holds one.
  if (xml.find('\0') != std::string_view::npos) {
    throw DecodingError("not a valid XML property list: it holds a NUL character");
  }
  if (nestingDepth(xml) > kPlistMaxDepth) {
    throw DecodingError("the property list nests deeper than " + std::to_string(kPlistMaxDepth) + " levels");
  }
  plist_t raw = nullptr;
  plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &raw);
  const PlistPointer root(raw);
  if (!root) throw DecodingError("not a valid XML property list");

  plist_t entry = root.get();
  if (plist_get_node_type(entry) == PLIST_ARRAY) {
    if (plist_array_get_size(entry) == 0) throw DecodingError("the property list holds no registry entry");
    entry = plist_array_get_item(entry, 0);
  }
  if (plist_get_node_type(entry) != PLIST_DICT) {
    throw DecodingError("the property list holds no dictionary of battery properties");
  }
  return toJson(entry, 1, "");
}

}  // namespace kestrin::app::live
