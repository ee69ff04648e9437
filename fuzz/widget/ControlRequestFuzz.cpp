// Any bytes as a stored preference dictionary of the Control Center control,
// read by decodePreferenceDictionary: as the request the application acts on
// (ControlRequest::from and pending) and as the answer the control waits for
// after a flip (SetLimitFromControlIntent, which shows a refusal as a
// ControlMessage). A dictionary must read back the same from its own
// encoding, and a request from its own dictionary. Nothing but ControlMessage
// may be thrown.
#include "KestrinWidget/ControlMessage.hpp"
#include "KestrinWidget/ControlRequest.hpp"
#include "KestrinWidget/SetLimitFromControlIntent.hpp"
#include "KestrinWidget/SharedPreferencesPosix.hpp"
#include "fuzz/Finding.hpp"
#include "fuzz/PreferenceFakes.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using kestrin::fuzz::finding;
  using kestrin::widget::ControlRequest;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto dictionary = kestrin::widget::decodePreferenceDictionary(bytes);
  if (!dictionary) return 0;
  const std::string encoded = kestrin::widget::encodePreferenceDictionary(*dictionary);
  if (kestrin::widget::decodePreferenceDictionary(encoded) != dictionary) {
    finding("decodePreferenceDictionary", "does not read back its own encoding: " + encoded);
  }
  const auto refusal = ControlRequest::refusal(*dictionary);
  const auto request = ControlRequest::from(dictionary);
  if (!request) return 0;
  if (ControlRequest::from(request->dictionary()) != request) {
    finding("ControlRequest::from", "a request does not read back from its own dictionary: " + encoded);
  }
  if (ControlRequest::pending(dictionary, std::nullopt, request->at) != request ||
      ControlRequest::pending(dictionary, dictionary, request->at)) {
    finding("ControlRequest::pending", "a fresh request is not pending exactly until answered: " + encoded);
  }

  // The same bytes as the application's answer to a flip made at its moment.
  kestrin::fuzz::BytePreferences preferences;
  preferences.setData(ControlRequest::appliedKey, bytes);
  kestrin::fuzz::QuietNotifications notifications;
  kestrin::fuzz::FixedClock clock(request->at);
  try {
    kestrin::widget::SetLimitFromControlIntent{request->on}.perform(&preferences, notifications, clock);
    if (refusal) finding("SetLimitFromControlIntent", "a refusal went unshown: " + encoded);
  } catch (const kestrin::widget::ControlMessage& message) {
    if (!refusal || message.text != *refusal) {
      finding("SetLimitFromControlIntent", "said \"" + message.text + "\" to its own answer: " + encoded);
    }
  }
  return 0;
}
