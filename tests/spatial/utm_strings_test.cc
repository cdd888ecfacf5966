#include "spatial/utm_strings.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/utmzone.h"

namespace vistara::spatial {
namespace {

struct Formatted {
  QString zone, easting, northing;
  bool ok;
};

Formatted Format(double lat, double lng) {
  Formatted f{"keep", "keep", "keep", false};
  f.ok = CreateUTMStrings(lat, lng, &f.zone, &f.easting, &f.northing);
  return f;
}

TEST(UTMStringsTest, Create) {
  Formatted f = Format(48.8583, 2.2945);
  ASSERT_TRUE(f.ok);
  EXPECT_EQ(QString("31 U"), f.zone);
  EXPECT_EQ(QString("448251.90 m E"), f.easting);
  EXPECT_EQ(QString("5411943.79 m N"), f.northing);
  // South keeps the false northing; the blank fill shows below 1000 m.
  f = Format(-33.9, 151.2);
  EXPECT_EQ(QString("56 H"), f.zone);
  EXPECT_EQ(QString("333568.94 m E"), f.easting);
  EXPECT_EQ(QString("6247473.34 m S"), f.northing);
  f = Format(0, 3);
  EXPECT_EQ(QString("31 N"), f.zone);
  EXPECT_EQ(QString("500000.00 m E"), f.easting);
  EXPECT_EQ(QString("   0.00 m N"), f.northing);
  EXPECT_EQ(QString("31 M"), Format(-1e-7, 3).zone);
  EXPECT_EQ(QString("9999999.99 m S"), Format(-1e-7, 3).northing);
  // Band Z (above 84, or NaN) has no strings, and the outputs stay as they were; band A does.
  for (double lat : {84.5, 90.0, std::nan("")}) {
    f = Format(lat, 10);
    EXPECT_FALSE(f.ok) << lat;
    EXPECT_EQ(QString("keep"), f.zone);
    EXPECT_EQ(QString("keep"), f.easting);
    EXPECT_EQ(QString("keep"), f.northing);
  }
  EXPECT_EQ(QString("33 A"), Format(-85, 15).zone);
}

TEST(UTMStringsTest, ParseFields) {
  double lat = 0, lng = 0, lat2 = 0, lng2 = 0;
  ASSERT_TRUE(ParseLatLonFromUTM("32T", "500000", "5000000", &lat, &lng));
  EXPECT_NEAR(45.1535, lat, 1e-4);
  EXPECT_EQ(9.0, lng);
  for (const char* zone : {"32 t", " 32T", "32TT", "x32t"}) {
    ASSERT_TRUE(ParseLatLonFromUTM(zone, "500000", "5000000", &lat2, &lng2)) << zone;
    EXPECT_EQ(lat, lat2);
    EXPECT_EQ(lng, lng2);
  }
  // Only the low byte of the zone number counts.
  ASSERT_TRUE(ParseLatLonFromUTM("1C", "400000", "3000000", &lat, &lng));
  ASSERT_TRUE(ParseLatLonFromUTM("257c", "400000", "3000000", &lat2, &lng2));
  EXPECT_EQ(lat, lat2);
  EXPECT_EQ(lng, lng2);
  // Refused: the outputs stay as they were.
  lat = lng = 7;
  for (const char* zone : {"32I", "32O", "32B", "32Y", "32", "T", "0T", "256T", "61T", "", "99999999999T", "3 2T"}) {
    EXPECT_FALSE(ParseLatLonFromUTM(zone, "500000", "5000000", &lat, &lng)) << zone;
  }
  EXPECT_EQ(7, lat);
  EXPECT_EQ(7, lng);
  // Easting and northing: the first run of digits, no digits is 0.
  ASSERT_TRUE(ParseLatLonFromUTM("31N", "  500000.99 m E", "1000x2", &lat, &lng));
  ASSERT_TRUE(ParseLatLonFromUTM("31N", "500000", "1000", &lat2, &lng2));
  EXPECT_EQ(lat, lat2);
  EXPECT_EQ(lng, lng2);
  ASSERT_TRUE(ParseLatLonFromUTM("31N", "E 500000", "m", &lat, &lng));
  EXPECT_EQ(0.0, lat);
  EXPECT_EQ(3.0, lng);
}

TEST(UTMStringsTest, ParseLine) {
  double lat = 0, lng = 0, lat2 = 0, lng2 = 0;
  ASSERT_TRUE(ParseLatLonFromUTM(QString("32T 500000 5000000"), &lat, &lng));
  for (const char* text : {"32 t 500000 5000000", "  32t\t500000   5000000  ", "32T 500000 5000000 123 456",
                           "zone 32T 500000 5000000.7"}) {
    ASSERT_TRUE(ParseLatLonFromUTM(QString(text), &lat2, &lng2)) << text;
    EXPECT_EQ(lat, lat2);
    EXPECT_EQ(lng, lng2);
  }
  ASSERT_TRUE(ParseLatLonFromUTM(QString("257 C 400000 3000000"), &lat, &lng));
  ASSERT_TRUE(ParseLatLonFromUTM("1C", "400000", "3000000", &lat2, &lng2));
  EXPECT_EQ(lat, lat2);
  EXPECT_EQ(lng, lng2);
  lat = lng = 7;
  for (const char* text : {"32I 500000 5000000", "0T 500000 5000000", "32Z 500000 5000000", "32T 500000",
                           "32T500000 5000000", "32T 500000 m 5000000", ""}) {
    EXPECT_FALSE(ParseLatLonFromUTM(QString(text), &lat, &lng)) << text;
  }
  EXPECT_EQ(7, lat);
  EXPECT_EQ(7, lng);

  // The range test is on whole degrees: a northing past the pole passes while the latitude
  // truncates to 90, and fails beyond.
  double north = 9997000;
  for (; north < 10200000; north += 1000) {
    ParseLatLonFromUTM("31X", "500000", QString::number(north, 'f', 0), &lat2, &lng2);
    if (lat2 > 90.0) break;
  }
  ASSERT_LT(lat2, 91.0);
  ASSERT_TRUE(ParseLatLonFromUTM(QString("31X 500000 %1").arg(north, 0, 'f', 0), &lat, &lng));
  EXPECT_GT(lat, 90.0);
  for (; lat2 < 91.0; north += 1000) ParseLatLonFromUTM("31X", "500000", QString::number(north, 'f', 0), &lat2, &lng2);
  EXPECT_FALSE(ParseLatLonFromUTM(QString("31X 500000 %1").arg(north, 0, 'f', 0), &lat, &lng));
  // A wild easting sends the longitude out of range (or to NaN), which fails.
  EXPECT_FALSE(ParseLatLonFromUTM(QString("31N 99999999999 0"), &lat, &lng));
  EXPECT_FALSE(ParseLatLonFromUTM(QString("31N ") + QString(400, '9') + " 0", &lat, &lng));
}

TEST(UTMStringsTest, RoundTripLosesOnlyTheFraction) {
  for (double lat = -79.5; lat < 84; lat += 3.7) {
    for (double lng = -179.3; lng < 180; lng += 11.9) {
      QString zone, easting, northing;
      ASSERT_TRUE(CreateUTMStrings(lat, lng, &zone, &easting, &northing));
      double plat, plng;
      ASSERT_TRUE(ParseLatLonFromUTM(zone, easting, northing, &plat, &plng)) << zone.toStdString();
      // The same as the projection's own inverse of the whole metres.
      const marlin::UTMZone utm(lat, lng);
      double x, y, elat, elng;
      utm.LatLngToLocal(lat, lng, &x, &y);
      // Whole metres of the printed numbers (rounded to centimetres first).
      const auto whole = [](double v) { return std::floor(QString::number(v, 'f', 2).toDouble()); };
      utm.LocalToLatLng(whole(x), whole(y), &elat, &elng);
      EXPECT_EQ(elat, plat);
      EXPECT_EQ(elng, plng);
      // Within the dropped fraction (1.42 m), the series' own drift and the grid's scale.
      const double metres = std::hypot((plat - lat) * 111320, (plng - lng) * 111320 * std::cos(lat * M_PI / 180));
      EXPECT_LT(metres, 1.5) << lat << " " << lng;
    }
  }
}

}  // namespace
}  // namespace vistara::spatial
