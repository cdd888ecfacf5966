#include "spatial/utm_strings.h"

#include <QCoreApplication>
#include <QRegularExpression>
#include <QStringList>
#include <cmath>

#include "base/utmzone.h"

namespace vistara::spatial {
namespace {

struct UnitTexts {
  QString easting, northing, southing;
};

// The unit texts in the language of the first call that gave a non-empty easting text: a
// translator may answer with an empty text, and then all three are asked for again on the next
// call. Once filled, a later change of language isn't seen.
const UnitTexts& Units() {
  static UnitTexts texts;
  if (texts.easting.isEmpty()) {
    texts.easting = QCoreApplication::translate(
        "QObject", "%1 m E",
        "Meters easting in Universal Transverse Mercator (UTM) coordinates.  VALUE_1 will be replaced with a number.");
    texts.northing = QCoreApplication::translate(
        "QObject", "%1 m N",
        "Meters northing in Universal Transverse Mercator (UTM) coordinates.  VALUE_1 will be replaced with a number.");
    texts.southing = QCoreApplication::translate("QObject", "%1 m S",
                                                 "Negative meters northing (i.e., south of the equator) in Universal "
                                                 "Transverse Mercator (UTM) coordinates.  VALUE_1 will be replaced "
                                                 "with a number.");
  }
  return texts;
}

// \d, \w and \s take their Unicode meanings, as the patterns have always had: a digit is any
// decimal digit, a word character any letter or number or "_".
constexpr auto kUnicode = QRegularExpression::UseUnicodePropertiesOption;

// The first run of digits (after optional blanks) as a number; 0 if there is none.
double LeadingMetres(const QString& text) {
  static const QRegularExpression kNumber(QStringLiteral("(?:\\s*)(\\d+)"), kUnicode);
  const QRegularExpressionMatch match = kNumber.match(text);
  return match.hasMatch() ? match.captured(1).toDouble() : 0.0;
}

// Truncation towards 0 of a value that must land in [lo, hi]; NaN and values far outside can't be
// converted to int and fail.
bool TruncatedWithin(double value, int lo, int hi) {
  if (!(std::fabs(value) < 1e9)) return false;
  const int whole = static_cast<int>(value);
  return whole >= lo && whole <= hi;
}

}  // namespace

bool CreateUTMStrings(double latitude, double longitude, QString* zone, QString* easting, QString* northing) {
  const UnitTexts& units = Units();
  const marlin::UTMZone utm(latitude, longitude);
  if (utm.latitude_zone() == 'Z') return false;
  double x, y;
  utm.LatLngToLocal(latitude, longitude, &x, &y);
  *zone = QStringLiteral("%1 %2").arg(int{utm.longitude_zone()}).arg(QChar::fromLatin1(utm.latitude_zone()));
  *easting = units.easting.arg(x, 7, 'f', 2, QLatin1Char(' '));
  *northing = (utm.latitude_zone() > 'M' ? units.northing : units.southing).arg(y, 7, 'f', 2, QLatin1Char(' '));
  return true;
}

bool ParseLatLonFromUTM(const QString& zone, const QString& easting, const QString& northing, double* latitude,
                        double* longitude) {
  static const QRegularExpression kZone(QStringLiteral("(?:\\s*)(\\d+)(?:\\s*)(\\w+)"), kUnicode);
  const QRegularExpressionMatch match = kZone.match(zone.toUpper());
  // A failed match gives empty captures: number 0, no letter.
  bool ok = false;
  int number = match.captured(1).toInt(&ok, 10);
  if (!ok) number = 0;
  const QString letter_text = match.captured(2);
  const char letter = letter_text.isEmpty() ? '\0' : letter_text.at(0).toLatin1();
  const bool letter_valid = letter >= 'C' && letter <= 'X' && letter != 'I' && letter != 'O';
  // Only the low byte of the number is the zone: 257 reads as zone 1.
  const int low_byte = number & 0xFF;
  const bool number_valid = low_byte >= 1 && low_byte <= 60;
  if (!letter_valid || !number_valid) return false;

  const double east = LeadingMetres(easting);
  const double north = LeadingMetres(northing);
  const marlin::UTMZone utm(static_cast<unsigned char>(number), letter);
  if (utm.longitude_zone() == 0) return false;
  utm.LocalToLatLng(east, north, latitude, longitude);
  return true;
}

bool ParseLatLonFromUTM(const QString& text, double* latitude, double* longitude) {
  double lat = 1000.0, lng = 1000.0;
  static const QRegularExpression kLine(QStringLiteral("(\\d+)\\s*([C-X])\\s+([\\.\\d]+)\\s+([\\.\\d]+)"),
                                        QRegularExpression::CaseInsensitiveOption | kUnicode);
  const QRegularExpressionMatch match = kLine.match(text.toUpper().trimmed());
  if (!match.hasMatch()) return false;
  const QStringList parts = match.capturedTexts();
  if (parts.size() != 5) return false;
  if (!ParseLatLonFromUTM(parts[1] + parts[2], parts[3], parts[4], &lat, &lng)) return false;
  // The range test is on whole degrees, so 90.5 passes.
  if (!TruncatedWithin(lat, -90, 90) || !TruncatedWithin(lng, -180, 180)) return false;
  *latitude = lat;
  *longitude = lng;
  return true;
}

}  // namespace vistara::spatial
