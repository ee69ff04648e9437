// Svg: a small writer of SVG documents for charts drawn into HTML pages.
//
//   Svg svg(720, 240);
//   svg.beginGroup("axis");
//   svg.line(40, 200, 700, 200);
//   svg.text(40, 216, "Mar 2026", Svg::Anchor::middle);
//   svg.endGroup();
//   svg.str()   // "<svg xmlns=... viewBox=\"0 0 720 240\" ...>...</svg>"
//
// The document has a viewBox of its size and no fixed width, so it scales to
// the width of what holds it. Looks come from class names (the page's CSS),
// never from inline colours. Every text and attribute is escaped, and numbers
// are written with '.' and at most two decimals whatever the locale.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace kestrin::app::report {

// Text made safe for XML and HTML content and attribute values.
std::string escapeXml(std::string_view text);
// A coordinate as SVG reads it: "12", "12.5", "-0.25"; never a comma, never
// an exponent.
std::string svgNumber(double value);

class Svg {
 public:
  enum class Anchor { start, middle, end };
  struct Point {
    double x = 0;
    double y = 0;
  };

  // `label` names the drawing for screen readers (an accessible title).
  Svg(double width, double height, std::string_view label = {}, std::string_view className = {});

  double width() const { return width_; }
  double height() const { return height_; }

  void line(double x1, double y1, double x2, double y2, std::string_view className = {});
  void polyline(std::span<const Point> points, std::string_view className = {});
  void circle(double cx, double cy, double r, std::string_view className = {});
  void rect(double x, double y, double width, double height, std::string_view className = {});
  void text(double x, double y, std::string_view text, Anchor anchor = Anchor::start,
            std::string_view className = {});
  void beginGroup(std::string_view className);
  void endGroup();

  // The finished document; groups left open are closed.
  std::string str() const;

 private:
  void open(std::string_view element, std::string_view className);
  double width_;
  double height_;
  std::string label_;
  std::string className_;
  std::string body_;
  int openGroups_ = 0;
};

}  // namespace kestrin::app::report
