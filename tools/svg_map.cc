#include "svg_map.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <numbers>

#include "platform/units.h"

namespace vistara::cli {
namespace {

constexpr double kMargin = 20;     // pixels round the content
constexpr double kScaleRoom = 30;  // pixels below it for the scale bar
// Metres in a degree of latitude, on the planet's sphere.
constexpr double kMetresPerDegree = std::numbers::pi / 180 / Units::s_inv_planet_radius;

std::string Num(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", v);
  return text;
}

std::string Escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

// The longest of 1, 2 and 5 times a power of ten not above `metres`.
double RoundLength(double metres) {
  const double power = std::pow(10.0, std::floor(std::log10(metres)));
  for (const double m : {5.0, 2.0}) {
    if (m * power <= metres) return m * power;
  }
  return power;
}

}  // namespace

void SvgMap::Layer(const std::string& name) { layers_.push_back({name, {}}); }

void SvgMap::Add(Kind kind, std::vector<LatLon> points, const SvgStyle& style, double metres, std::string text) {
  if (layers_.empty()) Layer("map");
  layers_.back().shapes.push_back({kind, std::move(points), style, metres, std::move(text)});
}

void SvgMap::Polyline(const std::vector<LatLon>& points, const SvgStyle& style) {
  Add(Kind::kPolyline, points, style);
}
void SvgMap::Band(const std::vector<LatLon>& points, double metres, const SvgStyle& style) {
  Add(Kind::kBand, points, style, metres);
}
void SvgMap::Arrow(const LatLon& from, const LatLon& to, const SvgStyle& style) {
  Add(Kind::kArrow, {from, to}, style);
}
void SvgMap::Circle(const LatLon& centre, const SvgStyle& style) { Add(Kind::kCircle, {centre}, style); }
void SvgMap::Label(const LatLon& at, const std::string& text, const SvgStyle& style) {
  Add(Kind::kLabel, {at}, style, 0, text);
}

std::string SvgMap::Svg() const {
  double south = 90, north = -90, west = 180, east = -180;
  for (const Group& g : layers_) {
    for (const Shape& s : g.shapes) {
      for (const LatLon& p : s.points) {
        south = std::min(south, p.lat), north = std::max(north, p.lat);
        west = std::min(west, p.lon), east = std::max(east, p.lon);
      }
    }
  }
  if (south > north) south = north = west = east = 0;
  const double shrink = std::cos((south + north) / 2 * std::numbers::pi / 180);
  // Room for the widest band beyond the points.
  double band = 0;
  for (const Group& g : layers_) {
    for (const Shape& s : g.shapes) band = std::max(band, s.kind == Kind::kBand ? s.metres / 2 / kMetresPerDegree : 0);
  }
  south -= band, north += band, west -= band / shrink, east += band / shrink;
  // The frame in "degrees of latitude" both ways, at least 100 m across.
  const double min_span = 100 / kMetresPerDegree;
  const double across = std::max((east - west) * shrink, min_span), down = std::max(north - south, min_span);
  const double centre_x = (west + east) / 2 * shrink, centre_y = (south + north) / 2;
  const double scale = (size_ - 2 * kMargin) / std::max(across, down);  // pixels per degree
  const double width = across * scale + 2 * kMargin, height = down * scale + 2 * kMargin + kScaleRoom;
  auto px = [&](const LatLon& p) { return width / 2 + (p.lon * shrink - centre_x) * scale; };
  auto py = [&](const LatLon& p) { return kMargin + down * scale / 2 - (p.lat - centre_y) * scale; };
  auto points = [&](const std::vector<LatLon>& ps) {
    std::string out;
    for (const LatLon& p : ps) {
      if (!out.empty()) out += ' ';
      out += Num(px(p));
      out += ',';
      out += Num(py(p));
    }
    return out;
  };
  auto paint = [](const SvgStyle& s, const char* what) {
    return std::string(" ") + what + "=\"" + Escaped(s.colour) + "\"" +
           (s.opacity < 1 ? std::string(" ") + what + "-opacity=\"" + Num(s.opacity) + "\"" : "");
  };
  const double pixels_per_metre = scale / kMetresPerDegree;

  // SVG 1.1 markers don't take the colour of the line they end: one arrowhead per colour.
  std::map<std::string, std::string> heads;
  std::string defs;
  for (const Group& g : layers_) {
    for (const Shape& s : g.shapes) {
      if (s.kind != Kind::kArrow || heads.count(s.style.colour)) continue;
      const std::string id = "head" + std::to_string(heads.size());
      heads[s.style.colour] = id;
      defs += "    <marker id=\"" + id +
              "\" viewBox=\"0 0 10 10\" refX=\"8\" refY=\"5\" markerWidth=\"5\" markerHeight=\"5\" orient=\"auto\">"
              "<path d=\"M0,0 L10,5 L0,10 z\"" + paint(s.style, "fill") + "/></marker>\n";
    }
  }

  std::string out = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>\n";
  out += "<svg xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"" + Num(width) + "\" height=\"" +
         Num(height) + "\" viewBox=\"0 0 " + Num(width) + " " + Num(height) + "\">\n";
  out += "  <rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
  if (!defs.empty()) out += "  <defs>\n" + defs + "  </defs>\n";
  for (const Group& g : layers_) {
    out += "  <g id=\"" + Escaped(g.name) + "\">\n";
    for (const Shape& s : g.shapes) {
      const SvgStyle& st = s.style;
      switch (s.kind) {
        case Kind::kPolyline:
        case Kind::kBand:
        case Kind::kArrow: {
          const double w = s.kind == Kind::kBand ? std::max(1.0, s.metres * pixels_per_metre) : st.width;
          out += "    <polyline points=\"" + points(s.points) + "\" fill=\"none\"" + paint(st, "stroke") +
                 " stroke-width=\"" + Num(w) + "\" stroke-linecap=\"round\" stroke-linejoin=\"round\"" +
                 (s.kind == Kind::kArrow ? " marker-end=\"url(#" + heads.at(st.colour) + ")\"" : "") + "/>\n";
          break;
        }
        case Kind::kCircle:
          out += "    <circle cx=\"" + Num(px(s.points[0])) + "\" cy=\"" + Num(py(s.points[0])) + "\" r=\"" + Num(st.width) +
                 "\"" + paint(st, "fill") + "/>\n";
          break;
        case Kind::kLabel:
          out += "    <text x=\"" + Num(px(s.points[0]) + st.width / 2) + "\" y=\"" + Num(py(s.points[0])) +
                 "\" font-family=\"sans-serif\" font-size=\"" + Num(st.width) + "\"" + paint(st, "fill") + ">" +
                 Escaped(s.text) + "</text>\n";
          break;
      }
    }
    out += "  </g>\n";
  }
  // The scale bar: a round length near a fifth of the picture, bottom left.
  const double metres = RoundLength(width / 5 / pixels_per_metre), bar = metres * pixels_per_metre;
  const double base = height - kScaleRoom / 2;
  out += "  <g id=\"scale\">\n    <polyline points=\"" + Num(kMargin) + "," + Num(base - 4) + " " + Num(kMargin) + "," +
         Num(base) + " " + Num(kMargin + bar) + "," + Num(base) + " " + Num(kMargin + bar) + "," + Num(base - 4) +
         "\" fill=\"none\" stroke=\"black\" stroke-width=\"1.5\"/>\n";
  out += "    <text x=\"" + Num(kMargin + bar + 6) + "\" y=\"" + Num(base + 4) +
         "\" font-family=\"sans-serif\" font-size=\"12\">" +
         (metres >= 1000 ? ShownNumber(metres / 1000) + " km" : ShownNumber(metres) + " m") + "</text>\n  </g>\n";
  // The north arrow, bottom right: up the picture is north, as the projection keeps it.
  const double nx = width - kMargin - 5;
  out += "  <g id=\"north\">\n    <path d=\"M" + Num(nx) + "," + Num(base - 14) + " L" + Num(nx + 5) + "," + Num(base + 2) +
         " L" + Num(nx) + "," + Num(base - 2) + " L" + Num(nx - 5) + "," + Num(base + 2) + " z\" fill=\"black\"/>\n";
  out += "    <text x=\"" + Num(nx - 20) + "\" y=\"" + Num(base + 2) +
         "\" font-family=\"sans-serif\" font-size=\"12\">N</text>\n  </g>\n";
  out += "</svg>\n";
  return out;
}

}  // namespace vistara::cli
