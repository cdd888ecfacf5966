// The encoded-polyline text: a compact ASCII form of a list of latitude/longitude pairs.
//
// Each point is written as latitude then longitude, each in degrees times 1e5 rounded to the
// nearest integer, as the difference from the previous point's value (the first from 0). A value
// v becomes v << 1, inverted when v is negative, and is written five bits at a time from the low
// end, each group with 0x20 set when another follows, plus 63. So the points (38.5, -120.2),
// (40.7, -120.95), (43.252, -126.453) read "_p~iF~ps|U_ulLnnqC_mqNvxq`@".
#ifndef VISTARA_PLATFORM_POLYLINE_H_
#define VISTARA_PLATFORM_POLYLINE_H_

#include <string>
#include <vector>

#include "platform/vec.h"

namespace vistara::geometry {

// Writes `count` points to `*out` (replacing it). Points are in the position convention:
// x = longitude / 180, y = latitude / 180; z is not written.
void EncodePolylineString(const Vec3<double>* points, int count, std::string* out);

// Reads a polyline text back into points in the same convention (z = 0). Returns false, leaving
// `*points` empty, for text that ends inside a value or holds a character outside '?'..'~'.
bool DecodePolylineString(const std::string& text, std::vector<Vec3<double>>* points);

}  // namespace vistara::geometry

#endif  // VISTARA_PLATFORM_POLYLINE_H_
