#include "util/geometry3d/mesh/shape_iterator.h"

#include <cstdint>

#include "base/logging.h"

namespace geometry3d {

namespace {
// Stands in for a null set, after the check report: a walk over nothing.
const IndexSet* OrEmpty(const IndexSet* index_set) {
  static const IndexSet kEmpty;
  return index_set != nullptr ? index_set : &kEmpty;
}
}  // namespace

// ---- ShapePrimitiveIterator ----

ShapePrimitiveIterator::ShapePrimitiveIterator(const IndexSet* index_set)
    : index_set_(OrEmpty(index_set)) {
  VS_CHECK(index_set);
  Reset();
}

int ShapePrimitiveIterator::Length() const {
  return static_cast<int>(index_set_->point_indices().size());
}

void ShapePrimitiveIterator::Reset() {
  first_ = 0;
  seek_ = 0;
  end_ = 0;
  SeekEnd();
}

void ShapePrimitiveIterator::SeekEnd() {
  const std::vector<int>& indices = index_set_->point_indices();
  switch (index_set_->format()) {
    case IndexSet::kTriangles:
      end_ = first_ + 3;
      break;
    case IndexSet::kQuads:
      end_ = first_ + 4;
      break;
    case IndexSet::kLines:
      end_ = first_ + 2;
      break;
    case IndexSet::kTriangleStrip:
    case IndexSet::kTriangleFan:
    case IndexSet::kPolygon:
      end_ = first_ < 0 ? 0 : first_;
      while (end_ < Length() && indices[static_cast<size_t>(end_)] != IndexSet::kDelimiter) ++end_;
      break;
    default:
      VS_LOG(ERROR) << "Unknown Format.";
      end_ = Length();
      first_ = Length();
      break;
  }
}

void ShapePrimitiveIterator::Seek(int first) {
  const std::vector<int>& indices = index_set_->point_indices();
  if (!(first >= 0 && static_cast<size_t>(first) < indices.size())) {
    VS_LOG(FATAL) << "Check failed: first >= 0 && first < index_set_->point_indices().size()";
    return;  // a position outside the arrays has no primitive to select
  }
  seek_ = first;
  if (first_ <= first && first < end_) return;
  const int stride = index_set_->GetStride();
  if (stride > 0) {
    first_ = first - first % stride;
    end_ = first_ + stride;
    return;
  }
  first_ = first;
  while (first_ > 0 && indices[static_cast<size_t>(first_ - 1)] != IndexSet::kDelimiter) --first_;
  SeekEnd();
}

bool ShapePrimitiveIterator::Next() {
  if (Done()) return false;
  switch (index_set_->format()) {
    case IndexSet::kTriangles:
    case IndexSet::kQuads:
    case IndexSet::kLines:
      first_ = end_;
      break;
    case IndexSet::kTriangleStrip:
    case IndexSet::kTriangleFan:
    case IndexSet::kPolygon:
      first_ = end_ + 1;  // past the delimiter
      break;
    default:
      VS_LOG(ERROR) << "Unknown Format.";
      first_ = Length();
      end_ = Length();
      break;
  }
  SeekEnd();
  return true;
}

bool ShapePrimitiveIterator::Done() const { return first_ >= Length(); }

int ShapePrimitiveIterator::GetIndex(int i) const {
  const int64_t size = int64_t{end_} - first_;
  if (size <= 0) return first_;  // an empty primitive has no corners to rotate
  int64_t r = (int64_t{seek_} - first_ + i) % size;
  if (r < 0) r += size;
  return static_cast<int>(first_ + r);
}

int ShapePrimitiveIterator::GetPointIndex(int i) const {
  return index_set_->point_indices().at(static_cast<size_t>(GetIndex(i)));
}
int ShapePrimitiveIterator::GetNormalIndex(int i) const {
  return index_set_->normal_indices().at(static_cast<size_t>(GetIndex(i)));
}
int ShapePrimitiveIterator::GetTexCoordIndex(int i) const {
  return index_set_->tex_coord_indices().at(static_cast<size_t>(GetIndex(i)));
}

// ---- ShapeTriangleIterator ----

ShapeTriangleIterator::ShapeTriangleIterator(const IndexSet* index_set)
    : index_set_(OrEmpty(index_set)) {
  VS_CHECK(index_set);
  Reset();
}

int ShapeTriangleIterator::Length() const {
  return static_cast<int>(index_set_->point_indices().size());
}

void ShapeTriangleIterator::Reset() {
  i0_ = 0;
  i1_ = 1;
  i2_ = index_set_->format() == IndexSet::kLines ? 0 : 2;
}

bool ShapeTriangleIterator::Done() const { return i2_ >= Length(); }

bool ShapeTriangleIterator::Next() {
  if (Done()) return false;
  const int p = i2_;
  bool delimited = false;
  switch (index_set_->format()) {
    case IndexSet::kTriangles:
      i0_ += 3;
      i1_ += 3;
      i2_ += 3;
      break;
    case IndexSet::kLines:
      i0_ += 2;
      i1_ += 2;
      i2_ += 2;
      break;
    case IndexSet::kQuads:
      if (i1_ == i0_ + 1) {  // first half of a quad
        i1_ = i0_ + 2;
        i2_ += 1;
      } else {
        i0_ = p + 1;
        i1_ = p + 2;
        i2_ = p + 3;
      }
      break;
    case IndexSet::kTriangleStrip:
      // Alternating which corner moves keeps the winding: 0,1,2 then 2,1,3 then 2,3,4.
      if (i0_ < i1_) {
        i0_ = p;
      } else {
        i1_ = p;
      }
      delimited = true;
      break;
    case IndexSet::kTriangleFan:
    case IndexSet::kPolygon:
      i1_ += 1;
      delimited = true;
      break;
    default:
      VS_LOG(ERROR) << "Unknown Format.";
      i2_ = Length();
      break;
  }
  if (delimited) {
    i2_ = p + 1;
    if (i2_ < Length() && GetPointIndex(2) == IndexSet::kDelimiter) {
      // The primitive has ended; the next starts after the delimiter.
      const int d = i2_;
      i0_ = d + 1;
      i1_ = d + 2;
      i2_ = d + 3;
    }
  }
  return true;
}

int ShapeTriangleIterator::GetIndex(int i) const {
  switch (i) {
    case 0:
      return i0_;
    case 1:
      return i1_;
    case 2:
      return i2_;
    default:
      VS_CHECK(i >= 0 && i < 3);
      return i0_;  // there is no fourth corner to read
  }
}

int ShapeTriangleIterator::GetPointIndex(int i) const {
  return index_set_->point_indices().at(static_cast<size_t>(GetIndex(i)));
}
int ShapeTriangleIterator::GetNormalIndex(int i) const {
  return index_set_->normal_indices().at(static_cast<size_t>(GetIndex(i)));
}
int ShapeTriangleIterator::GetTexCoordIndex(int i) const {
  return index_set_->tex_coord_indices().at(static_cast<size_t>(GetIndex(i)));
}

}  // namespace geometry3d
