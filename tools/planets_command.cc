// vistara-spatial planets: positions of the built-in solar system's bodies on a date, or of one
// body over a range of dates.
#include <cmath>
#include <cstdio>
#include <optional>
#include <cstdlib>

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

int DaysInMonth(int year, int month) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// `count` decimal digits at `text[*at]`, as a number; advances `*at`. -1 if they aren't there.
int Digits(const std::string& text, size_t* at, int count) {
  int value = 0;
  for (int k = 0; k < count; ++k, ++*at) {
    if (*at >= text.size() || text[*at] < '0' || text[*at] > '9') return -1;
    value = value * 10 + (text[*at] - '0');
  }
  return value;
}

// An ISO 8601 date in UTC: 2026-11-22, 2026-11-22T18:30Z, 2026-11-22T18:30:00Z or with a
// fraction of a second; the Z may be left out.
std::optional<DateTime> ParseDate(const std::string& text) {
  size_t at = 0;
  const int year = Digits(text, &at, 4);
  const int month = at < text.size() && text[at++] == '-' ? Digits(text, &at, 2) : -1;
  const int day = at < text.size() && text[at++] == '-' ? Digits(text, &at, 2) : -1;
  if (year < 0 || month < 1 || month > 12 || day < 1 || day > DaysInMonth(year, month)) return std::nullopt;
  int hour = 0, minute = 0;
  double second = 0.0;
  if (at < text.size() && (text[at] == 'T' || text[at] == ' ')) {
    ++at;
    hour = Digits(text, &at, 2);
    minute = at < text.size() && text[at++] == ':' ? Digits(text, &at, 2) : -1;
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59) return std::nullopt;
    if (at < text.size() && text[at] == ':') {
      ++at;
      const int whole = Digits(text, &at, 2);
      if (whole < 0 || whole > 59) return std::nullopt;
      second = whole;
      if (at < text.size() && text[at] == '.') {
        double scale = 0.1;
        if (++at >= text.size() || text[at] < '0' || text[at] > '9') return std::nullopt;
        for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at, scale /= 10) second += (text[at] - '0') * scale;
      }
    }
    if (at < text.size() && text[at] == 'Z') ++at;
  }
  if (at != text.size()) return std::nullopt;
  return DateTime(year, month, day, hour, minute, second);
}

// The date to the nearest second, as 2026-11-22T18:30:00Z.
std::string FormatDate(const DateTime& date) {
  const double seconds = std::round((date.GetJulianDate() - kUnixEpochJd) * 86400.0);
  const DateTime::Fields f = DateTime::FromJulianDate(kUnixEpochJd + seconds / 86400.0 + 1e-9).GetFields();
  char text[64];
  std::snprintf(text, sizeof text, "%04lld-%02d-%02dT%02d:%02d:%02dZ", static_cast<long long>(f.year), f.month, f.day,
                f.hour, f.minute, static_cast<int>(f.second));
  return text;
}

// "10d", "12h", "30m" or "1.5d" in days; 0 for anything else.
double ParseStep(const std::string& text) {
  if (text.size() < 2 || text[0] < '0' || text[0] > '9') return 0.0;
  const char unit = text.back();
  const std::string number = text.substr(0, text.size() - 1);
  if (number.find_first_not_of("0123456789.") != std::string::npos || number.find('.') != number.rfind('.')) return 0.0;
  const double value = std::strtod(number.c_str(), nullptr);
  return unit == 'd' ? value : unit == 'h' ? value / 24.0 : unit == 'm' ? value / 1440.0 : 0.0;
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

int Run(Invocation& inv) {
  if (!inv.CheckFlags({"date", "relative-to", "body", "from", "to", "step"})) return 1;
  if (!inv.args().empty()) return inv.Fail("unexpected argument '" + inv.args()[0] + "'");
  const std::string relative_to = inv.Option("relative-to").value_or("earth");
  const bool absolute = relative_to == "none";
  if (!absolute && !IsBody(relative_to)) {
    return inv.Fail("unknown body '" + relative_to + "' for --relative-to (" + BodyList() + ", or none)");
  }
  const std::optional<std::string> body = inv.Option("body");
  if (body && !IsBody(*body)) return inv.Fail("unknown body '" + *body + "' (" + BodyList() + ")");
  auto read_date = [&](const std::string& option, DateTime* date) {
    const std::optional<std::string> text = inv.Option(option);
    if (!text) return true;
    const std::optional<DateTime> parsed = ParseDate(*text);
    if (!parsed) {
      inv.Fail("bad date '" + *text + "' for --" + option + " (ISO 8601 UTC, e.g. 2026-11-22T18:30:00Z)");
      return false;
    }
    *date = *parsed;
    return true;
  };
  const QString reference = absolute ? QString() : QString::fromStdString(relative_to);
  const std::string reference_text = absolute ? "the solar frame's origin" : relative_to;

  spatial::OrbitManager manager;
  manager.LoadSolarSystem();
  struct ClearOnExit {
    spatial::OrbitManager& m;
    ~ClearOnExit() { m.Clear(); }  // the manager's destructor leaves the orbits to its owner
  } clear_on_exit{manager};

  const bool series = inv.Option("from") || inv.Option("to") || inv.Option("step");
  if (!series) {
    DateTime date;
    if (!read_date("date", &date)) return 1;
    Json::Value root(Json::objectValue);
    root["date"] = FormatDate(date);
    root["julian_date"] = JsonNumber(date.GetJulianDate());
    root["relative_to"] = absolute ? Json::Value() : Json::Value(relative_to);
    root["unit"] = "au";
    Json::Value& bodies = root["bodies"] = Json::Value(Json::arrayValue);
    std::string table = "planets on " + FormatDate(date) + ", relative to " + reference_text +
                        ", ecliptic and equinox of date\nbody    " + kColumns + "\n";
    for (const QString& name : ssd::orbit_names_) {
      if (body && name.toStdString() != *body) continue;
      const Row row = Locate(manager, name, reference, date);
      Json::Value item(Json::objectValue);
      item["name"] = name.toStdString();
      AddRow(row, &item);
      bodies.append(item);
      char label[16];
      std::snprintf(label, sizeof label, "%-8s", name.toLatin1().constData());
      table += label + RowText(row) + "\n";
    }
    if (inv.json()) inv.PrintJson(root);
    else inv.out() << table;
    return 0;
  }

  if (inv.Option("date")) return inv.Fail("--date and --from/--to don't go together");
  if (!body) return inv.Fail("a table over dates needs --body");
  if (!inv.Option("from") || !inv.Option("to")) return inv.Fail("a table over dates needs both --from and --to");
  DateTime from, to;
  if (!read_date("from", &from) || !read_date("to", &to)) return 1;
  const std::string step_text = inv.Option("step").value_or("1d");
  const double step = ParseStep(step_text);
  if (!(step > 0.0)) return inv.Fail("bad step '" + step_text + "' (a positive number of d, h or m, e.g. 10d)");
  if (from.GetJulianDate() > to.GetJulianDate()) return inv.Fail("--from is after --to");
  const double span = to.GetJulianDate() - from.GetJulianDate();
  if (span / step >= kMaxRows) return inv.Fail("too many rows (at most " + std::to_string(kMaxRows) + ")");
  // Julian dates near today resolve 40 microseconds: allow for that when --to falls on a step.
  const long rows = static_cast<long>(std::floor(span / step + 1e-6)) + 1;

  const QString name = QString::fromStdString(*body);
  Json::Value root(Json::objectValue);
  root["body"] = *body;
  root["relative_to"] = absolute ? Json::Value() : Json::Value(relative_to);
  root["unit"] = "au";
  Json::Value& list = root["rows"] = Json::Value(Json::arrayValue);
  std::string table = *body + " relative to " + reference_text + ", ecliptic and equinox of date\ndate                " +
                      kColumns + "\n";
  for (long i = 0; i < rows; ++i) {
    const DateTime date = DateTime::FromJulianDate(from.GetJulianDate() + static_cast<double>(i) * step);
    const Row row = Locate(manager, name, reference, date);
    Json::Value item(Json::objectValue);
    item["date"] = FormatDate(date);
    item["julian_date"] = JsonNumber(date.GetJulianDate());
    AddRow(row, &item);
    list.append(item);
    table += FormatDate(date) + RowText(row) + "\n";
  }
  if (inv.json()) inv.PrintJson(root);
  else inv.out() << table;
  return 0;
}

const Command kCommand{
    "planets",
    "positions of the sun, moon and planets on a date, or of one body over dates",
    "Usage: vistara-spatial planets [--date DATE] [--relative-to BODY|none] [--body BODY] [--json]\n"
    "       vistara-spatial planets --body BODY --from DATE --to DATE [--step 10d] [--relative-to BODY|none]\n\n"
    "Positions from the library's built-in orbital elements (a drifting Kepler ellipse per body),\n"
    "in astronomical units, in the mean ecliptic and equinox of date, relative to --relative-to\n"
    "(default earth; none: the solar frame's origin). Each row gives x, y, z, the distance and the\n"
    "direction as ecliptic longitude and latitude in degrees ('-' for the reference body itself).\n"
    "DATE is ISO 8601 in UTC (2026-11-22, 2026-11-22T18:30:00Z); --date defaults to now. --step\n"
    "takes days (d), hours (h) or minutes (m); the table runs from --from to --to inclusive.\n"
    "Bodies: sun, mercury, venus, earth, mars, jupiter, saturn, uranus, neptune, moon.\n",
    {"date", "relative-to", "body", "from", "to", "step"},
    Run};
const CommandRegistrar kRegistrar(kCommand);

}  // namespace
}  // namespace vistara::cli
