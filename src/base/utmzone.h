// One zone of the Universal Transverse Mercator grid.
//
// A UTMZone is a longitude zone (1 to 60; 0 marks the invalid zone) and a latitude band letter
// ("C" to "X" without "I" and "O"; "Z" above 84 degrees, "A" below -80, "I" for the invalid
// zone). It projects with truncated series on a fixed ellipsoid (a = 6378137 m, e^2 = 0.00669438,
// k0 = 0.9996): the forward and inverse series are each cut after their sixth-order terms, so the
// two directions are not exact inverses and drift from an exact transverse Mercator as a point
// moves away from the central meridian (docs/utm.md gives the figures).
//
// Coordinates: degrees in, metres out. Eastings carry the 500 km false easting; northings in a
// band below "N" carry the 10 000 km false northing. An optional origin (utm_origin) is
// subtracted from every projected position, so that a chosen reference point maps to (0, 0).
//
// The zone comes from the reference position (Set), from a name such as "10S", or from a number
// and a letter. The regular 6-degree zones hold, except in Norway (56 to 64 N, 3 to 12 E: zone 32)
// and round Svalbard (72 to 84 N: zones 31, 33, 35, 37).
//
// Failure: none is returned. Checks ("Check failed: ...") report through base/logging.h and the
// code runs on with the values as they are; a zone built from a bad name stays as parsed.
// Objects are plain values, used by one thread at a time.
#ifndef VISTARA_BASE_UTMZONE_H_
#define VISTARA_BASE_UTMZONE_H_

#include <cstdint>
#include <string>

#include "base/map_projection.h"
#include "platform/vec.h"

namespace marlin {

// A plain pair of doubles, x then y.
template <class T>
using Point2 = vistara::Point2<T>;

class UTMZone : public MapProjection {
 public:
  // The invalid zone: number 0, letter "I", no reference (NaN), origin (0, 0).
  UTMZone();
  // From a zone name: a decimal number followed by exactly one letter, such as "10S". The number
  // is narrowed to 8 bits. A name that isn't of that form fails a check and leaves the zone as
  // parsed. No reference is set.
  explicit UTMZone(const std::string& zone);
  // From a zone number and band letter; checked, not corrected. No reference is set.
  UTMZone(unsigned char longitude_zone, char latitude_zone);
  // The zone that holds (lat, lng) (degrees), which also becomes the reference.
  UTMZone(double lat, double lng);
  // The same, and with `use_reference_as_origin` (lat, lng) projects to (0, 0).
  UTMZone(double lat, double lng, bool use_reference_as_origin);
  ~UTMZone() override;

  // Chooses the zone and letter of (lat, lng) (degrees) and stores it as the reference. The
  // longitude wraps above 180 but not below -180 (the wrap truncates towards 0). The origin
  // becomes (0, 0), or the projection of (lat, lng) with `use_reference_as_origin`.
  void Set(double lat, double lng);
  void Set(double lat, double lng, bool use_reference_as_origin);

  // MapProjection. Both projections check that the zone is valid.
  void LatLngToLocal(double lat, double lng, double* x, double* y) const override;
  void LocalToLatLng(double x, double y, double* lat, double* lng) const override;
  // Set(lat, lng, true).
  void SetReference(double lat, double lng) override;
  // Checks that a reference is set, and copies it (degrees).
  void GetReference(double* lat, double* lng) const override;
  bool IsReferenceSet() const override { return reference_set_; }
  MapProjection* Clone() const override;

  // Stores `origin` (metres, subtracted from projected positions); checks that the zone is valid.
  // A non-zero origin also becomes the reference: the reference is then LocalToLatLng(0, 0). The
  // origin (0, 0) leaves the reference as it was.
  void set_utm_origin(const Point2<double>& origin);
  const Point2<double>& utm_origin() const { return utm_origin_; }

  // "%u%c" of number and letter, such as "10S".
  std::string StringRepresentation() const;

  // The band letter of a latitude (degrees). Each band holds its lower edge; "X" (72 to 84) holds
  // both. Above 84: "Z"; below -80: "A"; NaN: reports "Impossible: " and gives "Z".
  static char ComputeUTMZoneLetter(double latitude);

  bool IsValid() const { return longitude_zone_ != 0; }
  unsigned char longitude_zone() const { return longitude_zone_; }
  char latitude_zone() const { return latitude_zone_; }

 private:
  // The checks of the zone constructors.
  void CheckZoneFields() const;

  bool reference_set_ = false;
  double reference_lat_;  // degrees; NaN until set
  double reference_lng_;  // degrees; NaN until set
  uint8_t longitude_zone_ = 0;
  char latitude_zone_ = 'I';
  Point2<double> utm_origin_;  // metres
};

}  // namespace marlin

#endif  // VISTARA_BASE_UTMZONE_H_
