// ControlMessage: why the Control Center control could not switch the limit,
// in words for the person who flipped it.
//
//   try { intent.perform(...); }
//   catch (const ControlMessage& message) { show(message.text); }   // message.what() is the same text
#pragma once

#include <exception>
#include <string>

namespace kestrin::widget {

class ControlMessage : public std::exception {
 public:
  explicit ControlMessage(std::string text) : text(std::move(text)) {}
  const char* what() const noexcept override { return text.c_str(); }

  std::string text;
};

}  // namespace kestrin::widget
