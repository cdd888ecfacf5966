// Small value types of the host: 2-D and 3-D vectors, a 2-D point and a plane.
//
// Positions on the panorama side use Vec3<double> with x = longitude / 180, y = latitude / 180 and
// z = altitude in planet radii.
#ifndef VISTARA_PLATFORM_VEC_H_
#define VISTARA_PLATFORM_VEC_H_

#include <cmath>

namespace vistara {

template <class T>
struct Vec2 {
  T x{}, y{};
  constexpr Vec2() = default;
  constexpr Vec2(T x_, T y_) : x(x_), y(y_) {}

  constexpr Vec2 operator+(const Vec2& o) const { return {x + o.x, y + o.y}; }
  constexpr Vec2 operator-(const Vec2& o) const { return {x - o.x, y - o.y}; }
  constexpr Vec2 operator-() const { return {-x, -y}; }
  constexpr Vec2 operator*(T s) const { return {x * s, y * s}; }
  constexpr Vec2 operator/(T s) const { return {x / s, y / s}; }
  Vec2& operator+=(const Vec2& o) { x += o.x; y += o.y; return *this; }
  Vec2& operator-=(const Vec2& o) { x -= o.x; y -= o.y; return *this; }
  Vec2& operator*=(T s) { x *= s; y *= s; return *this; }
  constexpr bool operator==(const Vec2& o) const { return x == o.x && y == o.y; }
  constexpr T Dot(const Vec2& o) const { return x * o.x + y * o.y; }
  T Length() const { return std::sqrt(x * x + y * y); }
  T LengthSquared() const { return x * x + y * y; }
  // The unit vector in this direction; a zero vector stays zero (no division by 0).
  Vec2 GetNormalized() const {
    T len = Length();
    return len > T(0) ? Vec2(x / len, y / len) : *this;
  }
};

template <class T>
struct Vec3 {
  T x{}, y{}, z{};
  constexpr Vec3() = default;
  constexpr Vec3(T x_, T y_, T z_) : x(x_), y(y_), z(z_) {}

  constexpr Vec3 operator+(const Vec3& o) const { return {x + o.x, y + o.y, z + o.z}; }
  constexpr Vec3 operator-(const Vec3& o) const { return {x - o.x, y - o.y, z - o.z}; }
  constexpr Vec3 operator-() const { return {-x, -y, -z}; }
  constexpr Vec3 operator*(T s) const { return {x * s, y * s, z * s}; }
  constexpr Vec3 operator/(T s) const { return {x / s, y / s, z / s}; }
  Vec3& operator+=(const Vec3& o) { x += o.x; y += o.y; z += o.z; return *this; }
  Vec3& operator-=(const Vec3& o) { x -= o.x; y -= o.y; z -= o.z; return *this; }
  Vec3& operator*=(T s) { x *= s; y *= s; z *= s; return *this; }
  constexpr bool operator==(const Vec3& o) const { return x == o.x && y == o.y && z == o.z; }
  constexpr T Dot(const Vec3& o) const { return x * o.x + y * o.y + z * o.z; }
  constexpr Vec3 Cross(const Vec3& o) const {
    return {y * o.z - z * o.y, z * o.x - x * o.z, x * o.y - y * o.x};
  }
  T Length() const { return std::sqrt(x * x + y * y + z * z); }
  T LengthSquared() const { return x * x + y * y + z * z; }
  Vec3 GetNormalized() const {
    T len = Length();
    return len > T(0) ? Vec3(x / len, y / len, z / len) : *this;
  }
};

// A plain pair of coordinates (a projected position, for instance).
template <class T>
struct Point2 {
  T x{}, y{};
  constexpr Point2() = default;
  constexpr Point2(T x_, T y_) : x(x_), y(y_) {}
  constexpr bool operator==(const Point2& o) const { return x == o.x && y == o.y; }
};

// The plane of points p with normal . p + distance == 0.
template <class T>
struct Plane {
  Vec3<T> normal;
  T distance{};
  constexpr Plane() = default;
  constexpr Plane(const Vec3<T>& n, T d) : normal(n), distance(d) {}
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_VEC_H_
