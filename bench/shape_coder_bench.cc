// Shape stream encode and decode (versions 3 and 1) beside Draco and meshoptimizer on the same
// meshes at comparable quantisation:
//   grid   a 100 x 100 quad height field with normals and texture coordinates (20,000 triangles)
//   sphere a six times subdivided icosahedron with normals (81,920 triangles)
//   city   1,000 extruded buildings in one shape (roofs, walls with creased normals and the
//          crease lines; the lines travel in our streams, the peers get the triangles only)
//
// Counters: items_per_second is triangles per second; bytes_per_second the rate of the raw mesh
// (float32 positions, normals and texture coordinates of the unified vertices plus three uint32
// indices a triangle: the same figure for every coder of a mesh); bits_per_tri the compressed
// size; bytes_per_vertex (decode only) the heap the decoded mesh holds per unified vertex,
// counted by this program's operator new.
//
// Quantisation: ours at the defaults (points in steps of 1/256 in version 3 and 1/255 in
// version 1, normals and texture coordinates likewise); Draco with the position bits that give
// the same step over the mesh's extent, 8 bits for normals and texture coordinates, edgebreaker,
// speed 5; meshoptimizer on vertices quantised to the same steps (uint32 positions, int16
// normals, uint16 texture coordinates), after its vertex cache and fetch optimisation, which
// runs outside the timed loop.
//
// Reached on the shared 2-core machine, grid / sphere / city. The host slows every row, the
// peers' too, by a quarter to a third once a run lasts a minute or more, so two sets are given:
// short runs of a few rows on an idle machine (medians of 5), and the whole suite (medians of 3).
//   short runs  v3 encode 745 / 912 / 1212 MB/s (target 500: met); v3 decode 842-870 /
//               1027-1082 / 1058-1100 MB/s (target 1000: met on sphere and city, 0.85 on the
//               grid, whose texture coordinates add a third index list); meshoptimizer decode
//               3307 / 2821 / 2355; v1 encode 1049 / 1234 / 1368, decode 1186 / 1312 / 1410
//   whole suite v3 encode 446 / 535 / 777, decode 512 / 600 / 647; v1 encode 688 / 834 / 1022,
//               decode 617 / 729 / 801; Draco encode 61 / 70 / 59, decode 121 / 153 / 113;
//               meshoptimizer encode 482 / 379 / 345, decode 2514 / 2030 / 2014
//   bits/tri    v3 97.7 / 65.3 / 82.9, v1 165 / 123 / 97.2, Draco 12.5 / 6.3 / 55.3,
//               meshoptimizer 32.5 / 24.7 / 86.8 (the formats are fixed: sizes are facts)
//   decoded     ours 115 / 84 / 43 bytes a vertex (double points and three index arrays a
//               corner), Draco 68 / 56 / 40, meshoptimizer 48 / 48 / 32
#include <benchmark/benchmark.h>
#include <draco/compression/decode.h>
#include <draco/compression/encode.h>
#include <draco/mesh/mesh.h>
#include <malloc.h>
#include <meshoptimizer.h>

#include <atomic>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "diorama/shape_coder.h"
#include "util/geometry3d/mesh/building_z.h"
#include "util/geometry3d/mesh/building_z_shape.h"
#include "util/geometry3d/mesh/shape.h"

// A warm heap, as in a host that holds many objects: glibc would otherwise hand the decoded
// arrays back to the kernel after each iteration and fault them in again on the next, which
// measures the kernel rather than the coders.
static const bool kWarmHeap = [] {
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  return true;
}();

// Live heap bytes of this process, for the memory per decoded vertex.
static std::atomic<int64_t> g_live_bytes{0};

void* operator new(size_t size) {
  void* p = std::malloc(size == 0 ? 1 : size);
  if (p == nullptr) throw std::bad_alloc();
  g_live_bytes += static_cast<int64_t>(malloc_usable_size(p));
  return p;
}
void operator delete(void* p) noexcept {
  if (p == nullptr) return;
  g_live_bytes -= static_cast<int64_t>(malloc_usable_size(p));
  std::free(p);
}
void operator delete(void* p, size_t) noexcept { operator delete(p); }

namespace {

using geometry3d::BuildingZ;
using geometry3d::BuildingZShape;
using geometry3d::IndexSet;
using geometry3d::PolygonZ;
using geometry3d::Shape;
using geometry3d::Vector2;
using geometry3d::Vector3;

// ---- meshes ----

void AddTriangleSet(Shape* shape, const std::vector<int>& indices, bool normals, bool tex) {
  IndexSet* s = shape->AddNewIndexSet();
  *s->mutable_point_indices() = indices;
  if (normals) *s->mutable_normal_indices() = indices;
  if (tex) *s->mutable_tex_coord_indices() = indices;
}

void MakeGrid(Shape* shape) {
  constexpr int kN = 100;  // quads a side
  for (int j = 0; j <= kN; ++j) {
    for (int i = 0; i <= kN; ++i) {
      const double x = i, y = j, z = 2 * std::sin(x / 7) * std::cos(y / 5);
      shape->mutable_points()->push_back({x, y, z});
      const Vector3<float> n(-float(2.0 / 7 * std::cos(x / 7) * std::cos(y / 5)),
                             float(2.0 / 5 * std::sin(x / 7) * std::sin(y / 5)), 1.0f);
      shape->mutable_normals()->push_back(n.Normalize());
      shape->mutable_tex_coords()->push_back({float(i) / kN, float(j) / kN});
    }
  }
  std::vector<int> indices;
  for (int j = 0; j < kN; ++j) {
    for (int i = 0; i < kN; ++i) {
      const int a = j * (kN + 1) + i, b = a + 1, c = a + kN + 1, d = c + 1;
      indices.insert(indices.end(), {a, b, d, a, d, c});
    }
  }
  AddTriangleSet(shape, indices, true, true);
}

void MakeSphere(Shape* shape) {
  const double t = (1 + std::sqrt(5.0)) / 2;
  std::vector<Vector3<double>> v = {{-1, t, 0}, {1, t, 0},  {-1, -t, 0}, {1, -t, 0},
                                    {0, -1, t}, {0, 1, t},  {0, -1, -t}, {0, 1, -t},
                                    {t, 0, -1}, {t, 0, 1},  {-t, 0, -1}, {-t, 0, 1}};
  for (auto& p : v) p = p / p.Length();
  std::vector<int> f = {0, 11, 5, 0, 5,  1, 0, 1, 7, 0, 7, 10, 0, 10, 11, 1, 5, 9, 5, 11,
                        4, 11, 10, 2, 10, 7, 6, 7, 1, 8, 3, 9,  4,  3,  4, 2, 3, 2, 6, 3,
                        6, 8,  3, 8,  9,  4, 9, 5, 2, 4, 11, 6, 2,  10, 8, 6, 7, 9, 8, 1};
  for (int level = 0; level < 6; ++level) {
    std::map<std::pair<int, int>, int> mid;
    const auto midpoint = [&](int a, int b) {
      const auto key = std::minmax(a, b);
      auto [it, added] = mid.try_emplace(key, static_cast<int>(v.size()));
      if (added) {
        const Vector3<double> m = (v[a] + v[b]) * 0.5;
        v.push_back(m / m.Length());
      }
      return it->second;
    };
    std::vector<int> next;
    for (size_t k = 0; k < f.size(); k += 3) {
      const int a = f[k], b = f[k + 1], c = f[k + 2];
      const int ab = midpoint(a, b), bc = midpoint(b, c), ca = midpoint(c, a);
      next.insert(next.end(), {a, ab, ca, b, bc, ab, c, ca, bc, ab, bc, ca});
    }
    f.swap(next);
  }
  *shape->mutable_points() = v;
  for (const auto& p : v) shape->mutable_normals()->push_back({float(p.x), float(p.y), float(p.z)});
  AddTriangleSet(shape, f, true, false);
}

void MakeCity(Shape* shape) {
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> unit(0, 1);
  BuildingZ city;
  for (int b = 0; b < 1000; ++b) {
    PolygonZ* p = city.AddNewPolygon();
    const int n = 4 + static_cast<int>(unit(rng) * 9);
    const double cx = (b % 32) * 60.0 + 30, cy = (b / 32) * 60.0 + 30;
    const double r = 8 + 16 * unit(rng), turn = unit(rng);
    for (int i = 0; i < n; ++i) {
      const double a = 2 * M_PI * (i + turn) / n;
      p->mutable_points()->push_back({cx + r * std::cos(a), cy + r * std::sin(a)});
    }
    p->mutable_contour_sizes()->push_back(n);
    for (int i = 1; i + 1 < n; ++i) p->mutable_triangle_indices()->insert(p->mutable_triangle_indices()->end(), {0, i, i + 1});
    p->set_z(5 + 55 * unit(rng));
  }
  BuildingZShape::CreateShapeWithDefaults(city, shape);
}

// The triangles of a shape as one vertex per distinct (point, normal, texture) corner, for the
// peers, which take one index per corner.
struct Unified {
  std::vector<float> positions, normals, tex_coords;  // 3, 3 and 2 per vertex (when present)
  std::vector<uint32_t> indices;
  size_t vertices() const { return positions.size() / 3; }
  size_t triangles() const { return indices.size() / 3; }
  size_t raw_bytes() const {
    return 4 * (positions.size() + normals.size() + tex_coords.size() + indices.size());
  }
};

Unified Unify(const Shape& shape) {
  Unified u;
  std::map<std::tuple<int, int, int>, uint32_t> seen;
  for (const IndexSet* s : shape.index_sets()) {
    if (s->format() != IndexSet::kTriangles) continue;
    for (size_t k = 0; k < s->point_indices().size(); ++k) {
      const int p = s->point_indices()[k];
      const int n = s->normal_indices().empty() ? -1 : s->normal_indices()[k];
      const int t = s->tex_coord_indices().empty() ? -1 : s->tex_coord_indices()[k];
      auto [it, added] = seen.try_emplace({p, n, t}, static_cast<uint32_t>(u.vertices()));
      if (added) {
        const auto& q = shape.points()[p];
        u.positions.insert(u.positions.end(), {float(q.x), float(q.y), float(q.z)});
        if (n >= 0) {
          const auto& m = shape.normals()[n];
          u.normals.insert(u.normals.end(), {m.x, m.y, m.z});
        }
        if (t >= 0) u.tex_coords.insert(u.tex_coords.end(), {shape.tex_coords()[t].x, shape.tex_coords()[t].y});
      }
      u.indices.push_back(it->second);
    }
  }
  return u;
}

struct Mesh {
  std::string name;
  Shape shape;
  Unified unified;
};

std::vector<std::unique_ptr<Mesh>>& Meshes() {
  static std::vector<std::unique_ptr<Mesh>> meshes = [] {
    std::vector<std::unique_ptr<Mesh>> m;
    for (const char* name : {"grid", "sphere", "city"}) {
      auto mesh = std::make_unique<Mesh>();
      mesh->name = name;
      if (mesh->name == "grid") MakeGrid(&mesh->shape);
      if (mesh->name == "sphere") MakeSphere(&mesh->shape);
      if (mesh->name == "city") MakeCity(&mesh->shape);
      mesh->unified = Unify(mesh->shape);
      m.push_back(std::move(mesh));
    }
    return m;
  }();
  return meshes;
}

void SetCounters(benchmark::State& state, const Mesh& mesh, size_t compressed_bytes) {
  const int64_t n = static_cast<int64_t>(state.iterations());
  state.SetItemsProcessed(n * static_cast<int64_t>(mesh.unified.triangles()));
  state.SetBytesProcessed(n * static_cast<int64_t>(mesh.unified.raw_bytes()));
  state.counters["bits_per_tri"] = 8.0 * compressed_bytes / mesh.unified.triangles();
}

void SetMemory(benchmark::State& state, const Mesh& mesh, int64_t bytes) {
  state.counters["bytes_per_vertex"] = double(bytes) / mesh.unified.vertices();
}

// ---- ours ----

std::string EncodeOurs(const Mesh& mesh, int version) {
  std::unique_ptr<loupe::ShapeEncoder> encoder(loupe::ShapeEncoder::CreateEncoder(version));
  encoder->EncodeShape(mesh.shape);
  std::string out;
  encoder->get_buffer(&out);
  return out;
}

void BM_OursEncode(benchmark::State& state, const Mesh* mesh, int version) {
  std::string out;
  for (auto _ : state) {
    out = EncodeOurs(*mesh, version);
    benchmark::DoNotOptimize(out.data());
  }
  SetCounters(state, *mesh, out.size());
}

void BM_OursDecode(benchmark::State& state, const Mesh* mesh, int version) {
  const std::string stream = EncodeOurs(*mesh, version);
  int64_t held = 0;
  for (auto _ : state) {
    const int64_t before = g_live_bytes;
    Shape shape;
    if (!loupe::ShapeDecoder::DecodeFromBuffer(stream, &shape)) state.SkipWithError("decode failed");
    held = g_live_bytes - before;
    benchmark::DoNotOptimize(shape.points().data());
  }
  SetCounters(state, *mesh, stream.size());
  SetMemory(state, *mesh, held);
}

// ---- Draco ----

int BitsForStep(const std::vector<float>& values, int axes, double step) {
  double extent = 0;
  for (int a = 0; a < axes; ++a) {
    float lo = values[a], hi = values[a];
    for (size_t i = a; i < values.size(); i += axes) {
      lo = std::min(lo, values[i]);
      hi = std::max(hi, values[i]);
    }
    extent = std::max(extent, double(hi - lo));
  }
  return static_cast<int>(std::ceil(std::log2(extent / step + 1)));
}

std::unique_ptr<draco::Mesh> DracoMesh(const Unified& u) {
  auto mesh = std::make_unique<draco::Mesh>();
  const int n = static_cast<int>(u.vertices());
  mesh->set_num_points(n);
  const auto add = [&](draco::GeometryAttribute::Type type, const std::vector<float>& v, int k) {
    draco::GeometryAttribute a;
    a.Init(type, nullptr, k, draco::DT_FLOAT32, false, sizeof(float) * k, 0);
    const int id = mesh->AddAttribute(a, true, n);
    for (int i = 0; i < n; ++i) {
      mesh->attribute(id)->SetAttributeValue(draco::AttributeValueIndex(i), &v[size_t(i) * k]);
    }
  };
  add(draco::GeometryAttribute::POSITION, u.positions, 3);
  if (!u.normals.empty()) add(draco::GeometryAttribute::NORMAL, u.normals, 3);
  if (!u.tex_coords.empty()) add(draco::GeometryAttribute::TEX_COORD, u.tex_coords, 2);
  for (size_t f = 0; f < u.triangles(); ++f) {
    mesh->AddFace({draco::PointIndex(u.indices[3 * f]), draco::PointIndex(u.indices[3 * f + 1]),
                   draco::PointIndex(u.indices[3 * f + 2])});
  }
  return mesh;
}

std::string EncodeDraco(const draco::Mesh& mesh, const Unified& u) {
  draco::Encoder encoder;
  encoder.SetAttributeQuantization(draco::GeometryAttribute::POSITION,
                                   BitsForStep(u.positions, 3, 1.0 / 256));
  encoder.SetAttributeQuantization(draco::GeometryAttribute::NORMAL, 8);
  encoder.SetAttributeQuantization(draco::GeometryAttribute::TEX_COORD, 8);
  encoder.SetSpeedOptions(5, 5);
  encoder.SetEncodingMethod(draco::MESH_EDGEBREAKER_ENCODING);
  draco::EncoderBuffer buffer;
  if (!encoder.EncodeMeshToBuffer(mesh, &buffer).ok()) return "";
  return std::string(buffer.data(), buffer.size());
}

void BM_DracoEncode(benchmark::State& state, const Mesh* mesh) {
  const auto draco_mesh = DracoMesh(mesh->unified);
  std::string out;
  for (auto _ : state) {
    out = EncodeDraco(*draco_mesh, mesh->unified);
    benchmark::DoNotOptimize(out.data());
  }
  if (out.empty()) state.SkipWithError("draco encode failed");
  SetCounters(state, *mesh, out.size());
}

void BM_DracoDecode(benchmark::State& state, const Mesh* mesh) {
  const std::string stream = EncodeDraco(*DracoMesh(mesh->unified), mesh->unified);
  int64_t held = 0;
  for (auto _ : state) {
    const int64_t before = g_live_bytes;
    draco::DecoderBuffer buffer;
    buffer.Init(stream.data(), stream.size());
    draco::Decoder decoder;
    auto result = decoder.DecodeMeshFromBuffer(&buffer);
    if (!result.ok()) state.SkipWithError("draco decode failed");
    held = g_live_bytes - before;
    benchmark::DoNotOptimize(result.value().get());
  }
  SetCounters(state, *mesh, stream.size());
  SetMemory(state, *mesh, held);
}

// ---- meshoptimizer ----

struct QuantisedVertex {
  uint32_t p[3];
  int16_t n[3];
  uint16_t t[2];
};
static_assert(sizeof(QuantisedVertex) == 24);

struct MeshoptInput {
  std::vector<QuantisedVertex> vertices;
  std::vector<uint32_t> indices;
};

MeshoptInput QuantiseForMeshopt(const Unified& u) {
  MeshoptInput in;
  in.vertices.resize(u.vertices());
  float lo[3] = {u.positions[0], u.positions[1], u.positions[2]};
  for (size_t i = 0; i < u.positions.size(); ++i) lo[i % 3] = std::min(lo[i % 3], u.positions[i]);
  for (size_t v = 0; v < u.vertices(); ++v) {
    QuantisedVertex& q = in.vertices[v];
    for (int a = 0; a < 3; ++a) q.p[a] = uint32_t(std::lrint((u.positions[3 * v + a] - lo[a]) * 256));
    for (int a = 0; a < 3 && !u.normals.empty(); ++a) q.n[a] = int16_t(std::lrint(u.normals[3 * v + a] * 127));
    for (int a = 0; a < 2 && !u.tex_coords.empty(); ++a) q.t[a] = uint16_t(std::lrint(u.tex_coords[2 * v + a] * 255));
  }
  in.indices = u.indices;
  meshopt_optimizeVertexCache(in.indices.data(), in.indices.data(), in.indices.size(), in.vertices.size());
  meshopt_optimizeVertexFetch(in.vertices.data(), in.indices.data(), in.indices.size(), in.vertices.data(),
                              in.vertices.size(), sizeof(QuantisedVertex));
  return in;
}

std::string EncodeMeshopt(const MeshoptInput& in) {
  const size_t vn = in.vertices.size(), in_n = in.indices.size();
  std::string out(meshopt_encodeVertexBufferBound(vn, sizeof(QuantisedVertex)) +
                      meshopt_encodeIndexBufferBound(in_n, vn),
                  '\0');
  auto* bytes = reinterpret_cast<unsigned char*>(out.data());
  const size_t vbytes = meshopt_encodeVertexBuffer(bytes, out.size(), in.vertices.data(), vn,
                                                   sizeof(QuantisedVertex));
  const size_t ibytes = meshopt_encodeIndexBuffer(bytes + vbytes, out.size() - vbytes,
                                                  in.indices.data(), in_n);
  out.resize(vbytes + ibytes);
  return out;
}

void BM_MeshoptEncode(benchmark::State& state, const Mesh* mesh) {
  const MeshoptInput in = QuantiseForMeshopt(mesh->unified);
  std::string out;
  for (auto _ : state) {
    out = EncodeMeshopt(in);
    benchmark::DoNotOptimize(out.data());
  }
  SetCounters(state, *mesh, out.size());
}

void BM_MeshoptDecode(benchmark::State& state, const Mesh* mesh) {
  const MeshoptInput in = QuantiseForMeshopt(mesh->unified);
  const size_t vn = in.vertices.size(), in_n = in.indices.size();
  const size_t vbytes_bound = meshopt_encodeVertexBufferBound(vn, sizeof(QuantisedVertex));
  std::vector<unsigned char> vbuf(vbytes_bound);
  vbuf.resize(meshopt_encodeVertexBuffer(vbuf.data(), vbuf.size(), in.vertices.data(), vn,
                                         sizeof(QuantisedVertex)));
  std::vector<unsigned char> ibuf(meshopt_encodeIndexBufferBound(in_n, vn));
  ibuf.resize(meshopt_encodeIndexBuffer(ibuf.data(), ibuf.size(), in.indices.data(), in_n));
  int64_t held = 0;
  for (auto _ : state) {
    const int64_t before = g_live_bytes;
    std::vector<QuantisedVertex> vertices(vn);
    std::vector<uint32_t> indices(in_n);
    if (meshopt_decodeVertexBuffer(vertices.data(), vn, sizeof(QuantisedVertex), vbuf.data(),
                                   vbuf.size()) != 0 ||
        meshopt_decodeIndexBuffer(indices.data(), in_n, 4, ibuf.data(), ibuf.size()) != 0) {
      state.SkipWithError("meshopt decode failed");
    }
    held = g_live_bytes - before;
    benchmark::DoNotOptimize(vertices.data());
    benchmark::DoNotOptimize(indices.data());
  }
  SetCounters(state, *mesh, vbuf.size() + ibuf.size());
  SetMemory(state, *mesh, held);
}

// "op/mesh/coder", built by append: g++ 12 warns falsely on chains of operator+.
std::string Name(const char* op, const std::string& mesh, const std::string& coder) {
  std::string s(op);
  s.append("/").append(mesh).append("/").append(coder);
  return s;
}

const int kRegistered = [] {
  for (const auto& m : Meshes()) {
    const Mesh* mesh = m.get();
    for (const int version : {3, 1}) {
      const std::string coder = version == 3 ? "ours_v3" : "ours_v1";
      benchmark::RegisterBenchmark(Name("encode", mesh->name, coder).c_str(), BM_OursEncode, mesh,
                                   version)->MinTime(0.2);
      benchmark::RegisterBenchmark(Name("decode", mesh->name, coder).c_str(), BM_OursDecode, mesh,
                                   version)->MinTime(0.2);
    }
    benchmark::RegisterBenchmark(Name("encode", mesh->name, "draco").c_str(), BM_DracoEncode, mesh)
        ->MinTime(0.2);
    benchmark::RegisterBenchmark(Name("decode", mesh->name, "draco").c_str(), BM_DracoDecode, mesh)
        ->MinTime(0.2);
    benchmark::RegisterBenchmark(Name("encode", mesh->name, "meshopt").c_str(), BM_MeshoptEncode,
                                 mesh)->MinTime(0.2);
    benchmark::RegisterBenchmark(Name("decode", mesh->name, "meshopt").c_str(), BM_MeshoptDecode,
                                 mesh)->MinTime(0.2);
  }
  return 0;
}();

}  // namespace

BENCHMARK_MAIN();
