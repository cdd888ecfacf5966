// vistara-spatial building: 2.5-D buildings as JSON, extruded into OBJ meshes or coded as
// building streams.
#include <climits>
#include <cmath>
#include <exception>
#include <memory>
#include <optional>
#include <sstream>

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

// jsoncpp's reasons come as "* Line 2, Column 1\n  Missing ',' or ']' ...\n": here on one line.
std::string OneLine(const std::string& reason) {
  std::istringstream in(reason);
  std::string out;
  for (std::string line; std::getline(in, line);) {
    const size_t start = line.find_first_not_of(" *");
    if (start == std::string::npos) continue;
    line = line.substr(start);
    out += (out.empty() ? "" : line.rfind("Line ", 0) == 0 ? "; " : ": ") + line;
  }
  return out;
}

bool ReadBuilding(Io& io, const std::string& path, BuildingZ* building, std::string* error) {
  std::string text;
  if (!io.Read(path, &text, error)) return false;
  Json::CharReaderBuilder builder;
  Json::CharReaderBuilder::strictMode(&builder.settings_);
  std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  Json::Value root;
  std::string parse_error;
  if (!reader->parse(text.data(), text.data() + text.size(), &root, &parse_error)) {
    *error = DisplayName(path) + ": not JSON: " + OneLine(parse_error);
    return false;
  }
  if (!root.isObject() || !root["polygons"].isArray()) {
    *error = DisplayName(path) + ": needs an object with \"polygons\": [...]";
    return false;
  }
  for (Json::ArrayIndex i = 0; i < root["polygons"].size(); ++i) {
    if (!ReadPolygon(root["polygons"][i], building->AddNewPolygon(), error)) {
      *error = DisplayName(path) + ": polygon " + std::to_string(i) + ": " + *error;
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

struct Files {
  std::string in, out;
};

int Extrude(Io& io, const Files& f, const std::optional<double>& base_z) {
  BuildingZ building;
  std::string error;
  if (!ReadBuilding(io, f.in, &building, &error)) return io.Fail(error);
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
  if (!ok) return io.Fail(DisplayName(f.in) + ": " + sink.first().value_or("cannot extrude the building"));
  if (!shape.Validate(&error)) return io.Fail(DisplayName(f.in) + ": the extruded shape is invalid: " + error);
  for (const auto& [file, text] : obj::ObjFiles(shape, f.out)) {
    if (!io.Write(file, text, &error)) return io.Fail(error);
  }
  return 0;
}

int Encode(Io& io, const Files& f, const std::optional<int>& point_bits) {
  loupe::BuildingZEncoder encoder;
  if (point_bits) encoder.set_point_bits(*point_bits);
  BuildingZ building;
  std::string error;
  if (!ReadBuilding(io, f.in, &building, &error)) return io.Fail(error);
  // Quantised lengths are ints in the stream; one beyond them would be coded as something else
  // without a word.
  const double factor = std::ldexp(1.0, encoder.point_bits());
  for (size_t i = 0; i < building.polygons().size(); ++i) {
    const PolygonZ& p = *building.polygons()[i];
    bool fits = std::fabs(p.z() * factor) < 2147483647.0;
    for (const auto& xy : p.points()) fits &= std::fabs(xy.x * factor) < 2147483647.0 && std::fabs(xy.y * factor) < 2147483647.0;
    if (!fits) return io.Fail(DisplayName(f.in) + ": polygon " + std::to_string(i) + " is too far out for the quantisation");
  }
  if (!encoder.EncodeBuildingZ(building)) {
    return io.Fail(DisplayName(f.in) + ": cannot encode at these settings (quantised coordinates beyond what the "
                                       "stream holds)");
  }
  const std::string bytes(encoder.buffer(), static_cast<size_t>(encoder.buffer_size()));
  if (!io.Write(f.out, bytes, &error)) return io.Fail(error);

  const loupe::BuildingZEncoderStats& s = encoder.stats();
  Json::Value root(Json::objectValue);
  root["file"] = f.out;
  root["bytes"] = static_cast<Json::UInt64>(bytes.size());
  root["point_bits"] = encoder.point_bits();
  Json::Value& stats = root["stats"] = Json::Value(Json::objectValue);
  stats["total_bytes"] = s.total_bytes;
  stats["point_bytes"] = s.point_bytes;
  stats["contour_size_bytes"] = s.contour_size_bytes;
  stats["triangle_index_bytes"] = s.triangle_index_bytes;
  stats["num_points"] = s.num_points;
  stats["num_contour_sizes"] = s.num_contour_sizes;
  stats["num_triangle_indices"] = s.num_triangle_indices;
  const size_t polygons = building.polygons().size();
  std::ostringstream text;
  text << DisplayName(f.out) << ": " << polygons << (polygons == 1 ? " polygon, " : " polygons, ") << bytes.size()
       << " bytes, point bits " << encoder.point_bits() << "\n"
       << "  points " << s.num_points << " (" << s.point_bytes << " bytes), contour sizes " << s.num_contour_sizes
       << " (" << s.contour_size_bytes << " bytes), triangle indices " << s.num_triangle_indices << " ("
       << s.triangle_index_bytes << " bytes)\n";
  // With the stream on standard output the summary goes to standard error.
  (f.out == "-" ? io.err() : io.out()) << (io.json() ? JsonText(root) + "\n" : text.str());
  return 0;
}

int Decode(Io& io, const Files& f) {
  std::string bytes, error;
  if (!io.Read(f.in, &bytes, &error)) return io.Fail(error);
  if (bytes.size() > INT_MAX) return io.Fail(DisplayName(f.in) + ": too large");
  loupe::BuildingZDecoder decoder;
  decoder.Init(bytes.data(), static_cast<int>(bytes.size()));
  BuildingZ building;
  // The model's containers throw on counts no memory can hold; that is a bad stream here.
  try {
    if (!decoder.DecodeBuildingZ(&building)) {
      return io.Fail(DisplayName(f.in) + ": not a building stream (no 5A 42 signature or a version other than 1)");
    }
  } catch (const std::exception& e) {
    return io.Fail(DisplayName(f.in) + ": cannot decode the building stream (" + e.what() + ")");
  }
  // One line, with the digits that read back as the same doubles: the file is input again.
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  writer["precision"] = 17;
  const std::string text = Json::writeString(writer, BuildingJson(building)) + "\n";
  if (!io.Write(f.out, text, &error)) return io.Fail(error);
  return 0;
}

void Declare(CLI::App* command) {
  auto f = std::make_shared<Files>();
  auto base_z = std::make_shared<std::optional<double>>();
  CLI::App* extrude = AddOperation(
      command, "extrude", "a building as an OBJ mesh",
      "Builds walls from the base height up to each roof, with smooth normals round corners gentler\n"
      "than about 37 degrees, and lines along the rings and creases; writes them as OBJ with its MTL\n"
      "library beside it (none on standard output).\n");
  AddFile(extrude, "IN", &f->in, "the building (JSON)")->required();
  AddFile(extrude, "OUT", &f->out, "the OBJ file")->required();
  AddNumber(extrude, "--base-z", base_z.get(), {}, "the height the walls start from (default 0)")->type_name("Z");
  SetRun(extrude, [f, base_z](Io& io) { return Extrude(io, *f, *base_z); }, Output::kNone);

  auto point_bits = std::make_shared<std::optional<int>>();
  CLI::App* encode = AddOperation(command, "encode", "a building as a building stream",
                                  "Codes lengths in steps of 2^-N and prints what each part of the stream cost (on\n"
                                  "standard error when the stream goes to standard output).\n");
  AddFile(encode, "IN", &f->in, "the building (JSON)")->required();
  AddFile(encode, "OUT", &f->out, "the stream")->required();
  AddInt(encode, "--point-bits", point_bits.get(), {-32, 31}, "fractional bits of the lengths (default 8)");
  SetRun(encode, [f, point_bits](Io& io) { return Encode(io, *f, *point_bits); });

  CLI::App* decode = AddOperation(command, "decode", "a building stream back as JSON",
                                  "Writes the building as one line of JSON, with every digit its doubles need.\n");
  AddFile(decode, "IN", &f->in, "the stream")->required();
  AddFile(decode, "OUT", &f->out, "the building (JSON)")->required();
  SetRun(decode, [f](Io& io) { return Decode(io, *f); }, Output::kNone);
}

const Registrar kRegistrar(
    "building", "2.5-D buildings as OBJ meshes and as building streams, and back",
    "A building is JSON: {\"polygons\": [{\"points\": [[x, y], ...], \"contours\": [n, ...],\n"
    "\"triangles\": [i, ...], \"z\": h}, ...]}: the outline points of all contours (outer contour\n"
    "counter-clockwise for outward walls, holes after it), the number of points of each contour\n"
    "(default: one contour of all points), the roof tessellation as triples of point numbers, and\n"
    "the roof height (default 0).\n",
    Declare);

}  // namespace
}  // namespace vistara::cli
