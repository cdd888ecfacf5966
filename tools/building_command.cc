// vistara-spatial building: 2.5-D buildings as JSON, extruded into OBJ meshes or coded as
// building streams.
//   building extrude IN.json OUT.obj [--base-z Z]
//   building encode IN.json OUT [--point-bits N]
//   building decode IN OUT.json
// The JSON: {"polygons": [{"points": [[x, y], ...], "contours": [n, ...], "triangles": [i, ...],
// "z": h}, ...]}; contours default to one of all points, triangles to none, z to 0.
// "-" stands for standard input or output.
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>

#include "base/logging.h"
#include "cli.h"
#include "diorama/building_z_coder.h"
#include "obj_file.h"
#include "util/geometry3d/mesh/building_z.h"
#include "util/geometry3d/mesh/building_z_shape.h"
#include "util/geometry3d/mesh/shape.h"

namespace vistara::cli {
namespace {

using geometry3d::BuildingZ;
using geometry3d::PolygonZ;

std::string Name(const std::string& path) { return path == "-" ? "stdin" : path; }

// Keeps the first error the library logs (its reason for a false result) and passes every report
// on to the sink it replaces, so that --verbose still shows them.
class FirstErrorSink : public base::LogSink {
 public:
  FirstErrorSink() : previous_(base::SetLogSink(this)) {}
  ~FirstErrorSink() override { base::SetLogSink(previous_); }
  void Send(const base::LogReport& report) override {
    if (report.severity == base::kLogError && !first_) first_ = report.text;
    if (previous_) previous_->Send(report);
  }
  const std::optional<std::string>& first() const { return first_; }

 private:
  base::LogSink* previous_;
  std::optional<std::string> first_;
};

bool IntArray(const Json::Value& v, const char* what, std::vector<int>* out, std::string* error) {
  if (!v.isArray()) {
    *error = std::string(what) + " must be an array of integers";
    return false;
  }
  for (const Json::Value& e : v) {
    if (!e.isInt() || e.asInt() < 0) {
      *error = std::string(what) + " must hold integers of 0 or more";
      return false;
    }
    out->push_back(e.asInt());
  }
  return true;
}

bool ReadPolygon(const Json::Value& p, PolygonZ* polygon, std::string* error) {
  if (!p.isObject() || !p["points"].isArray()) {
    *error = "needs \"points\": [[x, y], ...]";
    return false;
  }
  for (const Json::Value& xy : p["points"]) {
    if (!xy.isArray() || xy.size() != 2 || !xy[0].isNumeric() || !xy[1].isNumeric() ||
        !std::isfinite(xy[0].asDouble()) || !std::isfinite(xy[1].asDouble())) {
      *error = "points must be [x, y] pairs of numbers";
      return false;
    }
    polygon->mutable_points()->emplace_back(xy[0].asDouble(), xy[1].asDouble());
  }
  const int n = static_cast<int>(polygon->points().size());
  if (p.isMember("contours")) {
    if (!IntArray(p["contours"], "contours", polygon->mutable_contour_sizes(), error)) return false;
    for (int size : polygon->contour_sizes()) {
      // A contour of 0 points has no neighbours to walk round.
      if (size == 0) {
        *error = "contour sizes must be above 0";
        return false;
      }
    }
  } else if (n > 0) {
    polygon->mutable_contour_sizes()->push_back(n);
  }
  if (p.isMember("triangles")) {
    if (!IntArray(p["triangles"], "triangles", polygon->mutable_triangle_indices(), error)) return false;
    for (int t : polygon->triangle_indices()) {
      if (t >= n) {
        *error = "triangle index " + std::to_string(t) + " out of range (" + std::to_string(n) + " points)";
        return false;
      }
    }
  }
  if (p.isMember("z")) {
    if (!p["z"].isNumeric() || !std::isfinite(p["z"].asDouble())) {
      *error = "z must be a number";
      return false;
    }
    polygon->set_z(p["z"].asDouble());
  }
  return true;
}

bool ReadBuilding(Invocation& inv, const std::string& path, BuildingZ* building, std::string* error) {
  std::string text;
  if (!obj::ReadInput(path, inv.in(), &text, error)) return false;
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value root;
  std::string parse_error;
  if (!reader->parse(text.data(), text.data() + text.size(), &root, &parse_error)) {
    *error = Name(path) + ": not JSON: " + parse_error.substr(0, parse_error.find('\n'));
    return false;
  }
  if (!root.isObject() || !root["polygons"].isArray()) {
    *error = Name(path) + ": needs an object with \"polygons\": [...]";
    return false;
  }
  for (Json::ArrayIndex i = 0; i < root["polygons"].size(); ++i) {
    if (!ReadPolygon(root["polygons"][i], building->AddNewPolygon(), error)) {
      *error = Name(path) + ": polygon " + std::to_string(i) + ": " + *error;
      return false;
    }
  }
  return true;
}

Json::Value BuildingJson(const BuildingZ& building) {
  Json::Value polygons(Json::arrayValue);
  for (const PolygonZ* p : building.polygons()) {
    Json::Value j(Json::objectValue), points(Json::arrayValue), contours(Json::arrayValue), triangles(Json::arrayValue);
    for (const auto& xy : p->points()) {
      Json::Value pair(Json::arrayValue);
      pair.append(JsonNumber(xy.x));
      pair.append(JsonNumber(xy.y));
      points.append(pair);
    }
    for (int c : p->contour_sizes()) contours.append(c);
    for (int t : p->triangle_indices()) triangles.append(t);
    j["points"] = points;
    j["contours"] = contours;
    j["triangles"] = triangles;
    j["z"] = JsonNumber(p->z());
    polygons.append(j);
  }
  Json::Value root(Json::objectValue);
  root["polygons"] = polygons;
  return root;
}

int Extrude(Invocation& inv, const std::vector<std::string>& files) {
  if (files.size() != 2) return inv.Fail("building extrude needs IN.json and OUT.obj");
  std::optional<double> base_z;
  if (auto text = inv.Option("base-z")) {
    char* end = nullptr;
    const double z = std::strtod(text->c_str(), &end);
    if (text->empty() || *end || !std::isfinite(z)) return inv.Fail("--base-z must be a number, got '" + *text + "'");
    base_z = z;
  }
  BuildingZ building;
  std::string error;
  if (!ReadBuilding(inv, files[0], &building, &error)) return inv.Fail(error);
  geometry3d::Shape shape;
  FirstErrorSink sink;
  bool ok;
  if (base_z) {
    // The materials of CreateShapeWithDefaults: grey walls, light orange creases.
    geometry3d::Material walls, creases;
    walls.set_diffuse_color(geometry3d::Vector3<float>(0.68f, 0.66f, 0.68f));
    creases.set_diffuse_color(geometry3d::Vector3<float>(1.0f, 0.86f, 0.68f));
    ok = geometry3d::BuildingZShape::CreateShape(building, &walls, &creases, *base_z, true, 0.8f, &shape);
  } else {
    ok = geometry3d::BuildingZShape::CreateShapeWithDefaults(building, &shape);
  }
  if (!ok) return inv.Fail(Name(files[0]) + ": " + sink.first().value_or("cannot extrude the building"));
  if (!shape.Validate(&error)) return inv.Fail(Name(files[0]) + ": the extruded shape is invalid: " + error);
  if (!obj::WriteObjFile(shape, files[1], inv.out(), &error)) return inv.Fail(error);
  return 0;
}

int Encode(Invocation& inv, const std::vector<std::string>& files) {
  if (files.size() != 2) return inv.Fail("building encode needs IN.json and OUT");
  loupe::BuildingZEncoder encoder;
  if (auto text = inv.Option("point-bits")) {
    char* end = nullptr;
    errno = 0;
    const long bits = std::strtol(text->c_str(), &end, 10);
    if (text->empty() || *end || errno || bits < -32 || bits > 31) {
      return inv.Fail("--point-bits must be an integer from -32 to 31, got '" + *text + "'");
    }
    encoder.set_point_bits(static_cast<int>(bits));
  }
  BuildingZ building;
  std::string error;
  if (!ReadBuilding(inv, files[0], &building, &error)) return inv.Fail(error);
  // Quantised lengths are ints in the stream; one beyond them would be coded as something else
  // without a word.
  const double factor = std::ldexp(1.0, encoder.point_bits());
  for (size_t i = 0; i < building.polygons().size(); ++i) {
    const PolygonZ& p = *building.polygons()[i];
    bool fits = std::fabs(p.z() * factor) < 2147483647.0;
    for (const auto& xy : p.points()) fits &= std::fabs(xy.x * factor) < 2147483647.0 && std::fabs(xy.y * factor) < 2147483647.0;
    if (!fits) return inv.Fail(Name(files[0]) + ": polygon " + std::to_string(i) + " is too far out for the quantisation");
  }
  if (!encoder.EncodeBuildingZ(building)) {
    return inv.Fail(Name(files[0]) + ": cannot encode at these settings (quantised coordinates beyond what the "
                                     "stream holds)");
  }
  const std::string bytes(encoder.buffer(), static_cast<size_t>(encoder.buffer_size()));
  if (!obj::WriteOutput(files[1], inv.out(), bytes, &error)) return inv.Fail(error);

  std::ostream& report = files[1] == "-" ? inv.err() : inv.out();
  const loupe::BuildingZEncoderStats& s = encoder.stats();
  if (inv.json()) {
    Json::Value root(Json::objectValue);
    root["file"] = files[1];
    root["bytes"] = static_cast<Json::UInt64>(bytes.size());
    root["point_bits"] = encoder.point_bits();
    Json::Value stats(Json::objectValue);
    stats["total_bytes"] = s.total_bytes;
    stats["point_bytes"] = s.point_bytes;
    stats["contour_size_bytes"] = s.contour_size_bytes;
    stats["triangle_index_bytes"] = s.triangle_index_bytes;
    stats["num_points"] = s.num_points;
    stats["num_contour_sizes"] = s.num_contour_sizes;
    stats["num_triangle_indices"] = s.num_triangle_indices;
    root["stats"] = stats;
    report << JsonText(root) << "\n";
    return 0;
  }
  report << Name(files[1]) << ": " << building.polygons().size() << " polygons, " << bytes.size()
         << " bytes, point bits " << encoder.point_bits() << "\n"
         << "  points " << s.num_points << " (" << s.point_bytes << " bytes), contour sizes " << s.num_contour_sizes
         << " (" << s.contour_size_bytes << " bytes), triangle indices " << s.num_triangle_indices << " ("
         << s.triangle_index_bytes << " bytes)\n";
  return 0;
}

int Decode(Invocation& inv, const std::vector<std::string>& files) {
  if (files.size() != 2) return inv.Fail("building decode needs IN and OUT.json");
  std::string bytes, error;
  if (!obj::ReadInput(files[0], inv.in(), &bytes, &error)) return inv.Fail(error);
  if (bytes.size() > INT_MAX) return inv.Fail(Name(files[0]) + ": too large");
  loupe::BuildingZDecoder decoder;
  decoder.Init(bytes.data(), static_cast<int>(bytes.size()));
  BuildingZ building;
  // The model's containers throw on counts no memory can hold; that is a bad stream here.
  try {
    if (!decoder.DecodeBuildingZ(&building)) {
      return inv.Fail(Name(files[0]) + ": not a building stream (no 5A 42 signature or a version other than 1)");
    }
  } catch (const std::exception& e) {
    return inv.Fail(Name(files[0]) + ": cannot decode the building stream (" + e.what() + ")");
  }
  // One line, with the digits that read back as the same doubles: the file is input again.
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  writer["precision"] = 17;
  const std::string text = Json::writeString(writer, BuildingJson(building)) + "\n";
  if (!obj::WriteOutput(files[1], inv.out(), text, &error)) return inv.Fail(error);
  return 0;
}

int Run(Invocation& inv) {
  if (!inv.CheckFlags({})) return 1;
  if (inv.args().empty()) return inv.Fail("missing operation (extrude, encode, decode)");
  const std::string op = inv.args()[0];
  const std::vector<std::string> files(inv.args().begin() + 1, inv.args().end());
  if (op != "extrude" && inv.Option("base-z")) return inv.Fail("--base-z applies to building extrude only");
  if (op != "encode" && inv.Option("point-bits")) return inv.Fail("--point-bits applies to building encode only");
  if (op == "extrude") return Extrude(inv, files);
  if (op == "encode") return Encode(inv, files);
  if (op == "decode") return Decode(inv, files);
  return inv.Fail("unknown operation '" + op + "' (extrude, encode, decode)");
}

const Command kCommand{
    "building",
    "extrude 2.5-D buildings into OBJ meshes, encode and decode building streams",
    "Usage: vistara-spatial building extrude IN.json OUT.obj [--base-z Z]\n"
    "       vistara-spatial building encode IN.json OUT [--point-bits N] [--json]\n"
    "       vistara-spatial building decode IN OUT.json\n\n"
    "A building is JSON: {\"polygons\": [{\"points\": [[x, y], ...], \"contours\": [n, ...],\n"
    "\"triangles\": [i, ...], \"z\": h}, ...]}: the outline points of all contours (outer contour\n"
    "counter-clockwise for outward walls, holes after it), the number of points of each contour\n"
    "(default: one contour of all points), the roof tessellation as triples of point numbers, and\n"
    "the roof height (default 0).\n\n"
    "extrude: walls from the base height (default 0) up to each roof, with smooth normals round\n"
    "corners gentler than about 37 degrees, and lines along the rings and creases; written as OBJ\n"
    "with its MTL library beside it.\n\n"
    "encode: the building stream, lengths in steps of 2^-N (N from -32 to 31, default 8).\n"
    "decode: the stream back to JSON.\n\n"
    "A file of \"-\" is standard input or output (encode's summary then goes to standard error).\n",
    {"base-z", "point-bits"},
    Run};
const CommandRegistrar kRegistrar(kCommand);

}  // namespace
}  // namespace vistara::cli
