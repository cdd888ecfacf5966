// Extrudes a BuildingZ into a Shape: each polygon gives a roof (its tessellation at its z) and
// walls down to a base height, with wall normals that are smooth round gentle corners and split
// at sharp ones, and optionally line primitives along the roof and base rings and the creases.
//
// Per polygon of n points the shape gains 2n points (the top ring at z, then the bottom ring at
// the base), the roof normal (0, 0, 1) and the wall normals, a kTriangles set (roof triangles,
// then two triangles per wall) and, with crease edges, a kLines set. No texture coordinates are
// made, and the line set has no normals.
//
// A corner is a crease when crease_threshold > the dot product of the two wall normals there,
// so the threshold is the cosine of the sharpest angle still drawn smooth: 0.8 makes anything
// sharper than about 36.9 degrees a crease.
//
// Failure: "Polygon k has not been tessellated." (a polygon without triangle indices) and
// "PolygonZ contour size mismatch" (contour sizes that don't add up to the points) are logged as
// errors and give false, leaving what was built so far in the shape. Polygons with fewer than 3
// points, no contour sizes or a tessellation that isn't whole triangles are skipped silently.
// Triangle indices aren't tested against the points.
#ifndef VISTARA_UTIL_GEOMETRY3D_MESH_BUILDING_Z_SHAPE_H_
#define VISTARA_UTIL_GEOMETRY3D_MESH_BUILDING_Z_SHAPE_H_

#include "util/geometry3d/mesh/building_z.h"
#include "util/geometry3d/mesh/shape.h"

namespace geometry3d {

class BuildingZShape {
 public:
  // Appends `material` and `crease_material` (each when not null) to the shape's materials and
  // the building's geometry to its pools and index sets. A crease material without
  // add_crease_edges is reported ("add_crease_edges") and appended all the same.
  static bool CreateShape(const BuildingZ& building, const Material* material,
                          const Material* crease_material, double base_z, bool add_crease_edges,
                          float crease_threshold, Shape* shape);
  // Grey walls (0.68, 0.66, 0.68), light orange creases (1.0, 0.86, 0.68), base 0, crease edges
  // at a threshold of 0.8.
  static bool CreateShapeWithDefaults(const BuildingZ& building, Shape* shape);
};

}  // namespace geometry3d

#endif  // VISTARA_UTIL_GEOMETRY3D_MESH_BUILDING_Z_SHAPE_H_
