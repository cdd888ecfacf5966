// A 2.5-D building: flat polygons, each with its outline (one or more contours, so that a
// polygon can have holes), its own tessellation and one roof height. BuildingZShape extrudes it
// into a Shape; diorama/building_z_coder.h writes it as a compact stream.
//
// Ownership: a BuildingZ owns its polygons and deletes them in Clear(), RemovePolygon and its
// destructor. Plain data for one thread at a time.
#ifndef VISTARA_UTIL_GEOMETRY3D_MESH_BUILDING_Z_H_
#define VISTARA_UTIL_GEOMETRY3D_MESH_BUILDING_Z_H_

#include <vector>

#include "util/geometry3d/vector.h"

namespace geometry3d {

class PolygonZ {
 public:
  PolygonZ() = default;

  // Empties the three vectors; z stays.
  void Clear();
  void CopyFrom(const PolygonZ& other);
  // Points by floating-point equality, the two index vectors and z.
  bool IsEqual(const PolygonZ& other) const;

  // Outline corners of all contours, contour after contour. Walls face the side the stored
  // orientation gives: outward for a counter-clockwise outer contour.
  const std::vector<Vector2<double>>& points() const { return points_; }
  std::vector<Vector2<double>>* mutable_points() { return &points_; }
  // Points of each contour, in order.
  const std::vector<int>& contour_sizes() const { return contour_sizes_; }
  std::vector<int>* mutable_contour_sizes() { return &contour_sizes_; }
  // Triples of indices into points(): the polygon's tessellation (its roof).
  const std::vector<int>& triangle_indices() const { return triangle_indices_; }
  std::vector<int>* mutable_triangle_indices() { return &triangle_indices_; }
  // Roof height.
  double z() const { return z_; }
  void set_z(double z) { z_ = z; }

 private:
  std::vector<Vector2<double>> points_;
  std::vector<int> contour_sizes_;
  std::vector<int> triangle_indices_;
  double z_ = 0;
};

class BuildingZ {
 public:
  BuildingZ() = default;
  ~BuildingZ();
  BuildingZ(const BuildingZ&) = delete;
  BuildingZ& operator=(const BuildingZ&) = delete;

  const std::vector<PolygonZ*>& polygons() const { return polygons_; }
  // A new default polygon, owned by the building, at the end of the list.
  PolygonZ* AddNewPolygon();
  // Deletes polygon i and closes the gap; an index out of range lets the container's
  // std::out_of_range ("vector::_M_range_check") pass through.
  void RemovePolygon(int i);
  // Deletes every polygon.
  void Clear();
  void CopyFrom(const BuildingZ& other);
  // Same number of polygons, pairwise equal.
  bool IsEqual(const BuildingZ& other) const;

 private:
  std::vector<PolygonZ*> polygons_;
};

}  // namespace geometry3d

#endif  // VISTARA_UTIL_GEOMETRY3D_MESH_BUILDING_Z_H_
