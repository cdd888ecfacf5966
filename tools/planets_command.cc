// vistara-spatial planets: positions of the built-in solar system's bodies on a date, or of one
// body over a range of dates.
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>

#include "cli.h"
#include "platform/date_time.h"
#include "platform/units.h"
#include "spatial/orbit_manager.h"
#include "spatial/solar_system_data.h"

namespace vistara::cli {
namespace {

namespace ssd = spatial::solarsystemdata;

constexpr double kUnixEpochJd = 2440587.5;
constexpr double kDegreesPerRadian = 57.29577951308232;
constexpr long kMaxRows = 100000;
// Below this distance (AU) a body is where the reference is, and has no direction.
constexpr double kNoDirectionAu = 1e-12;

// The date to the nearest second, as 2026-11-22T18:30:00Z.
std::string FormatDate(const DateTime& date) {
  const double seconds = std::round((date.GetJulianDate() - kUnixEpochJd) * 86400.0);
  const DateTime::Fields f = DateTime::FromJulianDate(kUnixEpochJd + seconds / 86400.0 + 1e-9).GetFields();
  char text[64];
  std::snprintf(text, sizeof text, "%04lld-%02d-%02dT%02d:%02d:%02dZ", static_cast<long long>(f.year), f.month, f.day,
                f.hour, f.minute, static_cast<int>(f.second));
  return text;
}

std::string BodyList() {
  std::string list;
  for (const QString& name : ssd::orbit_names_) list += (list.empty() ? "" : ", ") + name.toStdString();
  return list;
}

bool IsBody(const std::string& name) {
  for (const QString& known : ssd::orbit_names_) {
    if (known.toStdString() == name) return true;
  }
  return false;
}

struct Row {
  double x, y, z, distance, longitude, latitude;  // AU, AU, degrees (NaN when there is no direction)
};

Row Locate(const spatial::OrbitManager& manager, const QString& body, const QString& relative_to, const DateTime& date) {
  const Vec3<double> p = manager.CalcOrbitPosition(body, relative_to, date);
  const double k = Units::ConvertLength(1.0, Units::kPlanetRadii, Units::kAstronomicalUnits);
  Row row{p.x * k, p.y * k, p.z * k, 0, NAN, NAN};
  row.distance = std::sqrt(row.x * row.x + row.y * row.y + row.z * row.z);
  if (row.distance > kNoDirectionAu) {
    row.longitude = std::atan2(row.y, row.x) * kDegreesPerRadian;
    if (row.longitude < 0) row.longitude += 360.0;
    row.latitude = std::atan2(row.z, std::hypot(row.x, row.y)) * kDegreesPerRadian;
  }
  return row;
}

void AddRow(const Row& row, Json::Value* item) {
  Json::Value& position = (*item)["position"] = Json::Value(Json::arrayValue);
  position.append(JsonNumber(row.x));
  position.append(JsonNumber(row.y));
  position.append(JsonNumber(row.z));
  (*item)["distance"] = JsonNumber(row.distance);
  (*item)["longitude"] = JsonNumber(row.longitude);
  (*item)["latitude"] = JsonNumber(row.latitude);
}

std::string RowText(const Row& row) {
  char text[160];
  if (std::isnan(row.longitude)) {
    std::snprintf(text, sizeof text, "%13.8f %13.8f %13.8f %13.8f %10s %9s", row.x, row.y, row.z, row.distance, "-", "-");
  } else {
    std::snprintf(text, sizeof text, "%13.8f %13.8f %13.8f %13.8f %10.5f %9.5f", row.x, row.y, row.z, row.distance,
                  row.longitude, row.latitude);
  }
  return text;
}

const char kColumns[] = "       x (AU)        y (AU)        z (AU) distance (AU)  lon (deg) lat (deg)";

struct PlanetsOptions {
  std::optional<DateTime> date, from, to;
  std::optional<double> step;  // seconds
  std::optional<std::string> body;
  std::string relative_to = "earth";
};

// The rows of one body over dates.
int Series(Io& io, const PlanetsOptions& o, const spatial::OrbitManager& manager) {
  if (o.date) return io.Fail("--date and --from/--to don't go together");
  if (!o.body) return io.Fail("a table over dates needs --body");
  if (!o.from || !o.to) return io.Fail("a table over dates needs both --from and --to");
  const double step = o.step.value_or(86400.0) / 86400.0;
  if (o.from->GetJulianDate() > o.to->GetJulianDate()) return io.Fail("--from is after --to");
  const double span = o.to->GetJulianDate() - o.from->GetJulianDate();
  if (span / step >= kMaxRows) return io.Fail("too many rows (at most " + std::to_string(kMaxRows) + ")");
  // Julian dates near today resolve 40 microseconds: allow for that when --to falls on a step.
  const long rows = static_cast<long>(std::floor(span / step + 1e-6)) + 1;

  const bool absolute = o.relative_to == "none";
  const QString name = QString::fromStdString(*o.body);
  const QString reference = absolute ? QString() : QString::fromStdString(o.relative_to);
  Json::Value root(Json::objectValue);
  root["body"] = *o.body;
  root["relative_to"] = absolute ? Json::Value() : Json::Value(o.relative_to);
  root["unit"] = "au";
  Json::Value& list = root["rows"] = Json::Value(Json::arrayValue);
  std::string table = *o.body + " relative to " + (absolute ? "the solar frame's origin" : o.relative_to) +
                      ", ecliptic and equinox of date\ndate                " + kColumns + "\n";
  for (long i = 0; i < rows; ++i) {
    const DateTime date = DateTime::FromJulianDate(o.from->GetJulianDate() + static_cast<double>(i) * step);
    const Row row = Locate(manager, name, reference, date);
    Json::Value item(Json::objectValue);
    item["date"] = FormatDate(date);
    item["julian_date"] = JsonNumber(date.GetJulianDate());
    AddRow(row, &item);
    list.append(item);
    table += FormatDate(date) + RowText(row) + "\n";
  }
  io.Print(root, table);
  return 0;
}

// Every body, or the one of --body, on one date.
int OneDate(Io& io, const PlanetsOptions& o, const spatial::OrbitManager& manager) {
  const bool absolute = o.relative_to == "none";
  const QString reference = absolute ? QString() : QString::fromStdString(o.relative_to);
  const DateTime date = o.date.value_or(DateTime::Now());
  Json::Value root(Json::objectValue);
  root["date"] = FormatDate(date);
  root["julian_date"] = JsonNumber(date.GetJulianDate());
  root["relative_to"] = absolute ? Json::Value() : Json::Value(o.relative_to);
  root["unit"] = "au";
  Json::Value& bodies = root["bodies"] = Json::Value(Json::arrayValue);
  std::string table = "planets on " + FormatDate(date) + ", relative to " +
                      (absolute ? "the solar frame's origin" : o.relative_to) +
                      ", ecliptic and equinox of date\nbody    " + kColumns + "\n";
  for (const QString& name : ssd::orbit_names_) {
    if (o.body && name.toStdString() != *o.body) continue;
    const Row row = Locate(manager, name, reference, date);
    Json::Value item(Json::objectValue);
    item["name"] = name.toStdString();
    AddRow(row, &item);
    bodies.append(item);
    char label[16];
    std::snprintf(label, sizeof label, "%-8s", name.toLatin1().constData());
    table += label + RowText(row) + "\n";
  }
  io.Print(root, table);
  return 0;
}

int Run(Io& io, const PlanetsOptions& o) {
  spatial::OrbitManager manager;
  manager.LoadSolarSystem();
  struct ClearOnExit {
    spatial::OrbitManager& m;
    ~ClearOnExit() { m.Clear(); }  // the manager's destructor leaves the orbits to its owner
  } clear_on_exit{manager};
  return o.from || o.to || o.step ? Series(io, o, manager) : OneDate(io, o, manager);
}

// A body of the built-in table (or "none", where `none` says so).
template <class Dest>  // std::string or std::optional<std::string>
CLI::Option* AddBody(CLI::App* app, const std::string& name, bool none, Dest* body, const std::string& help) {
  return AddParsed(app, name, none ? "BODY|none" : "BODY", help, [body, none](const std::string& text, std::string* error) {
    if (!IsBody(text) && !(none && text == "none")) {
      *error = "unknown body '" + text + "' (" + BodyList() + (none ? ", or none)" : ")");
      return false;
    }
    *body = text;
    return true;
  });
}

void Declare(CLI::App* command) {
  auto o = std::make_shared<PlanetsOptions>();
  AddDate(command, "--date", &o->date, "the date of the positions (default now)");
  AddBody(command, "--relative-to", true, &o->relative_to, "the body the positions are seen from (default earth)");
  AddBody(command, "--body", false, &o->body, "one body instead of all; needed for a table over dates");
  AddDate(command, "--from", &o->from, "the first date of a table over dates");
  AddDate(command, "--to", &o->to, "the last date of the table (inclusive)");
  AddDuration(command, "--step", &o->step, "the step of the table (default 1d)");
  SetRun(command, [o](Io& io) { return Run(io, *o); });
}

const Registrar kRegistrar(
    "planets", "positions of the sun, moon and planets on a date, or of one body over dates",
    "Positions from the library's built-in orbital elements (a drifting Kepler ellipse per body), in\n"
    "astronomical units, in the mean ecliptic and equinox of date, relative to --relative-to (none:\n"
    "the solar frame's origin). Each row gives x, y, z, the distance and the direction as ecliptic\n"
    "longitude and latitude in degrees ('-' for the reference body itself). DATE is ISO 8601 in UTC\n"
    "(2026-11-22, 2026-11-22T18:30:00Z). A table over dates runs from --from to --to inclusive.\n"
    "Bodies: sun, mercury, venus, earth, mars, jupiter, saturn, uranus, neptune, moon.\n",
    Declare);

}  // namespace
}  // namespace vistara::cli
