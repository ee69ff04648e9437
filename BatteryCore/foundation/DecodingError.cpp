#include "BatteryCore/foundation/DecodingError.hpp"

namespace batterycore {

namespace {
std::string describe(const std::string& reason, const std::string& path) {
  return path.empty() ? reason : path + ": " + reason;
}
}  // namespace

DecodingError::DecodingError(std::string reason, std::string path)
    : std::runtime_error(describe(reason, path)), reason_(std::move(reason)), path_(std::move(path)) {}

DecodingError DecodingError::within(const std::string& key) const {
  return DecodingError(reason_, path_.empty() ? key : key + "." + path_);
}

}  // namespace batterycore
