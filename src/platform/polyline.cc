#include "platform/polyline.h"

#include <cmath>
#include <cstdint>

namespace vistara::geometry {

namespace {

void AppendValue(int64_t delta, std::string* out) {
  // Shift as unsigned: a left shift of a negative value is not portable arithmetic.
  uint64_t v = static_cast<uint64_t>(delta) << 1;
  if (delta < 0) v = ~v;
  while (v >= 0x20) {
    out->push_back(static_cast<char>((0x20 | (v & 0x1f)) + 63));
    v >>= 5;
  }
  out->push_back(static_cast<char>(v + 63));
}

int64_t ToE5(double degrees) {
  // Positions far outside the globe still encode, clamped so the conversion is defined.
  const double scaled = std::round(degrees * 1e5);
  if (!(scaled > -1e15)) return static_cast<int64_t>(-1e15);
  if (!(scaled < 1e15)) return static_cast<int64_t>(1e15);
  return static_cast<int64_t>(scaled);
}

// Reads one value at `*pos`; false if the text ends inside it or a character is out of range.
bool ReadValue(const std::string& text, size_t* pos, int64_t* value) {
  uint64_t result = 0;
  for (int shift = 0; shift < 64; shift += 5) {
    if (*pos >= text.size()) return false;
    const int c = static_cast<unsigned char>(text[(*pos)++]) - 63;
    if (c < 0 || c > 63) return false;
    result |= static_cast<uint64_t>(c & 0x1f) << shift;
    if (c < 0x20) {
      *value = (result & 1) ? static_cast<int64_t>(~(result >> 1)) : static_cast<int64_t>(result >> 1);
      return true;
    }
  }
  return false;  // longer than any 64-bit value
}

}  // namespace

void EncodePolylineString(const Vec3<double>* points, int count, std::string* out) {
  out->clear();
  int64_t last_lat = 0, last_lng = 0;
  for (int i = 0; points && i < count; ++i) {
    const int64_t lat = ToE5(points[i].y * 180.0);
    const int64_t lng = ToE5(points[i].x * 180.0);
    AppendValue(lat - last_lat, out);
    AppendValue(lng - last_lng, out);
    last_lat = lat;
    last_lng = lng;
  }
}

bool DecodePolylineString(const std::string& text, std::vector<Vec3<double>>* points) {
  points->clear();
  int64_t lat = 0, lng = 0;
  size_t pos = 0;
  while (pos < text.size()) {
    int64_t dlat, dlng;
    if (!ReadValue(text, &pos, &dlat) || !ReadValue(text, &pos, &dlng)) {
      points->clear();
      return false;
    }
    // Wrapping sums: a hostile text must not overflow a signed integer.
    lat = static_cast<int64_t>(static_cast<uint64_t>(lat) + static_cast<uint64_t>(dlat));
    lng = static_cast<int64_t>(static_cast<uint64_t>(lng) + static_cast<uint64_t>(dlng));
    points->emplace_back(static_cast<double>(lng) / 1e5 / 180.0, static_cast<double>(lat) / 1e5 / 180.0, 0.0);
  }
  return true;
}

}  // namespace vistara::geometry
