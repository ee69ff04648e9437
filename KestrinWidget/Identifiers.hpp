// The names the application, the widget and the Control Center control share:
// the snapshot file, the preference keys and the notification names.
#pragma once

#include <string>
#include <string_view>

namespace kestrin::widget {

inline constexpr std::string_view kBundleIdentifier = "app.kestrin";
inline constexpr std::string_view kSnapshotFileName = "snapshot.json";
inline constexpr std::string_view kSnapshotPreferenceKey = "widget.snapshot";
inline constexpr std::string_view kControlRequestKey = "control.request";
inline constexpr std::string_view kControlAppliedKey = "control.applied";

// The system-wide notification that wakes the application: the bundle
// identifier with ".control".
std::string controlNotificationName(std::string_view bundleIdentifier = kBundleIdentifier);
// The Control Center control's kind: the bundle identifier with ".limit".
std::string controlKind(std::string_view bundleIdentifier = kBundleIdentifier);

}  // namespace kestrin::widget
