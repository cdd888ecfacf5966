// Small value types of the mesh model: Vector2<T> and Vector3<T> for float, double and int.
//
// IRound() turns each component into int by the round-to-nearest of the current floating-point
// mode (ties to even by default), as lrint/lrintf do. Normalize() returns the unit vector, and a
// zero vector for a zero length.
#ifndef VISTARA_UTIL_GEOMETRY3D_VECTOR_H_
#define VISTARA_UTIL_GEOMETRY3D_VECTOR_H_

#include <cmath>
#include <ostream>
#include <type_traits>

namespace geometry3d {

namespace vector_internal {
template <class T>
int RoundToInt(T v) {
  if constexpr (std::is_same_v<T, float>) {
    return static_cast<int>(std::lrintf(v));
  } else if constexpr (std::is_floating_point_v<T>) {
    return static_cast<int>(std::lrint(static_cast<double>(v)));
  } else {
    return static_cast<int>(v);
  }
}
}  // namespace vector_internal

template <class T>
struct Vector2 {
  static constexpr int kDimension = 2;
  T x{}, y{};
  constexpr Vector2() = default;
  constexpr Vector2(T x_, T y_) : x(x_), y(y_) {}

  constexpr Vector2 operator+(const Vector2& o) const { return {x + o.x, y + o.y}; }
  constexpr Vector2 operator-(const Vector2& o) const { return {x - o.x, y - o.y}; }
  constexpr Vector2 operator-() const { return {-x, -y}; }
  constexpr Vector2 operator*(T s) const { return {x * s, y * s}; }
  constexpr Vector2 operator/(T s) const { return {x / s, y / s}; }
  Vector2& operator+=(const Vector2& o) { x += o.x; y += o.y; return *this; }
  Vector2& operator-=(const Vector2& o) { x -= o.x; y -= o.y; return *this; }
  Vector2& operator*=(T s) { x *= s; y *= s; return *this; }
  Vector2& operator/=(T s) { x /= s; y /= s; return *this; }
  constexpr bool operator==(const Vector2& o) const { return x == o.x && y == o.y; }
  constexpr bool operator!=(const Vector2& o) const { return !(*this == o); }
  constexpr T operator[](int i) const { return i == 0 ? x : y; }
  T& operator[](int i) { return i == 0 ? x : y; }
  constexpr T Dot(const Vector2& o) const { return x * o.x + y * o.y; }
  T Length() const { return static_cast<T>(std::sqrt(x * x + y * y)); }
  Vector2<int> IRound() const {
    return {vector_internal::RoundToInt(x), vector_internal::RoundToInt(y)};
  }
};

template <class T>
struct Vector3 {
  static constexpr int kDimension = 3;
  T x{}, y{}, z{};
  constexpr Vector3() = default;
  constexpr Vector3(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}

  constexpr Vector3 operator+(const Vector3& o) const { return {x + o.x, y + o.y, z + o.z}; }
  constexpr Vector3 operator-(const Vector3& o) const { return {x - o.x, y - o.y, z - o.z}; }
  constexpr Vector3 operator-() const { return {-x, -y, -z}; }
  constexpr Vector3 operator*(T s) const { return {x * s, y * s, z * s}; }
  constexpr Vector3 operator/(T s) const { return {x / s, y / s, z / s}; }
  Vector3& operator+=(const Vector3& o) { x += o.x; y += o.y; z += o.z; return *this; }
  Vector3& operator-=(const Vector3& o) { x -= o.x; y -= o.y; z -= o.z; return *this; }
  Vector3& operator*=(T s) { x *= s; y *= s; z *= s; return *this; }
  Vector3& operator/=(T s) { x /= s; y /= s; z /= s; return *this; }
  constexpr bool operator==(const Vector3& o) const { return x == o.x && y == o.y && z == o.z; }
  constexpr bool operator!=(const Vector3& o) const { return !(*this == o); }
  constexpr T operator[](int i) const { return i == 0 ? x : i == 1 ? y : z; }
  T& operator[](int i) { return i == 0 ? x : i == 1 ? y : z; }
  constexpr T Dot(const Vector3& o) const { return x * o.x + y * o.y + z * o.z; }
  constexpr Vector3 Cross(const Vector3& o) const {
    return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
  }
  T Length() const { return static_cast<T>(std::sqrt(x * x + y * y + z * z)); }
  Vector3<int> IRound() const {
    return {vector_internal::RoundToInt(x), vector_internal::RoundToInt(y),
            vector_internal::RoundToInt(z)};
  }
  // The vector scaled by 1 / length; a zero vector for a zero length.
  Vector3 Normalize() const
    requires std::is_floating_point_v<T>
  {
    const T length = Length();
    if (length == T(0)) return Vector3();
    return *this * (T(1) / length);
  }
};

template <class T>
std::ostream& operator<<(std::ostream& os, const Vector3<T>& v) {
  return os << v.x << ", " << v.y << ", " << v.z;
}
template <class T>
std::ostream& operator<<(std::ostream& os, const Vector2<T>& v) {
  return os << v.x << ", " << v.y;
}

}  // namespace geometry3d

#endif  // VISTARA_UTIL_GEOMETRY3D_VECTOR_H_
