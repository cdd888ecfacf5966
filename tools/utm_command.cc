// vistara-spatial utm: positions to UTM text and UTM text back to positions.
#include <cstdio>
#include <memory>

#include "base/utmzone.h"
#include "cli.h"
#include "spatial/utm_strings.h"

namespace vistara::cli {
namespace {

std::string Fixed(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.6f", value);
  return text;
}

bool To(const LatLon& p, Json::Value* json, std::string* text, std::string* error) {
  QString zone, easting, northing;
  if (!spatial::CreateUTMStrings(p.lat, p.lon, &zone, &easting, &northing)) {
    *error = "no UTM zone for latitude " + Fixed(p.lat);
    return false;
  }
  const marlin::UTMZone utm(p.lat, p.lon);
  double x, y;
  utm.LatLngToLocal(p.lat, p.lon, &x, &y);
  (*json)["latitude"] = JsonNumber(p.lat);
  (*json)["longitude"] = JsonNumber(p.lon);
  (*json)["zone"] = zone.toStdString();
  (*json)["easting"] = easting.toStdString();
  (*json)["northing"] = northing.toStdString();
  (*json)["zone_number"] = int{utm.longitude_zone()};
  (*json)["band"] = std::string(1, utm.latitude_zone());
  (*json)["easting_m"] = JsonNumber(x);
  (*json)["northing_m"] = JsonNumber(y);
  *text = zone.toStdString() + "  " + easting.toStdString() + "  " + northing.toStdString();
  return true;
}

void LatLngResult(const std::string& input, double lat, double lng, Json::Value* json, std::string* text) {
  (*json)["input"] = input;
  (*json)["latitude"] = JsonNumber(lat);
  (*json)["longitude"] = JsonNumber(lng);
  *text = Fixed(lat) + " " + Fixed(lng);
}

bool From(const std::string& input, Json::Value* json, std::string* text, std::string* error) {
  double lat, lng;
  if (!spatial::ParseLatLonFromUTM(QString::fromStdString(input), &lat, &lng)) {
    *error = "not a UTM position: '" + input + "'";
    return false;
  }
  LatLngResult(input, lat, lng, json, text);
  return true;
}

struct ToOptions {
  std::optional<double> lat, lon;
};

int RunTo(Io& io, const ToOptions& o) {
  if (!o.lat) {
    return ForEachInput(io, {}, [](const std::string& line, Json::Value* json, std::string* text, std::string* error) {
      LatLon p;
      return ParseLatLon(line, &p, error) && To(p, json, text, error);
    });
  }
  Json::Value json(Json::objectValue);
  std::string text, error;
  if (!To({*o.lat, *o.lon}, &json, &text, &error)) return io.Fail(error);
  io.Print(json, text + "\n");
  return 0;
}

int RunFrom(Io& io, const std::vector<std::string>& words) {
  if (words.empty()) return ForEachInput(io, {}, From);
  Json::Value json(Json::objectValue);
  std::string text, error;
  if (words.size() == 1) {
    if (!From(words[0], &json, &text, &error)) return io.Fail(error);
  } else if (words.size() == 3) {
    double lat, lng;
    if (!spatial::ParseLatLonFromUTM(QString::fromStdString(words[0]), QString::fromStdString(words[1]),
                                     QString::fromStdString(words[2]), &lat, &lng)) {
      return io.Fail("not a UTM zone: '" + words[0] + "'");
    }
    LatLngResult(words[0] + " " + words[1] + " " + words[2], lat, lng, &json, &text);
  } else {
    return io.Fail("UTM: give one text \"ZONE EASTING NORTHING\" or its three words");
  }
  io.Print(json, text + "\n");
  return 0;
}

void Declare(CLI::App* command) {
  CLI::App* to = AddOperation(
      command, "to", "the UTM zone, easting and northing of positions",
      "Prints, as in \"31 U  448251.90 m E  5411943.79 m N\", the zone, the easting and the\n"
      "northing of a position; south of the equator the northing reads \"m S\" and keeps the\n"
      "10 000 km false northing. Bands run from C (-80) to X (84). With no position, each line of\n"
      "standard input is one, as \"LAT LON\" or \"LAT,LON\".\n");
  auto to_options = std::make_shared<ToOptions>();
  CLI::Option* lat = AddNumber(to, "LATITUDE", &to_options->lat, {-90, 90}, "degrees north");
  lat->needs(AddNumber(to, "LONGITUDE", &to_options->lon, {-180, 180}, "degrees east"));
  SetRun(to, [to_options](Io& io) { return RunTo(io, *to_options); });

  CLI::App* from = AddOperation(
      command, "from", "the latitude and longitude of UTM positions",
      "Reads one text such as \"31U 448251 5411932\", or its three words, and prints latitude and\n"
      "longitude in degrees. Only whole metres count: fractions and units are ignored. With no\n"
      "text, each line of standard input is one.\n");
  auto words = std::make_shared<std::vector<std::string>>();
  from->add_option("UTM", *words, "\"ZONE EASTING NORTHING\" as one text or three words");
  SetRun(from, [words](Io& io) { return RunFrom(io, *words); });
}

const Registrar kRegistrar("utm", "positions to UTM zone, easting and northing, and back", "", Declare);

}  // namespace
}  // namespace vistara::cli
