// Any bytes as a stored preference dictionary of a request to the running
// service ("request.<kind>") and as its answer ("answer.<kind>"), read by
// decodePreferenceDictionary: ServiceRequest::from and pending for every
// kind, and ServiceRequest::ask reading the answer to a request made at the
// moment the bytes give. A request must read back the same from its own
// dictionary.
#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/SharedPreferencesPosix.hpp"
#include "app/ServiceRequest.hpp"
#include "fuzz/Finding.hpp"
#include "fuzz/PreferenceFakes.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using kestrin::app::ServiceRequest;
  using kestrin::fuzz::finding;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto dictionary = kestrin::widget::decodePreferenceDictionary(bytes);
  if (!dictionary) return 0;
  for (const auto kind : ServiceRequest::allKinds) {
    const auto request = ServiceRequest::from(kind, dictionary);
    if (!request) continue;
    const auto again = ServiceRequest::from(kind, request->dictionary());
    if (!again || again->at != request->at || !(again->options == request->options)) {
      finding("ServiceRequest::from", "a request does not read back from its own dictionary: " +
                                          kestrin::widget::encodePreferenceDictionary(request->dictionary()));
    }

    auto preferences = std::make_shared<kestrin::fuzz::BytePreferences>();
    preferences->setData(ServiceRequest::requestKey(kind), bytes);
    if (!ServiceRequest::pending(kind, *preferences, request->at)) {
      finding("ServiceRequest::pending", "a fresh, unanswered request is not pending");
    }
    preferences->setData(ServiceRequest::answerKey(kind), bytes);
    if (ServiceRequest::pending(kind, *preferences, request->at)) {
      finding("ServiceRequest::pending", "an answered request is still pending");
    }

    // The same bytes as the service's answer to this request.
    const kestrin::widget::AppGroup group{nullptr, preferences,
                                          std::make_shared<kestrin::fuzz::QuietNotifications>()};
    kestrin::fuzz::FixedClock clock(request->at);
    (void)ServiceRequest::ask(group, *request, clock);
  }
  return 0;
}
