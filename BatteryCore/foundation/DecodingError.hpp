// DecodingError: the one error every JSON decoder of ours throws. It names the
// offending key path ("limit.on._0") and the reason, so a person reading a log
// line about a damaged state file knows where to look.
#pragma once

#include <stdexcept>
#include <string>

namespace batterycore {

class DecodingError : public std::runtime_error {
 public:
  explicit DecodingError(std::string reason, std::string path = {});

  const std::string& reason() const { return reason_; }
  const std::string& path() const { return path_; }

  // The same error, one level further out: "on" + "_0" -> "on._0".
  DecodingError within(const std::string& key) const;

 private:
  std::string reason_;
  std::string path_;
};

}  // namespace batterycore
