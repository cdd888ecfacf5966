#include "base/utmzone.h"

#include <cmath>
#include <cstdio>
#include <limits>

#include "base/logging.h"

namespace marlin {
namespace {

// The ellipsoid and the projection. e^2 is rounded to 8 digits and e'^2 is derived from that
// rounded value; both directions use these figures exactly.
constexpr double kSemiMajorAxis = 6378137.0;                   // metres
constexpr double kEccentricitySquared = 0.00669438;
constexpr double kSecondEccentricitySquared = 0.006739496752268451;
constexpr double kScaleFactor = 0.9996;
constexpr double kFalseEasting = 500000.0;                      // metres
constexpr double kFalseNorthingSouth = 10000000.0;              // metres
constexpr double kDegreesToRadians = 0.017453292519943295;
constexpr double kRadiansToDegrees = 57.29577951308232;

// Meridian arc, truncated after sin 6phi: M = a * (m0 phi + m2 sin(-2 phi) + m4 sin 4phi + m6 sin 6phi).
constexpr double kArc0 = 0.9983242984503243;
constexpr double kArc2 = 0.002514607064228144;
constexpr double kArc4 = 2.639046602129982e-06;
constexpr double kArc6 = 3.418046101696858e-09;
// 58 e'^2 and 330 e'^2, the constant parts of the A^5 and A^6 terms.
constexpr double kForward5 = 0.39089081163157013;
constexpr double kForward6 = 2.2240339282485886;

// Footpoint latitude: mu = y / k0 / (a (1 - e^2/4 - 3e^4/64 - 5e^6/256)), then the series in mu.
constexpr double kArcLength = 6367449.145945056;  // metres
constexpr double kFoot2 = 0.002518826588112575;
constexpr double kFoot4 = 3.7009490465577744e-06;
constexpr double kFoot6 = 7.447813800519332e-09;
constexpr double kMeridianRadius = 6335439.32722994;  // a (1 - e^2), metres
constexpr double kInverse4 = 0.06065547077041606;    // 9 e'^2
constexpr double kInverse6 = 1.6983531815716497;     // 252 e'^2
constexpr double kInverse5 = 0.05391597401814761;    // 8 e'^2

// Products and reciprocals of the constants above, folded by the compiler. The series below use
// them, and trigonometric identities for the multiple angles, in place of further divisions and
// calls into libm; the results match a term-by-term evaluation to within a few units in the last
// place (tests/base/utmzone_test.cc holds such an evaluation and compares).
constexpr double kInverseMuScale = 1.0 / (kScaleFactor * kArcLength);
constexpr double kInverseEastScale = 1.0 / (kScaleFactor * kSemiMajorAxis);
constexpr double kAxisOverMeridianRadius = kSemiMajorAxis / kMeridianRadius;
constexpr double kSixth = 1.0 / 6.0;
constexpr double k120th = 1.0 / 120.0;
constexpr double k24th = 1.0 / 24.0;
constexpr double k720th = 1.0 / 720.0;

// The central meridian of a zone, in degrees.
inline int CentralMeridian(uint8_t zone) { return 6 * static_cast<int>(zone) - 183; }

}  // namespace

UTMZone::UTMZone()
    : reference_lat_(std::numeric_limits<double>::quiet_NaN()),
      reference_lng_(std::numeric_limits<double>::quiet_NaN()) {}

UTMZone::UTMZone(const std::string& zone) : UTMZone() {
  // A name with no number or no letter leaves these as they start: zone 0 and the invalid mark.
  int lng = 0;
  char dummy = 0;
  // glibc converts an out-of-range %d through long and narrows it, with no trap.
  VS_CHECK_EQ(sscanf(zone.c_str(), "%d%c%c", &lng, &latitude_zone_, &dummy), 2);
  longitude_zone_ = static_cast<uint8_t>(lng);
  CheckZoneFields();
}

UTMZone::UTMZone(unsigned char longitude_zone, char latitude_zone) : UTMZone() {
  longitude_zone_ = longitude_zone;
  latitude_zone_ = latitude_zone;
  CheckZoneFields();
}

UTMZone::UTMZone(double lat, double lng) : UTMZone() { Set(lat, lng); }

UTMZone::UTMZone(double lat, double lng, bool use_reference_as_origin) : UTMZone() {
  Set(lat, lng, use_reference_as_origin);
}

UTMZone::~UTMZone() = default;

void UTMZone::CheckZoneFields() const {
  VS_CHECK_GE(longitude_zone_, 1);
  VS_CHECK_LE(longitude_zone_, 60);
  VS_CHECK_GE(latitude_zone_, 'A');
  VS_CHECK_LE(latitude_zone_, 'Z');
}

void UTMZone::Set(double lat, double lng) { Set(lat, lng, false); }

void UTMZone::Set(double lat, double lng, bool use_reference_as_origin) {
  // The wrap truncates towards 0, so longitudes above 180 come back into range and those below
  // -180 stay where they are (and give zone numbers outside 1..60 once narrowed).
  const double w = lng + 180.0;
  const double wrapped = w - 360.0 * std::trunc(w / 360.0) - 180.0;
  const double zone_part = (180.0 + wrapped) / 6.0;
  // A NaN or enormous longitude has no zone: converting it to int would be undefined.
  int zone = 0;
  if (std::fabs(zone_part) < 1e9) zone = static_cast<int>(zone_part) + 1;

  if (lat >= 56.0 && lat < 64.0 && wrapped >= 3.0 && wrapped < 12.0) zone = 32;
  if (lat >= 72.0 && lat < 84.0) {
    if (wrapped >= 0.0 && wrapped < 9.0) zone = 31;
    else if (wrapped >= 9.0 && wrapped < 21.0) zone = 33;
    else if (wrapped >= 21.0 && wrapped < 33.0) zone = 35;
    else if (wrapped >= 33.0 && wrapped < 42.0) zone = 37;
  }
  longitude_zone_ = static_cast<uint8_t>(zone);
  latitude_zone_ = ComputeUTMZoneLetter(lat);

  utm_origin_ = Point2<double>(0.0, 0.0);
  if (use_reference_as_origin) {
    double x, y;
    LatLngToLocal(lat, lng, &x, &y);
    utm_origin_ = Point2<double>(x, y);
  }
  reference_lat_ = lat;
  reference_lng_ = lng;
  reference_set_ = true;
}

void UTMZone::SetReference(double lat, double lng) { Set(lat, lng, true); }

void UTMZone::GetReference(double* lat, double* lng) const {
  VS_CHECK(IsReferenceSet());
  *lat = reference_lat_;
  *lng = reference_lng_;
}

MapProjection* UTMZone::Clone() const { return new UTMZone(*this); }

void UTMZone::set_utm_origin(const Point2<double>& origin) {
  VS_CHECK(IsValid());
  utm_origin_ = origin;
  if (origin.x == 0.0 && origin.y == 0.0) return;
  LocalToLatLng(0.0, 0.0, &reference_lat_, &reference_lng_);
  reference_set_ = true;
}

std::string UTMZone::StringRepresentation() const {
  char text[16];
  snprintf(text, sizeof text, "%u%c", static_cast<unsigned>(longitude_zone_), latitude_zone_);
  return text;
}

char UTMZone::ComputeUTMZoneLetter(double latitude) {
  if (84 >= latitude && latitude >= 72) return 'X';
  if (72 > latitude && latitude >= 64) return 'W';
  if (64 > latitude && latitude >= 56) return 'V';
  if (56 > latitude && latitude >= 48) return 'U';
  if (48 > latitude && latitude >= 40) return 'T';
  if (40 > latitude && latitude >= 32) return 'S';
  if (32 > latitude && latitude >= 24) return 'R';
  if (24 > latitude && latitude >= 16) return 'Q';
  if (16 > latitude && latitude >= 8) return 'P';
  if (8 > latitude && latitude >= 0) return 'N';
  if (0 > latitude && latitude >= -8) return 'M';
  if (-8 > latitude && latitude >= -16) return 'L';
  if (-16 > latitude && latitude >= -24) return 'K';
  if (-24 > latitude && latitude >= -32) return 'J';
  if (-32 > latitude && latitude >= -40) return 'H';
  if (-40 > latitude && latitude >= -48) return 'G';
  if (-48 > latitude && latitude >= -56) return 'F';
  if (-56 > latitude && latitude >= -64) return 'E';
  if (-64 > latitude && latitude >= -72) return 'D';
  if (-72 > latitude && latitude >= -80) return 'C';
  if (latitude > 84) return 'Z';
  if (latitude < -80) return 'A';
  VS_LOG(FATAL) << "Impossible: " << latitude;
  return 'Z';
}

void UTMZone::LatLngToLocal(double lat, double lng, double* x, double* y) const {
  VS_CHECK(longitude_zone_ > 0);  // both projections need a valid zone
  const double phi = lat * kDegreesToRadians;
  double dlng = lng - CentralMeridian(longitude_zone_);
  if (dlng > 180.0) dlng -= 360.0;
  if (dlng < -180.0) dlng += 360.0;

  const double s = std::sin(phi);
  const double c = std::cos(phi);
  const double tan_phi = std::tan(phi);
  const double n = kSemiMajorAxis / std::sqrt(1.0 - kEccentricitySquared * s * s);
  const double t = tan_phi * tan_phi;
  const double cc = kSecondEccentricitySquared * c * c;
  const double a = c * (dlng * kDegreesToRadians);
  // sin 2phi, 4phi, 6phi from sin phi and cos phi.
  const double sin2 = 2.0 * s * c;
  const double cos2 = 1.0 - 2.0 * s * s;
  const double sin4 = 2.0 * sin2 * cos2;
  const double sin6 = sin2 * (3.0 - 4.0 * sin2 * sin2);
  const double m = kSemiMajorAxis * (kArc0 * phi + kArc2 * -sin2 + kArc4 * sin4 - kArc6 * sin6);

  const double a2 = a * a;
  const double a3 = a2 * a;
  const double a4 = a3 * a;
  const double a5 = a4 * a;
  const double a6 = a5 * a;
  const double east =
      kScaleFactor * n *
          (a + (1.0 - t + cc) * a3 * kSixth + (5.0 - 18.0 * t + t * t + 72.0 * cc - kForward5) * a5 * k120th) +
      kFalseEasting;
  double north = kScaleFactor * (m + n * tan_phi *
                                         (a2 * 0.5 + (5.0 - t + 9.0 * cc + 4.0 * cc * cc) * a4 * k24th +
                                          (61.0 - 58.0 * t + t * t + 600.0 * cc - kForward6) * a6 * k720th));
  // Bands below "N" are south; so are the invalid marks that sort below it ("A", "I").
  if (latitude_zone_ < 'N') north += kFalseNorthingSouth;
  *x = east - utm_origin_.x;
  *y = north - utm_origin_.y;
}

void UTMZone::LocalToLatLng(double x, double y, double* lat, double* lng) const {
  VS_CHECK(longitude_zone_ > 0);  // both projections need a valid zone
  const double east = x + utm_origin_.x;
  double north = y + utm_origin_.y;
  if (!(latitude_zone_ > 'M')) north -= kFalseNorthingSouth;

  const double mu = north * kInverseMuScale;
  // One sincos of mu gives the multiple angles, and sin and cos of the footpoint latitude
  // phi1 = mu + delta by the angle sum, with |delta| < 0.0026 so that the series of sin delta and
  // cos delta below reach the last bit.
  const double sin_mu = std::sin(mu);
  const double cos_mu = std::cos(mu);
  const double sin2 = 2.0 * sin_mu * cos_mu;
  const double cos2 = 1.0 - 2.0 * sin_mu * sin_mu;
  const double sin4 = 2.0 * sin2 * cos2;
  const double sin6 = sin2 * (3.0 - 4.0 * sin2 * sin2);
  const double delta = kFoot2 * sin2 + kFoot4 * sin4 + kFoot6 * sin6;
  const double phi1 = mu + delta;
  const double delta2 = delta * delta;
  const double sin_delta = delta * (1.0 - delta2 * kSixth * (1.0 - delta2 * 0.05));
  const double cos_delta = 1.0 - delta2 * 0.5 * (1.0 - delta2 * (1.0 / 12.0));
  const double s = sin_mu * cos_delta + cos_mu * sin_delta;
  const double c = cos_mu * cos_delta - sin_mu * sin_delta;
  // sin / cos rather than a call to tan: within an ulp or two of it, and a tenth of the time.
  const double tan_phi1 = s / c;
  const double b = 1.0 - kEccentricitySquared * s * s;
  const double t = tan_phi1 * tan_phi1;
  const double cc = kSecondEccentricitySquared * c * c;
  // With N1 = a / sqrt(b) and R1 = a (1 - e^2) / b^1.5: N1 / R1 = b a / (a (1 - e^2)), and
  // D = (x' - 500000) / (k0 N1) = (x' - 500000) sqrt(b) / (k0 a).
  const double n1_over_r1 = b * kAxisOverMeridianRadius;
  const double d = (east - kFalseEasting) * std::sqrt(b) * kInverseEastScale;

  const double d2 = d * d;
  const double d3 = d2 * d;
  const double d4 = d3 * d;
  const double d5 = d4 * d;
  const double d6 = d5 * d;
  const double phi =
      phi1 - n1_over_r1 * tan_phi1 *
                 (d2 * 0.5 - (5.0 + 3.0 * t + 10.0 * cc - 4.0 * cc * cc - kInverse4) * d4 * k24th +
                  (61.0 + 90.0 * t + 298.0 * cc + 45.0 * t * t - kInverse6 - 3.0 * cc * cc) * d6 * k720th);
  *lat = phi * kRadiansToDegrees;
  const double dlng = (d - (1.0 + 2.0 * t + cc) * d3 * kSixth +
                       (5.0 - 2.0 * cc + 28.0 * t - 3.0 * cc * cc + kInverse5 + 24.0 * t * t) * d5 * k120th) /
                      c;
  *lng = dlng * kRadiansToDegrees + CentralMeridian(longitude_zone_);
}

}  // namespace marlin
