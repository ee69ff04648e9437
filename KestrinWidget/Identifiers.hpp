// The names the application, the widget and the Control Center control share:
// the bundle identifier everything else is named after, and the application
// group they meet in.
//
//   appGroupIdentifier("ABCDE12345") == "ABCDE12345.app.kestrin"
//   controlNotificationName()        == "app.kestrin.control"
//   controlKind()                    == "app.kestrin.limit"
//
// The snapshot's file and preference names live on WidgetSnapshot, the
// control's keys on ControlRequest.
#pragma once

#include <string>
#include <string_view>

namespace kestrin::widget {

inline constexpr std::string_view kBundleIdentifier = "app.kestrin";

// The application group: the signing team's prefix, a dot, the bundle
// identifier. Only the Apple build needs the team; it comes from the build.
std::string appGroupIdentifier(std::string_view teamIdentifier,
                               std::string_view bundleIdentifier = kBundleIdentifier);

// The system-wide notification that wakes the application: the bundle
// identifier with ".control".
std::string controlNotificationName(std::string_view bundleIdentifier = kBundleIdentifier);
// The Control Center control's kind: the bundle identifier with ".limit".
std::string controlKind(std::string_view bundleIdentifier = kBundleIdentifier);

}  // namespace kestrin::widget
