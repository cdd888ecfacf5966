// The OBJ module of the shape and building subcommands, checked against tinyobjloader as an
// independent reader, also after a round trip through every stream version. The subcommands'
// goldens and errors are in shape.cases and building.cases.
#include "obj_file.h"

#include <gtest/gtest.h>
#include <tiny_obj_loader.h>

#include <algorithm>
#include <cmath>

#include "test_util.h"

namespace vistara::testing {
namespace {

using geometry3d::IndexSet;
using geometry3d::Shape;

const std::string kCube = VISTARA_TEST_DATA_DIR "/shape/cube";  // .obj and .mtl

// Every face as tinyobjloader reads it: per corner the position, texture coordinate and normal
// ("-" where absent), and per face its material's diffuse colour and texture.
// Values are rounded to 1/1024 and the list sorted, so that files whose index sets or pools come
// in another order compare equal.
std::vector<std::string> Primitives(const tinyobj::ObjReader& reader) {
  const tinyobj::attrib_t& a = reader.GetAttrib();
  auto num = [](double v) { return std::to_string(std::round(v * 1024) / 1024); };
  auto corner = [&](const tinyobj::index_t& i) {
    std::string s = "(";
    for (int k = 0; k < 3; ++k) s += num(a.vertices[3 * i.vertex_index + k]) + " ";
    for (int k = 0; k < 2; ++k) s += i.texcoord_index < 0 ? "- " : num(a.texcoords[2 * i.texcoord_index + k]) + " ";
    for (int k = 0; k < 3; ++k) s += i.normal_index < 0 ? "- " : num(a.normals[3 * i.normal_index + k]) + " ";
    return s + ")";
  };
  auto material = [&](int id) {
    if (id < 0) return std::string("none");
    const tinyobj::material_t& m = reader.GetMaterials()[id];
    // Colours travel in 8 bits: 1/64 steps keep this file's colours apart and their copies together.
    std::string s;
    for (float c : m.diffuse) s += std::to_string(std::lround(c * 64)) + " ";
    return s + m.diffuse_texname;
  };
  std::vector<std::string> out;
  for (const tinyobj::shape_t& shape : reader.GetShapes()) {
    size_t at = 0;
    for (size_t f = 0; f < shape.mesh.num_face_vertices.size(); ++f) {
      std::string s = "f " + material(shape.mesh.material_ids[f]) + ":";
      for (size_t k = 0; k < shape.mesh.num_face_vertices[f]; ++k) s += corner(shape.mesh.indices[at++]);
      out.push_back(s);
    }
  }
  std::sort(out.begin(), out.end());
  return out;
}

tinyobj::ObjReader Parse(const std::string& obj, const std::string& mtl) {
  tinyobj::ObjReaderConfig config;
  config.triangulate = false;
  tinyobj::ObjReader reader;
  EXPECT_TRUE(reader.ParseFromString(obj, mtl, config)) << reader.Error();
  return reader;
}

TEST(ObjFileTest, ReadAndWriteAgreeWithTinyobjloader) {
  Shape shape;
  std::string error;
  std::vector<std::string> warnings;
  ASSERT_TRUE(cli::obj::ReadObj(ReadFile(kCube + ".obj"), VISTARA_TEST_DATA_DIR "/shape", &shape, &error, &warnings))
      << error;
  EXPECT_TRUE(warnings.empty());
  ASSERT_TRUE(shape.Validate(&error)) << error;
  EXPECT_FLOAT_EQ(shape.materials()[0]->specular_color().z, 0.5f);  // one Ks value is grey

  std::string mtl;
  const std::string obj = cli::obj::WriteObj(shape, "cube.mtl", &mtl);
  const tinyobj::ObjReader original = Parse(ReadFile(kCube + ".obj"), ReadFile(kCube + ".mtl"));
  const tinyobj::ObjReader written = Parse(obj, mtl);
  // Faces come back whole, quads as quads; shininess and transparency: through the streams below.
  EXPECT_EQ(Primitives(written), Primitives(original));

  // Strips alternate their turn, fans share their first corner, quads stay quads; corners whose
  // normal is a delimiter or missing lose their normals for the whole face.
  Shape model;
  for (int i = 0; i < 7; ++i) model.mutable_points()->emplace_back(i, i * i, 0);
  model.mutable_normals()->emplace_back(0, 0, 1);
  auto add = [&model](int format, std::vector<int> points, std::vector<int> normals) {
    IndexSet* set = model.AddNewIndexSet();
    set->set_format(format);
    *set->mutable_point_indices() = points;
    *set->mutable_normal_indices() = normals;
  };
  add(IndexSet::kTriangleStrip, {0, 1, 2, 3, 4, -1, 4, 5, 6}, {0, 0, 0, 0, 0, -1, 0, -1, 0});
  add(IndexSet::kTriangleFan, {0, 1, 2, 3}, {});
  add(IndexSet::kQuads, {3, 4, 5, 6}, {});
  add(IndexSet::kLines, {0, 6}, {0, 0});
  const std::string model_obj = cli::obj::WriteObj(model, "", &mtl);
  EXPECT_TRUE(mtl.empty());
  const tinyobj::ObjReader model_read = Parse(model_obj, "");
  const tinyobj::mesh_t& mesh = model_read.GetShapes().at(0).mesh;
  std::vector<int> corners;
  for (const auto& i : mesh.indices) corners.push_back(i.normal_index < 0 ? i.vertex_index : 100 + i.vertex_index);
  EXPECT_EQ(corners, (std::vector<int>{100, 101, 102, 102, 101, 103, 102, 103, 104, 4, 5, 6, 0, 1, 2, 0, 2, 3, 3, 4, 5, 6}));
  EXPECT_EQ(model_read.GetShapes().at(0).lines.indices.size(), 2u);
}

TEST(ObjFileTest, CubeRoundTripsThroughEveryStreamVersion) {
  const TempDir dir("vistara-obj-test-");
  const std::string cli = VISTARA_CLI_PATH;
  const std::vector<std::string> original = Primitives(Parse(ReadFile(kCube + ".obj"), ReadFile(kCube + ".mtl")));
  std::string out;
  for (int version = 1; version <= 3; ++version) {
    SCOPED_TRACE("version " + std::to_string(version));
    const std::string stream = dir / "cube.shape", obj = dir / "cube";
    const std::string v = " --version " + std::to_string(version);
    ASSERT_EQ(RunShell(cli + " shape encode " + kCube + ".obj " + stream + v, &out), 0);
    ASSERT_EQ(RunShell(cli + " shape decode " + stream + " " + obj + ".obj", &out), 0);
    // The cube's coordinates and colours sit on the quantisation grid of every version.
    const tinyobj::ObjReader decoded = Parse(ReadFile(obj + ".obj"), ReadFile(obj + ".mtl"));
    EXPECT_EQ(Primitives(decoded), original);
    ASSERT_EQ(decoded.GetMaterials().size(), 2u);
    const tinyobj::material_t& slate = decoded.GetMaterials()[1];
    EXPECT_NEAR(slate.diffuse[2], 0.375, 0.5 / 255);
    // Version 1 has no transparency field.
    EXPECT_NEAR(slate.dissolve, version == 1 ? 1.0 : 0.5, 1.0 / 255);
    EXPECT_NEAR(decoded.GetMaterials()[0].shininess, 32, 64.0 / 255);
  }
}

}  // namespace
}  // namespace vistara::testing
