// Axis-aligned boxes: BBox3<T> for float, double and int, and BBox2<T> for building a BBox3.
//
// A box is empty when its minimum exceeds its maximum on any axis. The default box and Clear()
// are empty in the strongest way: the minimum is the largest value of T and the maximum the most
// negative one, so that extending by any point gives that point. On an empty box GetCenter() is
// quiet NaN on each axis (2147483647 for int), sizes, area and volume are 0, and Expand and
// Translate leave it alone. Containment tests include the surface.
//
// For int, sums and differences are taken in 64 bits and brought back to int, so extreme corners
// wrap instead of overflowing.
#ifndef VISTARA_UTIL_GEOMETRY3D_BBOX_H_
#define VISTARA_UTIL_GEOMETRY3D_BBOX_H_

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <ostream>
#include <type_traits>
#include <utility>

#include "util/geometry3d/vector.h"

namespace geometry3d {

namespace bbox_internal {
// Arithmetic of T without signed overflow for int.
template <class T>
using Wide = std::conditional_t<std::is_integral_v<T>, int64_t, T>;
template <class T>
T Add(T a, T b) { return static_cast<T>(Wide<T>(a) + Wide<T>(b)); }
template <class T>
T Sub(T a, T b) { return static_cast<T>(Wide<T>(a) - Wide<T>(b)); }
template <class T>
T Mul(T a, T b) { return static_cast<T>(Wide<T>(a) * Wide<T>(b)); }
}  // namespace bbox_internal

template <class T>
struct BBox2 {
  Vector2<T> min_;
  Vector2<T> max_;
  BBox2() = default;
  BBox2(const Vector2<T>& min, const Vector2<T>& max) : min_(min), max_(max) {}
  BBox2(T xmin, T ymin, T xmax, T ymax) : min_(xmin, ymin), max_(xmax, ymax) {}
};

template <class T>
class BBox3 {
 public:
  enum Dimension { kX = 0, kY = 1, kZ = 2 };

  BBox3() { Clear(); }
  BBox3(const Vector3<T>& min, const Vector3<T>& max) : min_(min), max_(max) {}
  BBox3(const BBox2<T>& b, T zmin, T zmax)
      : min_(b.min_.x, b.min_.y, zmin), max_(b.max_.x, b.max_.y, zmax) {}

  void Clear() {
    const T big = std::numeric_limits<T>::max();
    const T small = std::is_integral_v<T> ? std::numeric_limits<T>::min() : -big;
    min_ = Vector3<T>(big, big, big);
    max_ = Vector3<T>(small, small, small);
  }
  void Set(const Vector3<T>& min, const Vector3<T>& max) {
    min_ = min;
    max_ = max;
  }
  void SetMin(const Vector3<T>& min) { min_ = min; }
  void SetMax(const Vector3<T>& max) { max_ = max; }
  const Vector3<T>& GetMin() const { return min_; }
  const Vector3<T>& GetMax() const { return max_; }

  bool IsEmpty() const { return min_.x > max_.x || min_.y > max_.y || min_.z > max_.z; }

  Vector3<T> GetCenter() const {
    if (IsEmpty()) {
      const T none = std::is_integral_v<T> ? std::numeric_limits<T>::max()
                                           : std::numeric_limits<T>::quiet_NaN();
      return Vector3<T>(none, none, none);
    }
    if constexpr (std::is_integral_v<T>) {
      // (min + max) / 2, truncating, without overflow.
      return Vector3<T>(static_cast<T>((int64_t{min_.x} + max_.x) / 2),
                        static_cast<T>((int64_t{min_.y} + max_.y) / 2),
                        static_cast<T>((int64_t{min_.z} + max_.z) / 2));
    } else {
      return (min_ + max_) * T(0.5);
    }
  }
  Vector3<T> GetSize() const {
    if (IsEmpty()) return Vector3<T>();
    return Vector3<T>(GetSizeInDimension(kX), GetSizeInDimension(kY), GetSizeInDimension(kZ));
  }
  T GetSizeInDimension(int dim) const {
    if (IsEmpty()) return T(0);
    return bbox_internal::Sub(max_[dim], min_[dim]);
  }
  T GetWidth() const { return GetSizeInDimension(kX); }
  T GetHeight() const { return GetSizeInDimension(kY); }
  T GetDepth() const { return GetSizeInDimension(kZ); }
  T GetMaxDimensionSize() const { return std::max({GetWidth(), GetHeight(), GetDepth()}); }
  T GetSurfaceArea() const {
    if (IsEmpty()) return T(0);
    using bbox_internal::Add;
    using bbox_internal::Mul;
    const T w = GetWidth(), h = GetHeight(), d = GetDepth();
    return Mul(T(2), Add(Add(Mul(w, h), Mul(h, d)), Mul(w, d)));
  }
  T GetVolume() const {
    if (IsEmpty()) return T(0);
    return bbox_internal::Mul(bbox_internal::Mul(GetWidth(), GetHeight()), GetDepth());
  }
  std::pair<T, T> GetProjectionOnAxis(int dim) const { return {min_[dim], max_[dim]}; }

  void ExtendToContainPoint(const Vector3<T>& p) {
    if (IsEmpty()) {
      min_ = p;
      max_ = p;
      return;
    }
    for (int i = 0; i < 3; ++i) {
      if (p[i] < min_[i]) min_[i] = p[i];
      if (p[i] > max_[i]) max_[i] = p[i];
    }
  }
  void ExtendToContainBBox(const BBox3& b) {
    if (b.IsEmpty()) return;
    ExtendToContainPoint(b.min_);
    ExtendToContainPoint(b.max_);
  }
  BBox3 Union(const BBox3& b) const {
    BBox3 u = *this;
    u.ExtendToContainBBox(b);
    return u;
  }
  // The larger minimum and the smaller maximum of each axis; may be empty.
  BBox3 Intersection(const BBox3& b) const {
    BBox3 r;
    for (int i = 0; i < 3; ++i) {
      r.min_[i] = std::max(min_[i], b.min_[i]);
      r.max_[i] = std::min(max_[i], b.max_[i]);
    }
    return r;
  }
  void Expand(T d) {
    if (IsEmpty()) return;
    for (int i = 0; i < 3; ++i) {
      min_[i] = bbox_internal::Sub(min_[i], d);
      max_[i] = bbox_internal::Add(max_[i], d);
    }
  }
  BBox3 Translate(const Vector3<T>& v) const {
    if (IsEmpty()) return *this;
    BBox3 r = *this;
    for (int i = 0; i < 3; ++i) {
      r.min_[i] = bbox_internal::Add(min_[i], v[i]);
      r.max_[i] = bbox_internal::Add(max_[i], v[i]);
    }
    return r;
  }
  Vector3<T> ClosestPointInBox(const Vector3<T>& p) const {
    Vector3<T> r = p;
    ClampToBox(&r);
    return r;
  }
  void ClampToBox(Vector3<T>* p) const {
    for (int i = 0; i < 3; ++i) {
      if ((*p)[i] < min_[i]) (*p)[i] = min_[i];
      if ((*p)[i] > max_[i]) (*p)[i] = max_[i];
    }
  }
  bool ContainsPoint(const Vector3<T>& p) const {
    return p.x >= min_.x && p.x <= max_.x && p.y >= min_.y && p.y <= max_.y && p.z >= min_.z &&
           p.z <= max_.z;
  }
  bool Contains(const BBox3& b) const { return ContainsPoint(b.min_) && ContainsPoint(b.max_); }
  // True when the boxes are apart on some axis.
  bool IsOutsideBBox(const BBox3& b) const {
    for (int i = 0; i < 3; ++i) {
      if (max_[i] < b.min_[i] || min_[i] > b.max_[i]) return true;
    }
    return false;
  }
  bool operator==(const BBox3& b) const {
    if (IsEmpty() && b.IsEmpty()) return true;
    return min_ == b.min_ && max_ == b.max_;
  }
  bool operator!=(const BBox3& b) const { return !(*this == b); }
  // Per axis: both non-empty there, the corners within `tol`; one of them empty there, the
  // other's extent at most 2 * tol.
  bool ApproxEquals(const BBox3& b, T tol) const {
    for (int i = 0; i < 3; ++i) {
      const bool empty_a = min_[i] > max_[i];
      const bool empty_b = b.min_[i] > b.max_[i];
      if (!empty_a && !empty_b) {
        if (Distance(min_[i], b.min_[i]) > tol || Distance(max_[i], b.max_[i]) > tol) return false;
      } else if (empty_a && !empty_b) {
        if (bbox_internal::Sub(b.max_[i], b.min_[i]) > bbox_internal::Mul(T(2), tol)) return false;
      } else if (empty_b && !empty_a) {
        if (bbox_internal::Sub(max_[i], min_[i]) > bbox_internal::Mul(T(2), tol)) return false;
      }
    }
    return true;
  }

  Vector3<T> min_;
  Vector3<T> max_;

 private:
  static T Distance(T a, T b) { return a > b ? bbox_internal::Sub(a, b) : bbox_internal::Sub(b, a); }
};

// "[(x, y, z)..(x, y, z)]", minimum then maximum.
template <class T>
std::ostream& operator<<(std::ostream& os, const BBox3<T>& b) {
  return os << "[(" << b.min_ << ")..(" << b.max_ << ")]";
}

}  // namespace geometry3d

#endif  // VISTARA_UTIL_GEOMETRY3D_BBOX_H_
