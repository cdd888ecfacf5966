#include "util/geometry3d/mesh/building_z_shape.h"

#include <cstdint>
#include <vector>

#include "base/logging.h"

namespace geometry3d {

namespace {

// The outward normal of the wall from a to b, for a counter-clockwise contour; zero for a wall
// of no length.
Vector3<float> EdgeNormal(const Vector2<double>& a, const Vector2<double>& b) {
  const Vector2<double> d = b - a;
  const double len = d.Length();
  if (len == 0.0) return Vector3<float>();
  return Vector3<float>(static_cast<float>(d.y / len), static_cast<float>(-d.x / len), 0.0f);
}

// base + index modulo 2^32: triangle indices aren't range-tested, and a wild one must not
// overflow.
int Offset(int base, int index) {
  return static_cast<int>(static_cast<uint32_t>(base) + static_cast<uint32_t>(index));
}

}  // namespace

bool BuildingZShape::CreateShape(const BuildingZ& building, const Material* material,
                                 const Material* crease_material, double base_z,
                                 bool add_crease_edges, float crease_threshold, Shape* shape) {
  VS_CHECK(shape);
  if (shape == nullptr) return false;  // nowhere to build
  int material_index = -1;
  if (material != nullptr) {
    material_index = static_cast<int>(shape->materials().size());
    shape->AppendMaterial(*material);
  }
  int crease_material_index = -1;
  if (crease_material != nullptr) {
    VS_CHECK(add_crease_edges);
    crease_material_index = static_cast<int>(shape->materials().size());
    shape->AppendMaterial(*crease_material);
  }

  std::vector<Vector3<double>>& points = *shape->mutable_points();
  std::vector<Vector3<float>>& normals = *shape->mutable_normals();
  for (size_t k = 0; k < building.polygons().size(); ++k) {
    const PolygonZ* polygon = building.polygons()[k];
    VS_CHECK(polygon);
    if (polygon == nullptr) return false;  // nothing to read
    const std::vector<Vector2<double>>& outline = polygon->points();
    const std::vector<int>& sizes = polygon->contour_sizes();
    const std::vector<int>& triangles = polygon->triangle_indices();
    if (triangles.empty()) {
      VS_LOG(ERROR) << "Polygon " << k << " has not been tessellated.";
      return false;
    }
    const int n = static_cast<int>(outline.size());
    if (n < 3 || sizes.empty() || triangles.size() < 3 || triangles.size() % 3 != 0) continue;

    points.reserve(points.size() + 2 * outline.size());
    normals.reserve(normals.size() + outline.size() + 1);
    const int top = static_cast<int>(points.size());
    for (const Vector2<double>& p : outline) points.emplace_back(p.x, p.y, polygon->z());
    const int bottom = static_cast<int>(points.size());
    for (const Vector2<double>& p : outline) points.emplace_back(p.x, p.y, base_z);

    IndexSet* faces = shape->AddNewIndexSet();
    faces->set_format(IndexSet::kTriangles);
    faces->set_material_index(material_index);
    IndexSet* lines = nullptr;
    if (add_crease_edges) {
      lines = shape->AddNewIndexSet();
      lines->set_format(IndexSet::kLines);
      lines->set_material_index(crease_material_index);
    }
    std::vector<int>& face_points = *faces->mutable_point_indices();
    std::vector<int>& face_normals = *faces->mutable_normal_indices();

    const int roof_normal = static_cast<int>(normals.size());
    normals.emplace_back(0.0f, 0.0f, 1.0f);
    for (const int t : triangles) {
      face_points.push_back(Offset(top, t));
      face_normals.push_back(roof_normal);
    }

    int contour_start = 0;
    int contour_end = 0;
    size_t contour = 0;  // contours begun so far
    int contour_first_normal = 0;
    for (int i = 0; i < n; ++i) {
      if (i == contour_end) {
        // A size of 0 or below would leave the contour arithmetic without a contour (a
        // division by zero, neighbours outside the polygon); it is reported as a mismatch.
        if (contour >= sizes.size() || sizes[contour] <= 0 || sizes[contour] > n - contour_end) {
          VS_LOG(ERROR) << "PolygonZ contour size mismatch";
          return false;
        }
        contour_end += sizes[contour++];
        contour_start = i;
        contour_first_normal = static_cast<int>(normals.size());
      }
      const int size = contour_end - contour_start;
      const int next = contour_start + (i - contour_start + 1) % size;
      const int prev = contour_start + (i - contour_start + size - 1) % size;
      const int next2 = contour_start + (next - contour_start + 1) % size;

      for (const int p : {top + i, bottom + i, bottom + next, top + i, bottom + next, top + next}) {
        face_points.push_back(p);
      }
      const Vector3<float> cur = EdgeNormal(outline[i], outline[next]);
      const Vector3<float> before = EdgeNormal(outline[prev], outline[i]);
      const Vector3<float> after = EdgeNormal(outline[next], outline[next2]);
      const bool crease_at_i = crease_threshold > cur.Dot(before);
      const bool crease_at_next = crease_threshold > cur.Dot(after);

      int a;
      if (crease_at_i) {
        a = static_cast<int>(normals.size());
        normals.push_back(cur);
      } else if (i != contour_start) {
        a = static_cast<int>(normals.size()) - 1;  // the wall before made it for this corner
      } else {
        a = static_cast<int>(normals.size());
        normals.push_back((cur + before).Normalize());
      }
      int b;
      if (crease_at_next) {
        if (crease_at_i) {
          b = a;  // one flat normal for the whole wall
        } else {
          b = static_cast<int>(normals.size());
          normals.push_back(cur);
        }
      } else if (next > contour_start) {
        b = static_cast<int>(normals.size());
        normals.push_back((cur + after).Normalize());
      } else {
        b = contour_first_normal;  // wrapped round: the smooth normal made at the start
      }
      for (const int v : {a, a, b, a, b, b}) face_normals.push_back(v);

      if (lines != nullptr) {
        std::vector<int>& line_points = *lines->mutable_point_indices();
        for (const int p : {top + i, top + next, bottom + i, bottom + next}) line_points.push_back(p);
        if (crease_at_i) {
          line_points.push_back(top + i);
          line_points.push_back(bottom + i);
        }
      }
    }
  }
  return true;
}

bool BuildingZShape::CreateShapeWithDefaults(const BuildingZ& building, Shape* shape) {
  Material material;
  material.set_diffuse_color(Vector3<float>(0.68f, 0.66f, 0.68f));
  Material crease_material;
  crease_material.set_diffuse_color(Vector3<float>(1.0f, 0.86f, 0.68f));
  return CreateShape(building, &material, &crease_material, 0.0, true, 0.8f, shape);
}

}  // namespace geometry3d
