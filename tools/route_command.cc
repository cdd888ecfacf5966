// vistara-spatial route: the chain of panoramas between two points, as PathPlanner finds it, with
// the turn points of its intersections; as text or JSON, and drawn as KML, GeoJSON or an SVG map.
#include <algorithm>
#include <boost/graph/adjacency_list.hpp>
#include <memory>
#include <sstream>

#include "cli.h"
#include "graph_source.h"
#include "spatial/path_planner.h"
#include "spatial/wayfare_spatial_options.h"
#include "svg_map.h"

namespace vistara::cli {
namespace {

using spatial::PanoGraph;
using spatial::PathPlanner;

struct RouteOptions {
  GraphSourceOptions source;
  std::optional<LatLon> from, to;
  int max_links = 200;
  bool same_scene = false;
  std::string kml, svg, geojson;
};

struct Stop {
  std::string id;
  std::optional<LatLon> at;  // none for a placeholder (an id known only as a link) the route passes
  std::string street;        // empty if the record names none
};
struct Turn {
  int index;  // into the stops
  LatLon at;  // 5 m inside the corner
};
struct Route {
  std::vector<Stop> stops;
  std::vector<Turn> turns;
};

Vec3<double> MapPoint(const LatLon& p) { return Vec3<double>(p.lon / 180.0, p.lat / 180.0, 0); }
LatLon Degrees(const Vec3<double>& p) { return {p.y * 180.0, p.x * 180.0}; }
std::string Shown(const LatLon& p) { return ShownNumber(p.lat) + "," + ShownNumber(p.lon); }

// Whether every panorama of the path has its record: a route may pass through placeholders.
bool Complete(const PanoGraph& graph, const PathPlanner::Path& path) {
  SpinLock::ScopedLock hold(graph.lock());
  return std::all_of(path.begin(), path.end(), [&](const QString& id) { return graph.GetPanoramaData(id); });
}

// With --server: the nearest panoramas of both ends, then their neighbours a link further each
// round, until the planner finds a route of records to the panorama nearest TO, a round finds
// nothing new, --max-links rounds have passed or the time is up. (The planner takes any panorama
// within 100 m of TO as the end, and a graph still growing would have it stop short.)
bool FetchGraph(Io& io, const RouteOptions& o, PanoGraph* graph, std::string* error) {
  GraphFetch fetch(io, o.source.server, o.source.timeout.value_or(kDefaultFetchSeconds), graph);
  const double radius = spatial::WayfareSpatialOptions::s_settings_.defaultSearchRadiusMeters;
  const std::vector<QString> ends{fetch.FetchNearest(o.from->lat, o.from->lon, radius),
                                  fetch.FetchNearest(o.to->lat, o.to->lon, radius)};
  const PathPlanner planner(graph);
  PathPlanner::Path path;
  for (int depth = 1; depth <= o.max_links; ++depth) {
    if (planner.FindPath(MapPoint(*o.from), MapPoint(*o.to), o.max_links, o.same_scene, &path) &&
        path[path.size() - 1] == ends[1] && Complete(*graph, path)) {
      break;
    }
    if (fetch.FetchAround(ends, depth) == 0) break;
  }
  return fetch.Finish(error);
}

Json::Value Point(const LatLon& p) {
  Json::Value v(Json::arrayValue);  // RFC 7946: longitude first
  v.append(JsonNumber(p.lon));
  v.append(JsonNumber(p.lat));
  return v;
}

// RFC 7946: the route as a LineString feature, each turn point as a Point feature.
std::string GeoJson(const Route& route) {
  Json::Value root(Json::objectValue);
  root["type"] = "FeatureCollection";
  Json::Value& features = root["features"] = Json::Value(Json::arrayValue);
  Json::Value line(Json::objectValue);
  line["type"] = "Feature";
  line["properties"]["ids"] = Json::Value(Json::arrayValue);
  line["geometry"]["type"] = "LineString";
  Json::Value& coordinates = line["geometry"]["coordinates"] = Json::Value(Json::arrayValue);
  for (const Stop& s : route.stops) {
    line["properties"]["ids"].append(s.id);
    if (s.at) coordinates.append(Point(*s.at));
  }
  features.append(line);
  for (const Turn& t : route.turns) {
    Json::Value point(Json::objectValue);
    point["type"] = "Feature";
    point["properties"]["turn_at"] = route.stops[t.index].id;
    point["geometry"]["type"] = "Point";
    point["geometry"]["coordinates"] = Point(t.at);
    features.append(point);
  }
  return JsonText(root) + "\n";
}

// A KML 2.2 document: one placemark with the route's line string and the turn points. Written as
// text here until the feature model can write it.
std::string Kml(const Route& route) {
  auto coordinates = [](const LatLon& p) { return ShownNumber(p.lon) + "," + ShownNumber(p.lat) + ",0"; };
  std::string line;
  for (const Stop& s : route.stops) {
    if (s.at) line += (line.empty() ? "" : " ") + coordinates(*s.at);
  }
  std::ostringstream out;
  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<kml xmlns=\"http://www.opengis.net/kml/2.2\">\n"
      << "<Document>\n<Placemark>\n<name>route</name>\n<MultiGeometry>\n<LineString>\n<coordinates>";
  out << line << "</coordinates>\n</LineString>\n";
  for (const Turn& t : route.turns) out << "<Point><coordinates>" << coordinates(t.at) << "</coordinates></Point>\n";
  out << "</MultiGeometry>\n</Placemark>\n</Document>\n</kml>\n";
  return out.str();
}

// The graph's links near the route in grey, the route in blue over them, its ends and turn points,
// and each street's name where the route enters it.
std::string Svg(const PanoGraph& graph, const Route& route) {
  double south = 90, north = -90, west = 180, east = -180;
  std::vector<LatLon> line;
  for (const Stop& s : route.stops) {
    if (!s.at) continue;
    line.push_back(*s.at);
    south = std::min(south, s.at->lat), north = std::max(north, s.at->lat);
    west = std::min(west, s.at->lon), east = std::max(east, s.at->lon);
  }
  const double pad = 0.0005;  // degrees, some 50 m of the streets round the route
  auto near = [&](const LatLon& p) {
    return p.lat >= south - pad && p.lat <= north + pad && p.lon >= west - pad && p.lon <= east + pad;
  };
  SvgMap map;
  map.Layer("links");
  const auto& g = graph.graph().graph();
  for (auto [e, end] = boost::edges(g); e != end; ++e) {
    const auto *a = graph.graph()[boost::source(*e, g)].data.get(), *b = graph.graph()[boost::target(*e, g)].data.get();
    if (!a || !b) continue;
    const LatLon pa = Degrees(a->position), pb = Degrees(b->position);
    if (near(pa) && near(pb)) map.Polyline({pa, pb}, {"#bbbbbb", 2});
  }
  map.Layer("route");
  map.Polyline(line, {"#1f5fbf", 4});
  map.Layer("points");
  for (const Turn& t : route.turns) map.Circle(t.at, {"#e07000", 5});
  map.Circle(line.front(), {"#2a9d2a", 6});  // the planner starts and ends at records
  map.Circle(line.back(), {"#c0392b", 6});
  map.Layer("streets");
  for (size_t i = 0; i < route.stops.size(); ++i) {
    const std::string& street = route.stops[i].street;
    if (route.stops[i].at && !street.empty() && (i == 0 || street != route.stops[i - 1].street)) {
      map.Label(*route.stops[i].at, street, {"#333333", 12});
    }
  }
  return map.Svg();
}

int Run(Io& io, const RouteOptions& o) {
  std::vector<Records> replies;  // outlives the graph, which points into it
  PanoGraph graph;
  std::string error;
  if (!o.source.server.empty()) {
    if (!FetchGraph(io, o, &graph, &error)) return io.Fail(error);
  } else if (!o.source.files.empty()) {
    if (!ReadReplies(io, o.source.files, &replies, &error)) return io.Fail(error);
    BuildGraph(replies, &graph);
  } else {
    return io.Fail("give --graph FILE or --server URL");
  }

  if (graph.GetClosestPanoToPoint(MapPoint(*o.from)).isNull()) return io.Fail("no panorama near FROM " + Shown(*o.from));
  const PathPlanner planner(&graph);
  PathPlanner::Path path;
  if (!planner.FindPath(MapPoint(*o.from), MapPoint(*o.to), o.max_links, o.same_scene, &path)) {
    return io.Fail("no route within " + Counted(o.max_links, "link", "links") + " to TO " + Shown(*o.to));
  }
  Route route;
  for (const QString& id : path) {
    if (const spatial::PanoramaData* r = graph.GetPanoramaData(id)) {
      route.stops.push_back({id.toStdString(), Degrees(r->position), r->text.toStdString()});
    } else {
      route.stops.push_back({id.toStdString(), std::nullopt, ""});
    }
  }
  for (int i = 0; i < static_cast<int>(path.size()); ++i) {
    Vec3<double> corner;
    if (planner.IsIntersection(path, i, &corner)) route.turns.push_back({i, Degrees(corner)});
  }

  bool to_stdout = false;
  for (const auto& [file, text] : {std::pair{&o.kml, Kml(route)}, std::pair{&o.geojson, GeoJson(route)},
                                   std::pair{&o.svg, Svg(graph, route)}}) {
    if (!file->empty() && !io.Write(*file, text, &error)) return io.Fail(error);
    to_stdout = to_stdout || *file == "-";
  }
  if (to_stdout) return 0;

  Json::Value root(Json::objectValue);
  std::ostringstream out;
  const size_t links = route.stops.size() - 1;
  root["links"] = static_cast<Json::UInt64>(links);
  Json::Value& stops = root["panoramas"] = Json::Value(Json::arrayValue);
  out << "route of " << Counted(route.stops.size(), "panorama", "panoramas") << ", " << Counted(links, "link", "links")
      << "\n";
  for (size_t i = 0; i < route.stops.size(); ++i) {
    const Stop& s = route.stops[i];
    Json::Value v(Json::objectValue);
    v["id"] = s.id;
    v["lat"] = s.at ? JsonNumber(s.at->lat) : Json::Value();
    v["lon"] = s.at ? JsonNumber(s.at->lon) : Json::Value();
    v["street"] = s.street.empty() ? Json::Value() : Json::Value(s.street);
    stops.append(v);
    out << "  " << i << ": " << s.id << " " << (s.at ? Shown(*s.at) : "(no record)")
        << (s.street.empty() ? "" : " " + s.street) << "\n";
  }
  Json::Value& turns = root["turns"] = Json::Value(Json::arrayValue);
  for (const Turn& t : route.turns) {
    Json::Value v(Json::objectValue);
    v["index"] = t.index;
    v["id"] = route.stops[t.index].id;
    v["lat"] = JsonNumber(t.at.lat);
    v["lon"] = JsonNumber(t.at.lon);
    turns.append(v);
    out << "turn at " << t.index << " (" << route.stops[t.index].id << "): " << Shown(t.at) << "\n";
  }
  io.Print(root, out.str());
  return 0;
}

void Declare(CLI::App* command) {
  auto o = std::make_shared<RouteOptions>();
  AddLatLon(command, "FROM", &o->from, "where the route starts (degrees)")->required();
  AddLatLon(command, "TO", &o->to, "where it ends (degrees)")->required();
  AddGraphSource(command, &o->source);
  AddInt(command, "--max-links", &o->max_links, {1, 10000}, "the most links a route may have (default 200)");
  command->add_flag("--same-scene", o->same_scene, "keep to the scene of the panorama nearest FROM");
  AddFile(command, "--kml", &o->kml, "also write the route as KML 2.2: a line string and the turn points");
  AddFile(command, "--geojson", &o->geojson, "also write the route as GeoJSON: a line string and the turn points");
  AddFile(command, "--svg", &o->svg, "also draw the route on a map of the links around it, as SVG");
  SetRun(command, [o](Io& io) { return Run(io, *o); });
}

const Registrar kRegistrar(
    "route", "the route of panoramas between two points, with the turn points of its intersections",
    "Builds the panorama graph from metadata replies (--graph, as graph reads them) or fetches it\n"
    "from a panorama service (--server): the panoramas nearest FROM and TO, then their neighbours a\n"
    "link further each round, until a route is found, --max-links rounds have passed or --timeout.\n"
    "The route starts at the panorama nearest FROM and has the fewest links, not the shortest\n"
    "length; it ends at the panorama nearest TO among those within --max-links - 1 links, which may\n"
    "lie up to 100 m short of TO.\n\n"
    "Prints the route's panoramas (index, id, position, street name if the record has one), then\n"
    "each panorama where the route turns by more than 75 degrees, with a point 5 m inside the\n"
    "corner. --json gives the same as one document: links, panoramas, turns. --kml, --geojson and\n"
    "--svg write the route to files (- for standard output instead of the listing).\n",
    Declare);

}  // namespace
}  // namespace vistara::cli
