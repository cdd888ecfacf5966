// UTM text: the one-line parser on the whole input, the three-field parser on its lines, and the
// zone-name constructor. Parsers leave their outputs untouched on failure and keep results of
// the one-line form within whole degrees of the globe.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <QStringList>

#include "base/utmzone.h"
#include "spatial/utm_strings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const QString text = QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));

  double lat = 1234.5, lng = 1234.5;
  if (vistara::spatial::ParseLatLonFromUTM(text, &lat, &lng)) {
    if (std::trunc(lat) < -90 || std::trunc(lat) > 90 || std::trunc(lng) < -180 || std::trunc(lng) > 180) abort();
  } else if (lat != 1234.5 || lng != 1234.5) {
    abort();
  }

  const QStringList fields = text.split(QLatin1Char('\n'));
  lat = lng = 1234.5;
  if (!vistara::spatial::ParseLatLonFromUTM(fields.value(0), fields.value(1), fields.value(2), &lat, &lng) &&
      (lat != 1234.5 || lng != 1234.5)) {
    abort();
  }

  const marlin::UTMZone zone(bytes);
  if (zone.StringRepresentation().empty()) abort();
  if (zone.IsValid()) {
    double x, y;
    zone.LocalToLatLng(500000, 4000000, &lat, &lng);
    zone.LatLngToLocal(lat, lng, &x, &y);
  }
  return 0;
}
