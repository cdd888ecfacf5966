// vistara-spatial utm: positions to UTM text and UTM text back to positions.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "base/utmzone.h"
#include "cli.h"
#include "spatial/utm_strings.h"

namespace vistara::cli {
namespace {

// A whole text as one finite double.
bool ReadNumber(const std::string& text, double* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const double v = std::strtod(text.c_str(), &end);
  if (end == text.c_str() || *end != '\0' || errno == ERANGE || !std::isfinite(v)) return false;
  *value = v;
  return true;
}

// "LAT LNG" or "LAT,LNG" (blanks and one comma between).
bool ReadPosition(const std::string& line, double* lat, double* lng) {
  std::string text = line;
  for (char& c : text) {
    if (c == ',' || c == '\t') c = ' ';
  }
  std::istringstream in(text);
  std::string a, b, rest;
  if (!(in >> a >> b) || (in >> rest)) return false;
  return ReadNumber(a, lat) && ReadNumber(b, lng);
}

std::string Fixed(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.6f", value);
  return text;
}

bool To(Invocation& inv, double lat, double lng, std::string* error) {
  QString zone, easting, northing;
  if (!spatial::CreateUTMStrings(lat, lng, &zone, &easting, &northing)) {
    *error = "no UTM zone for latitude " + Fixed(lat);
    return false;
  }
  if (inv.json()) {
    const marlin::UTMZone utm(lat, lng);
    double x, y;
    utm.LatLngToLocal(lat, lng, &x, &y);
    Json::Value out(Json::objectValue);
    out["latitude"] = JsonNumber(lat);
    out["longitude"] = JsonNumber(lng);
    out["zone"] = zone.toStdString();
    out["easting"] = easting.toStdString();
    out["northing"] = northing.toStdString();
    out["zone_number"] = int{utm.longitude_zone()};
    out["band"] = std::string(1, utm.latitude_zone());
    out["easting_m"] = JsonNumber(x);
    out["northing_m"] = JsonNumber(y);
    inv.PrintJson(out);
  } else {
    inv.out() << zone.toStdString() << "  " << easting.toStdString() << "  " << northing.toStdString() << "\n";
  }
  return true;
}

void PrintLatLng(Invocation& inv, const std::string& input, double lat, double lng) {
  if (inv.json()) {
    Json::Value out(Json::objectValue);
    out["input"] = input;
    out["latitude"] = JsonNumber(lat);
    out["longitude"] = JsonNumber(lng);
    inv.PrintJson(out);
  } else {
    inv.out() << Fixed(lat) << " " << Fixed(lng) << "\n";
  }
}

bool From(Invocation& inv, const std::string& text, std::string* error) {
  double lat, lng;
  if (!spatial::ParseLatLonFromUTM(QString::fromStdString(text), &lat, &lng)) {
    *error = "not a UTM position: '" + text + "'";
    return false;
  }
  PrintLatLng(inv, text, lat, lng);
  return true;
}

int Run(Invocation& inv) {
  if (!inv.CheckFlags({})) return 1;
  const auto& args = inv.args();
  if (args.empty()) return inv.Fail("no operation given (to, from)");
  const std::string& op = args[0];
  if (op == "to") {
    if (args.size() == 1) {
      return inv.ForEachInputLine([&](const std::string& line, std::string* error) {
        double lat, lng;
        if (!ReadPosition(line, &lat, &lng)) {
          *error = "expected LATITUDE LONGITUDE, got '" + line + "'";
          return false;
        }
        return To(inv, lat, lng, error);
      });
    }
    double lat, lng;
    if (args.size() != 3 || !ReadNumber(args[1], &lat) || !ReadNumber(args[2], &lng)) {
      return inv.Fail("usage: utm to LATITUDE LONGITUDE (degrees)");
    }
    std::string error;
    return To(inv, lat, lng, &error) ? 0 : inv.Fail(error);
  }
  if (op == "from") {
    if (args.size() == 1) return inv.ForEachInputLine([&](const std::string& line, std::string* error) {
      return From(inv, line, error);
    });
    std::string error;
    if (args.size() == 2) return From(inv, args[1], &error) ? 0 : inv.Fail(error);
    if (args.size() == 4) {
      double lat, lng;
      if (!spatial::ParseLatLonFromUTM(QString::fromStdString(args[1]), QString::fromStdString(args[2]),
                                       QString::fromStdString(args[3]), &lat, &lng)) {
        return inv.Fail("not a UTM zone: '" + args[1] + "'");
      }
      PrintLatLng(inv, args[1] + " " + args[2] + " " + args[3], lat, lng);
      return 0;
    }
    return inv.Fail("usage: utm from \"ZONE EASTING NORTHING\" | ZONE EASTING NORTHING");
  }
  return inv.Fail("unknown operation '" + op + "' (to, from)");
}

const Command kCommand{
    "utm",
    "positions to UTM zone, easting and northing, and back",
    "Usage: vistara-spatial utm to [LATITUDE LONGITUDE] [--json]\n"
    "       vistara-spatial utm from [\"ZONE EASTING NORTHING\" | ZONE EASTING NORTHING] [--json]\n\n"
    "to    prints the zone, the easting and the northing of a position (degrees), as in\n"
    "      \"31 U  448251.90 m E  5411943.79 m N\"; south of the equator the northing reads \"m S\"\n"
    "      and keeps the 10 000 km false northing. Bands run from C (-80) to X (84).\n"
    "from  reads one line such as \"31U 448251 5411932\" (or three fields) and prints latitude and\n"
    "      longitude in degrees. Only whole metres count: fractions and units are ignored.\n\n"
    "With no position, each line of standard input is one (\"LAT LNG\" for to, a UTM line for from).\n",
    {},
    Run};
const CommandRegistrar kRegistrar(kCommand);

}  // namespace
}  // namespace vistara::cli
