// vistara-spatial shape: shape streams to and from Wavefront OBJ.
#include <cmath>
#include <exception>
#include <filesystem>
#include <memory>
#include <sstream>
#include <tuple>

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

struct EncodeOptions {
  std::string in, out;
  int version = loupe::ShapeEncoder::kDefaultCodecVersion;
  std::optional<int> point_bits, normal_bits, tex_coord_bits;
  std::optional<double> point_unit;
};

// The quantisation options, checked against what the version can code: versions 1 and 2 take
// 1..31 bits of a range of --point-unit, version 3 takes a power-of-two exponent of -32..31.
bool Settings(const EncodeOptions& o, loupe::ShapeEncoder* encoder, std::string* error) {
  const int version = encoder->codec_version();
  const std::tuple<const char*, std::optional<int>, void (loupe::ShapeEncoder::*)(int)> bits[] = {
      {"--point-bits", o.point_bits, &loupe::ShapeEncoder::set_point_bits},
      {"--normal-bits", o.normal_bits, &loupe::ShapeEncoder::set_normal_bits},
      {"--tex-coord-bits", o.tex_coord_bits, &loupe::ShapeEncoder::set_tex_coord_bits}};
  for (const auto& [name, value, set] : bits) {
    if (!value) continue;
    if (version < 3 && *value < 1) {
      *error = std::string(name) + ": " + std::to_string(*value) + " is not in 1..31 for version " +
               std::to_string(version);
      return false;
    }
    (encoder->*set)(*value);
  }
  if (o.point_unit) {
    if (version == 3) {
      *error = "--point-unit applies to versions 1 and 2 only";
      return false;
    }
    encoder->set_point_unit(*o.point_unit);
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

// The OBJ file at `path` and its MTL libraries; warnings go out as they are, errors name the file.
bool ReadObjFile(Io& io, const std::string& path, Shape* shape, std::string* error) {
  std::string text;
  if (!io.Read(path, &text, error)) return false;
  const std::string folder = path == "-" ? "" : std::filesystem::path(path).parent_path().string();
  std::vector<std::string> warnings;
  const bool read = obj::ReadObj(text, folder, shape, error, &warnings);
  for (const std::string& w : warnings) io.Warn(DisplayName(path) + ": " + w);
  if (!read) *error = DisplayName(path) + ": " + *error;
  return read;
}

int Encode(Io& io, const EncodeOptions& o) {
  std::unique_ptr<loupe::ShapeEncoder> encoder(loupe::ShapeEncoder::CreateEncoder(o.version));
  if (!encoder) return io.Fail("no encoder for shape stream version " + std::to_string(o.version));
  std::string error;
  if (!Settings(o, encoder.get(), &error)) return io.Fail(error);

  Shape shape;
  if (!ReadObjFile(io, o.in, &shape, &error)) return io.Fail(error);
  if (!shape.Validate(&error) || !FitsQuantisation(shape, *encoder, &error)) {
    return io.Fail(DisplayName(o.in) + ": " + error);
  }
  if (!encoder->EncodeShape(shape)) {
    return io.Fail(DisplayName(o.in) + ": cannot encode at these settings (a quantised axis would need more than "
                                       "30 bits)");
  }
  std::string bytes;
  encoder->get_buffer(&bytes);
  if (!io.Write(o.out, bytes, &error)) return io.Fail(error);

  const loupe::ShapeEncoderStats& s = encoder->stats();
  Json::Value root(Json::objectValue);
  root["file"] = o.out;
  root["version"] = o.version;
  root["bytes"] = static_cast<Json::UInt64>(bytes.size());
  root["stats"] = StatsJson(s);
  std::ostringstream text;
  text << DisplayName(o.out) << ": version " << o.version << ", " << bytes.size() << " bytes\n"
       << "  materials " << s.num_materials << " (" << s.material_bytes << " bytes)\n"
       << "  points " << s.num_points << " (" << s.point_bytes << " bytes), indices " << s.num_point_indices << " ("
       << s.point_index_bytes << " bytes)\n"
       << "  normals " << s.num_normals << " (" << s.normal_bytes << " bytes), indices " << s.num_normal_indices
       << " (" << s.normal_index_bytes << " bytes)\n"
       << "  tex coords " << s.num_tex_coords << " (" << s.tex_coord_bytes << " bytes), indices "
       << s.num_tex_coord_indices << " (" << s.tex_coord_index_bytes << " bytes)\n";
  // With the stream on standard output the summary goes to standard error.
  (o.out == "-" ? io.err() : io.out()) << (io.json() ? JsonText(root) + "\n" : text.str());
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

int Decode(Io& io, const std::string& in, const std::string& out) {
  std::string bytes, error;
  if (!io.Read(in, &bytes, &error)) return io.Fail(error);
  Shape shape;
  std::unique_ptr<loupe::ShapeDecoder> decoder;
  if (error = DecodeStream(DisplayName(in), bytes, &shape, &decoder); !error.empty()) return io.Fail(error);
  for (const auto& [file, text] : obj::ObjFiles(shape, out)) {
    if (!io.Write(file, text, &error)) return io.Fail(error);
  }
  return 0;
}

int Info(Io& io, const std::string& in) {
  std::string bytes, error;
  if (!io.Read(in, &bytes, &error)) return io.Fail(error);
  Shape shape;
  std::unique_ptr<loupe::ShapeDecoder> decoder;
  if (error = DecodeStream(DisplayName(in), bytes, &shape, &decoder); !error.empty()) return io.Fail(error);
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
  std::ostringstream out;
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
  io.Print(root, out.str());
  return 0;
}

void Declare(CLI::App* command) {
  auto e = std::make_shared<EncodeOptions>();
  CLI::App* encode = AddOperation(
      command, "encode", "an OBJ file as a shape stream",
      "Reads an OBJ file (points, normals, texture coordinates, faces, lines, materials from its MTL\n"
      "library), checks the shape and writes the stream, then prints what each part of the stream\n"
      "cost (on standard error when the stream goes to standard output). Faces of three corners\n"
      "become triangles, larger faces polygons. A material no library defines, or a library that\n"
      "can't be read, is a warning: the material gets default values. Versions 1 and 2 quantise to N\n"
      "bits (1 to 31, default 8) over a range of X (default 1) for points and of 1 for the others;\n"
      "version 3 keeps N fractional bits (-32 to 31, default 8).\n");
  AddFile(encode, "IN", &e->in, "the OBJ file")->required();
  AddFile(encode, "OUT", &e->out, "the stream")->required();
  AddInt(encode, "--version", &e->version, {1, 3}, "the stream version (default 3)");
  AddInt(encode, "--point-bits", &e->point_bits, {-32, 31}, "bits of the points");
  AddInt(encode, "--normal-bits", &e->normal_bits, {-32, 31}, "bits of the normals");
  AddInt(encode, "--tex-coord-bits", &e->tex_coord_bits, {-32, 31}, "bits of the texture coordinates");
  AddNumber(encode, "--point-unit", &e->point_unit, {0, Range().high, true}, "the range of the points (versions 1 and 2)");
  SetRun(encode, [e](Io& io) { return Encode(io, *e); });

  auto files = std::make_shared<std::pair<std::string, std::string>>();
  CLI::App* decode = AddOperation(command, "decode", "a shape stream of any version as OBJ",
                                  "Reads a stream, checks the shape and writes it as OBJ with its materials in an MTL\n"
                                  "file beside it (OUT.mtl); OBJ on standard output goes without materials.\n");
  AddFile(decode, "IN", &files->first, "the stream")->required();
  AddFile(decode, "OUT", &files->second, "the OBJ file")->required();
  SetRun(decode, [files](Io& io) { return Decode(io, files->first, files->second); }, Output::kNone);

  CLI::App* info = AddOperation(command, "info", "the settings and contents of a shape stream",
                                "Prints the stream's version and settings, pool sizes, materials and index sets.\n");
  AddFile(info, "IN", &files->first, "the stream")->required();
  SetRun(info, [files](Io& io) { return Info(io, files->first); });
}

const Registrar kRegistrar("shape", "Wavefront OBJ meshes as shape streams, and back", "",
                           Declare);

}  // namespace
}  // namespace vistara::cli
