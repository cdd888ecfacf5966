// A map as a standalone SVG 1.1 picture: shapes given in latitude and longitude, drawn in layers
// over a local equirectangular projection (longitude shrunk by the cosine of the middle latitude,
// so that at street scale a metre is as long east-west as north-south), fitted into a square of
// the given size, with a scale bar and a north arrow. route and walk draw their maps with it.
#ifndef VISTARA_TOOLS_SVG_MAP_H_
#define VISTARA_TOOLS_SVG_MAP_H_

#include <string>
#include <vector>

#include "cli.h"

namespace vistara::cli {

struct SvgStyle {
  std::string colour = "black";  // an SVG colour: a name or #rrggbb
  double width = 1;              // pixels: a line's width, a circle's radius, a label's font size
  double opacity = 1;
};

class SvgMap {
 public:
  // The picture fits within `size` by `size` pixels.
  explicit SvgMap(double size = 800) : size_(size) {}

  // Starts a layer, drawn over the ones before; the shapes that follow go into it. `name` is the
  // layer's id in the file (a word).
  void Layer(const std::string& name);
  void Polyline(const std::vector<LatLon>& points, const SvgStyle& style);
  // A line `metres` wide on the ground (at least a pixel), with round ends: a corridor.
  void Band(const std::vector<LatLon>& points, double metres, const SvgStyle& style);
  // A line with an arrowhead at `to`.
  void Arrow(const LatLon& from, const LatLon& to, const SvgStyle& style);
  // A filled disc of style.width pixels' radius.
  void Circle(const LatLon& centre, const SvgStyle& style);
  // Text just right of `at`, style.width pixels high.
  void Label(const LatLon& at, const std::string& text, const SvgStyle& style);

  // The picture: the frame holds every shape's points with a margin; an empty map, or one of a
  // single point, shows 100 metres around it.
  std::string Svg() const;

 private:
  enum class Kind { kPolyline, kBand, kArrow, kCircle, kLabel };
  struct Shape {
    Kind kind;
    std::vector<LatLon> points;
    SvgStyle style;
    double metres = 0;
    std::string text;
  };
  struct Group {
    std::string name;
    std::vector<Shape> shapes;
  };
  void Add(Kind kind, std::vector<LatLon> points, const SvgStyle& style, double metres = 0, std::string text = "");

  double size_;
  std::vector<Group> layers_;
};

}  // namespace vistara::cli

#endif  // VISTARA_TOOLS_SVG_MAP_H_
