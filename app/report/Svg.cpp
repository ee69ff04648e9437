#include "app/report/Svg.hpp"

#include <charconv>
#include <cmath>

namespace kestrin::app::report {

std::string escapeXml(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&#39;"; break;
      default: out += c;
    }
  }
  return out;
}

std::string svgNumber(double value) {
  if (!std::isfinite(value)) return "0";
  double rounded = std::round(value * 100.0) / 100.0;
  if (rounded == 0.0) rounded = 0.0;  // no "-0"
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, rounded, std::chars_format::fixed, 2);
  std::string text(buffer, result.ptr);
  while (!text.empty() && text.back() == '0') text.pop_back();
  if (!text.empty() && text.back() == '.') text.pop_back();
  if (text == "-0") text = "0";
  return text;
}

Svg::Svg(double width, double height, std::string_view label, std::string_view className)
    : width_(width), height_(height), label_(label), className_(className) {}

void Svg::open(std::string_view element, std::string_view className) {
  body_ += '<';
  body_ += element;
  if (!className.empty()) body_ += " class=\"" + escapeXml(className) + "\"";
}

void Svg::line(double x1, double y1, double x2, double y2, std::string_view className) {
  open("line", className);
  body_ += " x1=\"" + svgNumber(x1) + "\" y1=\"" + svgNumber(y1) + "\" x2=\"" + svgNumber(x2) + "\" y2=\"" +
           svgNumber(y2) + "\"/>";
}

void Svg::polyline(std::span<const Point> points, std::string_view className) {
  if (points.empty()) return;
  open("polyline", className);
  body_ += " points=\"";
  bool first = true;
  for (const auto& point : points) {
    if (!first) body_ += ' ';
    first = false;
    body_ += svgNumber(point.x) + "," + svgNumber(point.y);
  }
  body_ += "\"/>";
}

void Svg::circle(double cx, double cy, double r, std::string_view className) {
  open("circle", className);
  body_ += " cx=\"" + svgNumber(cx) + "\" cy=\"" + svgNumber(cy) + "\" r=\"" + svgNumber(r) + "\"/>";
}

void Svg::rect(double x, double y, double width, double height, std::string_view className) {
  open("rect", className);
  body_ += " x=\"" + svgNumber(x) + "\" y=\"" + svgNumber(y) + "\" width=\"" + svgNumber(std::max(width, 0.0)) +
           "\" height=\"" + svgNumber(std::max(height, 0.0)) + "\"/>";
}

void Svg::text(double x, double y, std::string_view text, Anchor anchor, std::string_view className) {
  open("text", className);
  body_ += " x=\"" + svgNumber(x) + "\" y=\"" + svgNumber(y) + "\"";
  if (anchor == Anchor::middle) body_ += " text-anchor=\"middle\"";
  if (anchor == Anchor::end) body_ += " text-anchor=\"end\"";
  body_ += ">" + escapeXml(text) + "</text>";
}

void Svg::beginGroup(std::string_view className) {
  open("g", className);
  body_ += '>';
  ++openGroups_;
}

void Svg::endGroup() {
  if (openGroups_ == 0) return;
  body_ += "</g>";
  --openGroups_;
}

std::string Svg::str() const {
  std::string out = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + svgNumber(width_) + " " +
                    svgNumber(height_) + "\"";
  if (!className_.empty()) out += " class=\"" + escapeXml(className_) + "\"";
  if (!label_.empty()) out += " role=\"img\" aria-label=\"" + escapeXml(label_) + "\"";
  out += ">";
  if (!label_.empty()) out += "<title>" + escapeXml(label_) + "</title>";
  out += body_;
  for (int i = 0; i < openGroups_; ++i) out += "</g>";
  out += "</svg>";
  return out;
}

}  // namespace kestrin::app::report
