// vistara-spatial walk: replays a viewer's movement through a MultiConstraintBuilder, as a host's
// street-level view drives it, and prints per step what the builder makes of it.
#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <numbers>
#include <optional>
#include <sstream>
#include <tuple>

#include "cli.h"
#include "graph_source.h"
#include "platform/geo.h"
#include "platform/units.h"
#include "spatial/multi_constraint_builder.h"
#include "spatial/wayfare_spatial_options.h"
#include "svg_map.h"

namespace vistara::cli {
namespace {

using spatial::PanoGraph;

constexpr double kDegree = std::numbers::pi / 180;
// Metres in a unit of map position along a meridian: a unit is 180 degrees of latitude. The
// builder's depths mix widths in planet radii with positions unconverted; shown in these metres.
constexpr double kMetresPerMapUnit = std::numbers::pi / Units::s_inv_planet_radius;

struct WalkOptions {
  GraphSourceOptions source;
  std::string along;  // a route as route --json writes it
  double speed = 1.4;  // metres per second
  double fps = 30;
  std::string svg;
};

// Headings: the input's are compass headings on the ground; the builder's are compass headings on
// the flat map, where a degree of longitude is as long as one of latitude.
double FlatHeading(double compass_degrees, double lat) {
  const double h = compass_degrees * kDegree;
  return std::atan2(std::sin(h) / std::cos(lat * kDegree), std::cos(h));
}
double GroundHeading(double flat, double lat) {
  return std::atan2(std::sin(flat) * std::cos(lat * kDegree), std::cos(flat)) / kDegree;
}
// The point `metres` from `p` along the compass heading (degrees), on a local plane.
LatLon Ahead(const LatLon& p, double heading, double metres) {
  const double d = metres * Units::s_inv_planet_radius / kDegree;
  return {p.lat + d * std::cos(heading * kDegree), p.lon + d * std::sin(heading * kDegree) / std::cos(p.lat * kDegree)};
}
LatLon Degrees(const Vec2<double>& p) { return {p.y * 180.0, p.x * 180.0}; }
std::string Shown(const LatLon& p) { return ShownNumber(p.lat) + "," + ShownNumber(p.lon); }
// `v` to a multiple of `unit`, for text; never "-0".
std::string Rounded(double v, double unit) { return ShownNumber(std::round(v / unit) * unit + 0.0); }

// The builder and what the walk leaves behind for the map. With a fetch, the panorama nearest the
// first step is asked for and every panorama activated gets its neighbours fetched, as a host does.
class Walker {
 public:
  Walker(const PanoGraph* graph, GraphFetch* fetch) : graph_(graph), fetch_(fetch), builder_(*graph) {}

  bool Step(const LatLon& at, double heading, Json::Value* json, std::string* text, std::string* error) {
    const Vec2<double> position(at.lon / 180.0, at.lat / 180.0);
    if (builder_.active_pano_id().isNull()) {
      const QString id = fetch_ ? fetch_->FetchNearest(at.lat, at.lon, Radius())
                                : graph_->GetClosestPanoToPoint(Vec3<double>(position.x, position.y, 0));
      if (id.isNull()) {
        *error = "no panorama near " + Shown(at);
        return false;
      }
      Activate(id);
    }
    const std::string active = builder_.active_pano_id().toStdString();
    builder_.SetView(position, FlatHeading(heading, at.lat));
    walked_.push_back(at);

    (*json)["pano"] = active;
    const double depth = builder_.GetCollisionDepth();
    if (depth == std::numeric_limits<double>::max()) {
      for (const char* key : {"depth", "normal", "point", "correction", "step_to"}) (*json)[key] = Json::Value();
      *text = active + ": no link applies";
      return true;
    }
    const Vec2<double>& normal = builder_.GetCollisionNormal();
    const LatLon point = Degrees(builder_.GetCollisionPoint());
    const double correction = builder_.CalculateHeadingRestoreDelta() / kDegree;  // degrees per second
    (*json)["depth"] = JsonNumber(depth * kMetresPerMapUnit);
    (*json)["normal"].append(JsonNumber(normal.x));
    (*json)["normal"].append(JsonNumber(normal.y));
    (*json)["point"].append(JsonNumber(point.lat));
    (*json)["point"].append(JsonNumber(point.lon));
    (*json)["correction"] = JsonNumber(correction);
    std::ostringstream out;
    out << active << ": depth " << Rounded(depth * kMetresPerMapUnit, 0.01) << " m, normal " << Rounded(normal.x, 0.001)
        << "," << Rounded(normal.y, 0.001) << ", point " << Rounded(point.lat, 1e-7) << "," << Rounded(point.lon, 1e-7)
        << ", correction " << Rounded(correction, 0.01) << " deg/s";
    corrections_.push_back({at, GroundHeading(FlatHeading(heading, at.lat) + correction * kDegree, at.lat)});

    const QString best = builder_.GetBestPano();
    (*json)["step_to"] = Json::Value();
    if (!best.isNull() && best != builder_.active_pano_id()) {
      (*json)["step_to"] = best.toStdString();
      out << ", step to " << best.toStdString();
      Activate(QString(best));  // a copy: the reference lives in a record the step may drop
    }
    *text = out.str();
    return true;
  }

  // The corridors of every panorama activated, with their width, the walked path in blue, and
  // for every few steps an arrow along the heading the correction turns to in one second.
  std::string Svg() const {
    SvgMap map;
    map.Layer("corridors");
    for (const auto& [ends, width] : corridors_) map.Band({ends.first, ends.second}, width, {"#cfe3f7", 1});
    map.Layer("links");
    for (const auto& [ends, width] : corridors_) map.Polyline({ends.first, ends.second}, {"#7a9cc0", 1});
    map.Layer("walk");
    if (!walked_.empty()) map.Polyline(walked_, {"#1f5fbf", 2});
    map.Layer("corrections");
    const size_t every = std::max<size_t>(1, corrections_.size() / 40);
    for (size_t i = 0; i < corrections_.size(); i += every) {
      const auto& [at, heading] = corrections_[i];
      map.Arrow(at, Ahead(at, heading, 4), {"#d0402b", 1.5});
    }
    map.Layer("panoramas");
    for (const LatLon& p : activated_) map.Circle(p, {"#333333", 3});
    return map.Svg();
  }

 private:
  static double Radius() { return spatial::WayfareSpatialOptions::s_settings_.defaultSearchRadiusMeters; }

  // The corridors as the records give them: scale 1, no offset.
  void Activate(const QString& id) {
    if (fetch_) fetch_->FetchNeighbours(id);
    builder_.SetActivePano(id, 1.0, 0.0);
    if (const spatial::PanoramaData* r = builder_.active_pano()) activated_.push_back(Degrees(Vec2<double>(r->position.x, r->position.y)));
    for (const spatial::ConstraintBuilder* c : builder_.constraints()) {
      if (!c->geometry_valid()) continue;
      const double width = (c->start_data()->corridor_width + c->end_data()->corridor_width) * kMetresPerMapUnit;
      LatLon a = Degrees(c->start()), b = Degrees(c->end());
      if (std::pair(a.lat, a.lon) > std::pair(b.lat, b.lon)) std::swap(a, b);
      corridors_[{a, b}] = width;
    }
  }

  struct Less {
    bool operator()(const std::pair<LatLon, LatLon>& x, const std::pair<LatLon, LatLon>& y) const {
      return std::tie(x.first.lat, x.first.lon, x.second.lat, x.second.lon) <
             std::tie(y.first.lat, y.first.lon, y.second.lat, y.second.lon);
    }
  };

  const PanoGraph* graph_;
  GraphFetch* fetch_;  // null with a graph from files
  spatial::MultiConstraintBuilder builder_;
  std::vector<LatLon> walked_;
  std::vector<std::pair<LatLon, double>> corrections_;  // position, corrected compass heading
  std::vector<LatLon> activated_;
  std::map<std::pair<LatLon, LatLon>, double, Less> corridors_;  // ends to full width, metres
};

// "LAT LON HEADING": degrees, blanks between.
bool ParseStep(const std::string& line, LatLon* at, double* heading, std::string* error) {
  std::istringstream words(line);
  std::string lat, lon, h, extra;
  if (!(words >> lat >> lon >> h) || (words >> extra)) {
    *error = "'" + line + "' is not LAT LON HEADING";
    return false;
  }
  return ParseNumber(lat, {-90, 90}, &at->lat, error) && ParseNumber(lon, {-180, 180}, &at->lon, error) &&
         ParseNumber(h, {}, heading, error);
}

// The panoramas of a route from route --json.
bool ReadRoute(Io& io, const std::string& file, std::vector<LatLon>* route, std::string* error) {
  std::string bytes;
  if (!io.Read(file, &bytes, error)) return false;
  Json::Value root;
  if (Json::Reader().parse(bytes, root) && root.isObject() && root["panoramas"].isArray()) {
    bool valid = true;
    for (const Json::Value& p : root["panoramas"]) {
      if (!p.isObject()) valid = false;
      else if (p["lat"].isNumeric() && p["lon"].isNumeric()) {
        route->push_back({p["lat"].asDouble(), p["lon"].asDouble()});
        valid = valid && std::abs(route->back().lat) < 90 && std::abs(route->back().lon) <= 180;
      }
      else if (!p["lat"].isNull() || !p["lon"].isNull()) valid = false;  // null: a placeholder, passed over
    }
    if (valid && !route->empty()) return true;
  }
  *error = "'" + DisplayName(file) + "' is not a route as route --json writes it";
  return false;
}

// Ground metres from a to b, on a local plane.
double Metres(const LatLon& a, const LatLon& b) {
  return std::hypot(b.lat - a.lat, (b.lon - a.lon) * std::cos(a.lat * kDegree)) * kDegree / Units::s_inv_planet_radius;
}

// Along the route at the given speed, a step every frame, heading along the leg walked. False if
// that would take more than kMaxSteps steps.
constexpr double kMaxSteps = 1e6;
bool WalkAlong(Io& io, const std::vector<LatLon>& route, double step_metres, Walker* walker) {
  double total = 0;
  for (size_t i = 0; i + 1 < route.size(); ++i) total += Metres(route[i], route[i + 1]);
  if (total / step_metres > kMaxSteps) return false;
  int number = 0;
  auto step = [&](const LatLon& at, double heading) {
    Json::Value json(Json::objectValue);
    std::string text, error;
    ++number;
    if (walker->Step(at, heading, &json, &text, &error)) io.PrintLine(json, text);
    else io.InputError("step " + std::to_string(number), error);
  };
  double heading = 0, carried = 0;  // metres of the last leg left over
  for (size_t i = 0; i + 1 < route.size(); ++i) {
    const LatLon& a = route[i];
    const double length = Metres(a, route[i + 1]);
    if (length == 0) continue;
    heading = std::atan2((route[i + 1].lon - a.lon) * std::cos(a.lat * kDegree), route[i + 1].lat - a.lat) / kDegree;
    double s = carried;
    for (; s < length; s += step_metres) step(Ahead(a, heading, s), heading);
    carried = s - length;
  }
  step(route.back(), heading);
  return true;
}

int Run(Io& io, const WalkOptions& o) {
  const bool stdin_graph = std::count(o.source.files.begin(), o.source.files.end(), "-") > 0;
  if (o.source.server.empty() && o.source.files.empty()) return io.Fail("give --graph FILE or --server URL");
  if (stdin_graph && o.along.empty()) return io.Fail("standard input holds the graph: walk --along a route");
  std::vector<Records> replies;  // outlives the graph, which points into it
  PanoGraph graph;
  std::string error;
  std::vector<LatLon> route;
  if (!o.along.empty() && !ReadRoute(io, o.along, &route, &error)) return io.Fail(error);
  if (!o.source.files.empty()) {
    if (!ReadReplies(io, o.source.files, &replies, &error)) return io.Fail(error);
    BuildGraph(replies, &graph);
  }
  std::optional<GraphFetch> fetch;
  if (!o.source.server.empty()) fetch.emplace(io, o.source.server, o.source.timeout.value_or(kDefaultFetchSeconds), &graph);
  Walker walker(&graph, fetch ? &*fetch : nullptr);

  if (o.along.empty()) {
    ForEachInput(io, {}, [&](const std::string& line, Json::Value* json, std::string* text, std::string* why) {
      LatLon at;
      double heading = 0;
      return ParseStep(line, &at, &heading, why) && walker.Step(at, heading, json, text, why);
    });
  } else {
    if (!WalkAlong(io, route, o.speed / o.fps, &walker)) {
      return io.Fail("the walk would take more than " + ShownNumber(kMaxSteps) + " steps: raise --speed or lower --fps");
    }
  }
  if (fetch && !fetch->Finish(&error)) return io.Fail(error);
  if (!o.svg.empty() && !io.Write(o.svg, walker.Svg(), &error)) return io.Fail(error);
  return io.status();
}

void Declare(CLI::App* command) {
  auto o = std::make_shared<WalkOptions>();
  AddGraphSource(command, &o->source);
  AddFile(command, "--along", &o->along, "walk this route, written by route --json, instead of reading steps");
  AddNumber(command, "--speed", &o->speed, {0, 1000, true}, "with --along: metres per second (default 1.4)");
  AddNumber(command, "--fps", &o->fps, {0, 1000, true}, "with --along: steps per second (default 30)");
  AddFile(command, "--svg", &o->svg, "draw the corridors, the walked path and the corrections as an SVG map");
  SetRun(command, [o](Io& io) { return Run(io, *o); });
}

const Registrar kRegistrar(
    "walk", "replays a viewer's walk through the corridors of the panorama graph, step by step",
    "Builds the panorama graph from metadata replies (--graph) or fetches it as a host does\n"
    "(--server: the panorama nearest the first step, then the neighbours of each panorama stepped\n"
    "to). Reads steps from standard input, one \"LAT LON HEADING\" per line (degrees; the heading a\n"
    "compass heading, clockwise from north), or with --along makes them by walking a route at\n"
    "--speed with --fps steps a second (a million steps at most), looking along the street.\n\n"
    "The viewer starts at the panorama nearest the first step. Each step sets the view of a\n"
    "MultiConstraintBuilder over the corridors as the records give them (no extra width) and prints\n"
    "one line: the active panorama, the collision depth (metres along a meridian, positive inside a\n"
    "corridor), the normal (east and north on the map), the collision point, the heading correction\n"
    "(degrees per second, as the builder measures it on the flat map) and the panorama stepped to\n"
    "when the nearer end of the corridor the viewer is in is another. With --json each line is one\n"
    "JSON object. A bad line is reported in its place and the walk goes on.\n",
    Declare);

}  // namespace
}  // namespace vistara::cli
