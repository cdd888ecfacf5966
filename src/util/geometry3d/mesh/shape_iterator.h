// Cursors over one IndexSet. ShapePrimitiveIterator walks the primitives as stored (fixed strides
// and delimited runs alike); ShapeTriangleIterator walks the triangles they stand for, unfolding
// strips, fans, quads and polygons, with a line as a degenerate triangle (third corner = first).
//
// Positions are places in the index arrays (the three are parallel). Both cursors only read and
// keep a pointer to the set, which must outlive them and not change underneath. Next() returns
// true also when the step reaches the end: callers test Done(). An unknown format logs
// "Unknown Format." at error level and sends the cursor to its end.
#ifndef VISTARA_UTIL_GEOMETRY3D_MESH_SHAPE_ITERATOR_H_
#define VISTARA_UTIL_GEOMETRY3D_MESH_SHAPE_ITERATOR_H_

#include "util/geometry3d/mesh/shape.h"
#include "util/geometry3d/vector.h"

namespace geometry3d {

class ShapePrimitiveIterator {
 public:
  explicit ShapePrimitiveIterator(const IndexSet* index_set);

  void Reset();
  // Finds the end of the primitive that starts at the current first corner.
  void SeekEnd();
  // Selects the primitive holding position `first` and makes `first` its corner 0.
  void Seek(int first);
  bool Next();
  bool Done() const;
  int GetSize() const { return end_ - first_; }
  // The position of corner i, counted cyclically from the seek position.
  int GetIndex(int i) const;

  int GetPointIndex(int i) const;
  int GetNormalIndex(int i) const;
  int GetTexCoordIndex(int i) const;
  const Vector3<double>& GetPoint(int i) const { return index_set_->GetPoint(GetIndex(i)); }
  const Vector3<float>& GetNormal(int i) const { return index_set_->GetNormal(GetIndex(i)); }
  const Vector2<float>& GetTexCoord(int i) const { return index_set_->GetTexCoord(GetIndex(i)); }
  bool HasPoints() const { return !index_set_->point_indices().empty(); }
  bool HasNormals() const { return !index_set_->normal_indices().empty(); }
  bool HasTexCoords() const { return !index_set_->tex_coord_indices().empty(); }
  const IndexSet* index_set() const { return index_set_; }

 private:
  int Length() const;

  const IndexSet* index_set_;
  int first_ = 0;  // position of the primitive's first corner
  int seek_ = 0;   // position GetIndex counts from
  int end_ = 0;    // one past the primitive's last corner
};

class ShapeTriangleIterator {
 public:
  explicit ShapeTriangleIterator(const IndexSet* index_set);

  void Reset();
  bool Next();
  bool Done() const;
  // Position of corner i (0..2); another i reports "i >= 0 && i < 3" and gives corner 0.
  int GetIndex(int i) const;

  int GetPointIndex(int i) const;
  int GetNormalIndex(int i) const;
  int GetTexCoordIndex(int i) const;
  const Vector3<double>& GetPoint(int i) const { return index_set_->GetPoint(GetIndex(i)); }
  const Vector3<float>& GetNormal(int i) const { return index_set_->GetNormal(GetIndex(i)); }
  const Vector2<float>& GetTexCoord(int i) const { return index_set_->GetTexCoord(GetIndex(i)); }
  bool HasPoints() const { return !index_set_->point_indices().empty(); }
  bool HasNormals() const { return !index_set_->normal_indices().empty(); }
  bool HasTexCoords() const { return !index_set_->tex_coord_indices().empty(); }
  const IndexSet* index_set() const { return index_set_; }

 private:
  int Length() const;

  const IndexSet* index_set_;
  int i0_ = 0, i1_ = 1, i2_ = 2;  // positions of the current triangle's corners
};

}  // namespace geometry3d

#endif  // VISTARA_UTIL_GEOMETRY3D_MESH_SHAPE_ITERATOR_H_
