#include "spatial/utm_strings.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTranslator>
#include <cmath>
#include <optional>

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

// Latitude and longitude parsed from the three fields, nullopt when refused. (That a refusal
// leaves the outputs alone is the fuzz target's check.)
using LatLng = std::optional<std::pair<double, double>>;
LatLng Fields(const QString& zone, const QString& easting, const QString& northing) {
  double lat, lng;
  return ParseLatLonFromUTM(zone, easting, northing, &lat, &lng) ? LatLng({lat, lng}) : std::nullopt;
}

// A translator of the easting text only, whose answer the test sets.
class EastingTranslator : public QTranslator {
 public:
  QString translate(const char*, const char* source, const char*, int) const override {
    return QByteArray(source) == "%1 m E" ? answer : QString();
  }
  bool isEmpty() const override { return false; }
  QString answer = QStringLiteral("");  // empty, not null: a translation that says nothing
};

// Kept first in this file: the unit texts are process-wide, and another test may fill them.
TEST(UTMStringsTest, EmptyTranslationIsAskedAgain) {
  // Regression: the unit texts were read once for good, though an empty first one must be read again.
  int argc = 1;
  char name[] = "utm_strings_test";
  char* argv[] = {name};
  QCoreApplication app(argc, argv);
  EastingTranslator translator;
  QCoreApplication::installTranslator(&translator);
  const QtMessageHandler previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
  Formatted f = Format(48.8583, 2.2945);
  qInstallMessageHandler(previous);  // QString::arg warned of the empty text
  if (!f.easting.isEmpty()) GTEST_SKIP() << "the unit texts were filled earlier in this process";
  translator.answer = QString();  // no translation now: the source text
  EXPECT_EQ(QString("448251.90 m E"), Format(48.8583, 2.2945).easting);
  // Filled now: a later change of language isn't seen.
  translator.answer = QStringLiteral("%1 Meter Ost");
  EXPECT_EQ(QString("448251.90 m E"), Format(48.8583, 2.2945).easting);
  QCoreApplication::removeTranslator(&translator);
}

TEST(UTMStringsTest, CreateAtTheBandEdges) {
  EXPECT_EQ(QString("9999999.99 m S"), Format(-1e-7, 3).northing);  // band M
  EXPECT_EQ(QString("33 A"), Format(-85, 15).zone);
  // Band Z (above 84, or NaN) has no strings, and the outputs stay as they were.
  for (double lat : {84.5, std::nan("")}) {
    const Formatted f = Format(lat, 10);
    EXPECT_FALSE(f.ok) << lat;
    EXPECT_EQ(QStringList({"keep", "keep", "keep"}), QStringList({f.zone, f.easting, f.northing}));
  }
}

TEST(UTMStringsTest, ParseFields) {
  const LatLng t32 = Fields("32T", "500000", "5000000");
  ASSERT_TRUE(t32);
  for (const char* zone : {"32 t", " 32T", "32TT", "x32t"}) EXPECT_EQ(t32, Fields(zone, "500000", "5000000")) << zone;
  for (const char* zone : {"32I", "32O", "32B", "32Y", "32", "T", "0T", "256T", "61T", "99999999999T"}) {
    EXPECT_EQ(std::nullopt, Fields(zone, "500000", "5000000")) << zone;
  }
  // Easting and northing: the first run of digits, no digits is 0.
  EXPECT_EQ(Fields("31N", "500000", "1000"), Fields("31N", "  500000.99 m E", "1000x2"));
  EXPECT_EQ(LatLng({0.0, 3.0}), Fields("31N", "E 500000", "m"));
}

TEST(UTMStringsTest, RoundTripLosesOnlyTheFraction) {
  // Parsing the formatted strings is the projection's own inverse of the whole metres printed.
  const auto whole = [](double v) { return std::floor(QString::number(v, 'f', 2).toDouble()); };
  for (double lat = -79.5; lat < 84; lat += 3.7) {
    for (double lng = -179.3; lng < 180; lng += 11.9) {
      Formatted f = Format(lat, lng);
      ASSERT_TRUE(f.ok);
      const marlin::UTMZone utm(lat, lng);
      double x, y, elat, elng;
      utm.LatLngToLocal(lat, lng, &x, &y);
      utm.LocalToLatLng(whole(x), whole(y), &elat, &elng);
      EXPECT_EQ(LatLng({elat, elng}), Fields(f.zone, f.easting, f.northing)) << lat << " " << lng;
    }
  }
}

}  // namespace
}  // namespace vistara::spatial
