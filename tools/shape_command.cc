// vistara-spatial shape: shape streams to and from Wavefront OBJ.
//   shape encode IN.obj OUT [--version V] [--point-bits N] [--normal-bits N] [--tex-coord-bits N]
//                           [--point-unit X]
//   shape decode IN OUT.obj
//   shape info IN
// "-" stands for standard input or output.
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <exception>
#include <memory>

#include "cli.h"
#include "diorama/shape_coder.h"
#include "obj_file.h"
#include "util/geometry3d/mesh/shape.h"

namespace vistara::cli {
namespace {

using geometry3d::IndexSet;
using geometry3d::Shape;

const char* FormatName(int format) {
  switch (format) {
    case IndexSet::kTriangles: return "triangles";
    case IndexSet::kTriangleStrip: return "triangle strips";
    case IndexSet::kTriangleFan: return "triangle fans";
    case IndexSet::kQuads: return "quads";
    case IndexSet::kPolygon: return "polygons";
    case IndexSet::kLines: return "lines";
    default: return "unknown";
  }
}

bool ParseInt(const std::string& text, int* value) {
  char* end = nullptr;
  errno = 0;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || errno || *end || v < INT_MIN || v > INT_MAX) return false;
  *value = static_cast<int>(v);
  return true;
}

std::string Name(const std::string& path) { return path == "-" ? "stdin" : path; }

// The quantisation options, checked against what the version can code: versions 1 and 2 take
// 1..31 bits of a range of --point-unit, version 3 takes a power-of-two exponent of -32..31.
bool Settings(Invocation& inv, loupe::ShapeEncoder* encoder, std::string* error) {
  const int version = encoder->codec_version();
  const int low = version == 3 ? -32 : 1;
  const std::pair<const char*, void (loupe::ShapeEncoder::*)(int)> bits[] = {
      {"point-bits", &loupe::ShapeEncoder::set_point_bits},
      {"normal-bits", &loupe::ShapeEncoder::set_normal_bits},
      {"tex-coord-bits", &loupe::ShapeEncoder::set_tex_coord_bits}};
  for (const auto& [name, set] : bits) {
    auto text = inv.Option(name);
    if (!text) continue;
    int v = 0;
    if (!ParseInt(*text, &v) || v < low || v > 31) {
      *error = "--" + std::string(name) + " must be an integer from " + std::to_string(low) + " to 31 for version " +
               std::to_string(version) + ", got '" + *text + "'";
      return false;
    }
    (encoder->*set)(v);
  }
  if (auto text = inv.Option("point-unit")) {
    char* end = nullptr;
    const double unit = std::strtod(text->c_str(), &end);
    if (version == 3) {
      *error = "--point-unit applies to versions 1 and 2 only";
      return false;
    }
    if (text->empty() || *end || !std::isfinite(unit) || !(unit > 0)) {
      *error = "--point-unit must be a number above 0, got '" + *text + "'";
      return false;
    }
    encoder->set_point_unit(unit);
  }
  return true;
}

// The streams keep quantised values in ints; a value beyond them would be coded as something else
// without a word, so it is refused here. `factor` is the number of steps per unit.
template <class Value>
bool FitsSteps(const std::vector<Value>& values, double factor, const char* what, std::string* error) {
  for (size_t i = 0; i < values.size(); ++i) {
    const Value& v = values[i];
    for (double c : {static_cast<double>(v.x), static_cast<double>(v.y), static_cast<double>(v.z)}) {
      if (!(std::fabs(c * factor) < 2147483647.0)) {
        *error = std::string(what) + " " + std::to_string(i + 1) + " is too far out for the quantisation";
        return false;
      }
    }
  }
  return true;
}

struct TexCoord3 {
  float x, y, z;
};

bool FitsQuantisation(const Shape& shape, const loupe::ShapeEncoder& e, std::string* error) {
  const bool v3 = e.codec_version() == 3;
  auto factor = [v3](int bits, double unit) { return v3 ? std::ldexp(1.0, bits) : (std::ldexp(1.0, bits) - 1) / unit; };
  std::vector<TexCoord3> tex;
  for (const auto& t : shape.tex_coords()) tex.push_back({t.x, t.y, 0});
  return FitsSteps(shape.points(), factor(e.point_bits(), e.point_unit()), "point", error) &&
         FitsSteps(shape.normals(), factor(e.normal_bits(), 1), "normal", error) &&
         FitsSteps(tex, factor(e.tex_coord_bits(), 1), "texture coordinate", error);
}

Json::Value StatsJson(const loupe::ShapeEncoderStats& s) {
  Json::Value j(Json::objectValue);
  j["total_bytes"] = s.total_bytes;
  j["material_bytes"] = s.material_bytes;
  j["point_bytes"] = s.point_bytes;
  j["normal_bytes"] = s.normal_bytes;
  j["tex_coord_bytes"] = s.tex_coord_bytes;
  j["point_index_bytes"] = s.point_index_bytes;
  j["normal_index_bytes"] = s.normal_index_bytes;
  j["tex_coord_index_bytes"] = s.tex_coord_index_bytes;
  j["num_materials"] = s.num_materials;
  j["num_points"] = s.num_points;
  j["num_normals"] = s.num_normals;
  j["num_tex_coords"] = s.num_tex_coords;
  j["num_point_indices"] = s.num_point_indices;
  j["num_normal_indices"] = s.num_normal_indices;
  j["num_tex_coord_indices"] = s.num_tex_coord_indices;
  return j;
}

int Encode(Invocation& inv, const std::vector<std::string>& files) {
  if (files.size() != 2) return inv.Fail("shape encode needs IN.obj and OUT");
  int version = loupe::ShapeEncoder::kDefaultCodecVersion;
  if (auto text = inv.Option("version"); text && (!ParseInt(*text, &version) || version < 1 || version > 3)) {
    return inv.Fail("--version must be 1, 2 or 3, got '" + *text + "'");
  }
  std::unique_ptr<loupe::ShapeEncoder> encoder(loupe::ShapeEncoder::CreateEncoder(version));
  if (!encoder) return inv.Fail("no encoder for shape stream version " + std::to_string(version));
  std::string error;
  if (!Settings(inv, encoder.get(), &error)) return inv.Fail(error);

  Shape shape;
  if (!obj::ReadObjFile(files[0], inv.in(), &shape, &error)) return inv.Fail(error);
  if (!shape.Validate(&error) || !FitsQuantisation(shape, *encoder, &error)) {
    return inv.Fail(Name(files[0]) + ": " + error);
  }
  if (!encoder->EncodeShape(shape)) {
    return inv.Fail(Name(files[0]) + ": cannot encode at these settings (a quantised axis would need more "
                                     "than 30 bits)");
  }
  std::string bytes;
  encoder->get_buffer(&bytes);
  if (!obj::WriteOutput(files[1], inv.out(), bytes, &error)) return inv.Fail(error);

  // With the stream on standard output the summary goes to standard error.
  std::ostream& report = files[1] == "-" ? inv.err() : inv.out();
  const loupe::ShapeEncoderStats& s = encoder->stats();
  if (inv.json()) {
    Json::Value root(Json::objectValue);
    root["file"] = files[1];
    root["version"] = version;
    root["bytes"] = static_cast<Json::UInt64>(bytes.size());
    root["stats"] = StatsJson(s);
    report << JsonText(root) << "\n";
    return 0;
  }
  report << Name(files[1]) << ": version " << version << ", " << bytes.size() << " bytes\n"
         << "  materials " << s.num_materials << " (" << s.material_bytes << " bytes)\n"
         << "  points " << s.num_points << " (" << s.point_bytes << " bytes), indices " << s.num_point_indices
         << " (" << s.point_index_bytes << " bytes)\n"
         << "  normals " << s.num_normals << " (" << s.normal_bytes << " bytes), indices " << s.num_normal_indices
         << " (" << s.normal_index_bytes << " bytes)\n"
         << "  tex coords " << s.num_tex_coords << " (" << s.tex_coord_bytes << " bytes), indices "
         << s.num_tex_coord_indices << " (" << s.tex_coord_index_bytes << " bytes)\n";
  return 0;
}

// Decodes a whole stream, keeping the decoder for the settings it read. Empty on success, else
// the reason.
std::string DecodeStream(const std::string& name, const std::string& bytes, Shape* shape,
                         std::unique_ptr<loupe::ShapeDecoder>* decoder) {
  const int version = loupe::ShapeDecoder::GetCodecVersionFromBuffer(bytes);
  if (version < 0) return name + ": not a shape stream (too short or no 53 45 signature)";
  decoder->reset(loupe::ShapeDecoder::CreateDecoder(version));
  if (!*decoder) return name + ": no decoder for shape stream version " + std::to_string(version);
  (*decoder)->set_buffer(bytes);
  // The model's containers throw on counts no memory can hold; that is a bad stream here.
  try {
    if (!(*decoder)->DecodeShape(shape)) return name + ": cannot decode the version " + std::to_string(version) + " stream";
  } catch (const std::exception& e) {
    return name + ": cannot decode the version " + std::to_string(version) + " stream (" + e.what() + ")";
  }
  std::string error;
  if (!shape->Validate(&error)) return name + ": the decoded shape is invalid: " + error;
  return "";
}

int Decode(Invocation& inv, const std::vector<std::string>& files) {
  if (files.size() != 2) return inv.Fail("shape decode needs IN and OUT.obj");
  std::string bytes, error;
  if (!obj::ReadInput(files[0], inv.in(), &bytes, &error)) return inv.Fail(error);
  Shape shape;
  std::unique_ptr<loupe::ShapeDecoder> decoder;
  if (error = DecodeStream(Name(files[0]), bytes, &shape, &decoder); !error.empty()) return inv.Fail(error);
  if (!obj::WriteObjFile(shape, files[1], inv.out(), &error)) return inv.Fail(error);
  return 0;
}

int Info(Invocation& inv, const std::vector<std::string>& files) {
  if (files.size() != 1) return inv.Fail("shape info needs exactly one IN");
  std::string bytes, error;
  if (!obj::ReadInput(files[0], inv.in(), &bytes, &error)) return inv.Fail(error);
  Shape shape;
  std::unique_ptr<loupe::ShapeDecoder> decoder;
  if (error = DecodeStream(Name(files[0]), bytes, &shape, &decoder); !error.empty()) return inv.Fail(error);
  const loupe::ShapeDecoder& d = *decoder;

  Json::Value root(Json::objectValue);
  root["bytes"] = static_cast<Json::UInt64>(bytes.size());
  root["version"] = d.codec_version();
  root["point_bits"] = d.point_bits();
  if (d.codec_version() < 3) root["point_unit"] = JsonNumber(d.point_unit());
  root["normal_bits"] = d.normal_bits();
  root["tex_coord_bits"] = d.tex_coord_bits();
  root["points"] = static_cast<Json::UInt64>(shape.points().size());
  root["normals"] = static_cast<Json::UInt64>(shape.normals().size());
  root["tex_coords"] = static_cast<Json::UInt64>(shape.tex_coords().size());
  root["materials"] = static_cast<Json::UInt64>(shape.materials().size());
  Json::Value sets(Json::arrayValue);
  for (const IndexSet* s : shape.index_sets()) {
    Json::Value j(Json::objectValue);
    j["format"] = FormatName(s->format());
    j["material"] = s->material_index();
    j["point_indices"] = static_cast<Json::UInt64>(s->point_indices().size());
    j["normal_indices"] = static_cast<Json::UInt64>(s->normal_indices().size());
    j["tex_coord_indices"] = static_cast<Json::UInt64>(s->tex_coord_indices().size());
    sets.append(j);
  }
  root["index_sets"] = sets;
  Json::Value materials(Json::arrayValue);
  auto color = [](const geometry3d::Vector3<float>& c) {
    Json::Value rgb(Json::arrayValue);
    for (float v : {c.x, c.y, c.z}) rgb.append(JsonNumber(v));
    return rgb;
  };
  for (const geometry3d::Material* m : shape.materials()) {
    Json::Value j(Json::objectValue);
    j["ambient"] = color(m->ambient_color());
    j["diffuse"] = color(m->diffuse_color());
    j["specular"] = color(m->specular_color());
    j["emissive"] = color(m->emissive_color());
    j["transparent"] = color(m->transparent_color());
    j["shininess"] = JsonNumber(m->shininess());
    j["transparency"] = JsonNumber(m->transparency());
    j["texture"] = m->texture_uri();
    j["double_sided"] = m->double_sided();
    materials.append(j);
  }
  root["material_list"] = materials;
  if (inv.json()) {
    inv.PrintJson(root);
    return 0;
  }
  std::ostream& out = inv.out();
  out << "version " << d.codec_version() << ", " << bytes.size() << " bytes\n"
      << "points " << shape.points().size() << ", normals " << shape.normals().size() << ", tex coords "
      << shape.tex_coords().size() << ", materials " << shape.materials().size() << "\n"
      << "point bits " << d.point_bits();
  if (d.codec_version() < 3) out << " (unit " << d.point_unit() << ")";
  out << ", normal bits " << d.normal_bits() << ", tex coord bits " << d.tex_coord_bits() << "\n";
  for (size_t i = 0; i < shape.materials().size(); ++i) {
    const geometry3d::Material& m = *shape.materials()[i];
    const auto& c = m.diffuse_color();
    out << "material " << i << ": diffuse " << c.x << " " << c.y << " " << c.z << ", shininess " << m.shininess()
        << ", transparency " << m.transparency();
    if (!m.texture_uri().empty()) out << ", texture '" << m.texture_uri() << "'";
    if (m.double_sided()) out << ", double sided";
    out << "\n";
  }
  out << "index sets " << shape.index_sets().size() << "\n";
  for (size_t i = 0; i < shape.index_sets().size(); ++i) {
    const IndexSet& s = *shape.index_sets()[i];
    out << "  " << i << ": " << FormatName(s.format()) << ", material " << s.material_index() << ", "
        << s.point_indices().size() << " point, " << s.normal_indices().size() << " normal, "
        << s.tex_coord_indices().size() << " tex coord indices\n";
  }
  return 0;
}

int Run(Invocation& inv) {
  if (!inv.CheckFlags({})) return 1;
  if (inv.args().empty()) return inv.Fail("missing operation (encode, decode, info)");
  const std::string op = inv.args()[0];
  const std::vector<std::string> files(inv.args().begin() + 1, inv.args().end());
  if (op != "encode") {
    for (const char* name : {"version", "point-bits", "normal-bits", "tex-coord-bits", "point-unit"}) {
      if (inv.Option(name)) return inv.Fail("--" + std::string(name) + " applies to shape encode only");
    }
  }
  if (op == "encode") return Encode(inv, files);
  if (op == "decode") return Decode(inv, files);
  if (op == "info") return Info(inv, files);
  return inv.Fail("unknown operation '" + op + "' (encode, decode, info)");
}

const Command kCommand{
    "shape",
    "encode Wavefront OBJ meshes as shape streams, decode and inspect them",
    "Usage: vistara-spatial shape encode IN.obj OUT [--version 1|2|3] [--point-bits N] [--normal-bits N]\n"
    "                                    [--tex-coord-bits N] [--point-unit X] [--json]\n"
    "       vistara-spatial shape decode IN OUT.obj\n"
    "       vistara-spatial shape info IN [--json]\n\n"
    "encode: reads an OBJ file (points, normals, texture coordinates, faces, lines, materials from\n"
    "its MTL library), checks the shape and writes the stream (version 3 by default), then prints\n"
    "what each part of the stream cost. Faces of three corners become triangles, larger faces\n"
    "polygons. Versions 1 and 2 quantise to N bits (1 to 31, default 8) over a range of X (default\n"
    "1) for points and of 1 for the others; version 3 keeps N fractional bits (-32 to 31, default 8).\n\n"
    "decode: reads a stream of any version, checks the shape and writes it as OBJ, with its\n"
    "materials in an MTL file beside it (OUT.mtl).\n\n"
    "info: the stream's version and settings, pool sizes, materials and index sets.\n\n"
    "A file of \"-\" is standard input or output; OBJ on standard output goes without materials,\n"
    "and encode's summary then goes to standard error.\n",
    {"version", "point-bits", "normal-bits", "tex-coord-bits", "point-unit"},
    Run};
const CommandRegistrar kRegistrar(kCommand);

}  // namespace
}  // namespace vistara::cli
