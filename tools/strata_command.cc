// vistara-spatial strata: altitude strata of the globe's octree.
//   strata altitude METRES... --level L    the stratum holding each altitude
//   strata path PATH...                    level, row, column and stratum of octree paths
//   strata to-path LEVEL ROW COLUMN STRATUM  the octree path
// With no words after the operation, altitude and path read one input per line from stdin.
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <sstream>

#include "cli.h"
#include "common/internal/stratum_tools.h"

namespace vistara::cli {
namespace {

using loupe::StratumTools;

bool ParseInt(const std::string& text, int* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  const long v = std::strtol(text.c_str(), &end, 10);
  if (errno || *end || v < INT_MIN || v > INT_MAX) return false;
  *value = static_cast<int>(v);
  return true;
}

bool ParseDouble(const std::string& text, double* value) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  *value = std::strtod(text.c_str(), &end);
  return !errno && !*end && std::isfinite(*value);
}

bool Altitude(int level, const std::string& text, Json::Value* json, std::string* line, std::string* error) {
  double metres = 0;
  if (!ParseDouble(text, &metres)) {
    *error = "not an altitude in metres: '" + text + "'";
    return false;
  }
  const double native = StratumTools::KmlAltitudeToNativeAltitude(metres);
  if (!(native >= -1.0 && native < 5.0)) {
    *error = "altitude " + text + " m is outside -1 to 5 planet radii";
    return false;
  }
  const int stratum = StratumTools::StratumContainingKmlAltitude(metres, level);
  const double base = StratumTools::BaseKmlAltitudeOfStratum(stratum, level);
  const double top = base + StratumTools::ThicknessOfStratumInMeters(level);
  (*json)["altitude_m"] = JsonNumber(metres);
  (*json)["level"] = level;
  (*json)["stratum"] = stratum;
  (*json)["base_m"] = JsonNumber(base);
  (*json)["top_m"] = JsonNumber(top);
  std::ostringstream s;
  s.precision(15);
  s << "stratum " << stratum << " (" << base << " m to " << top << " m)";
  *line = s.str();
  return true;
}

bool Path(const std::string& path, Json::Value* json, std::string* line, std::string* error) {
  int level, row, column, stratum;
  if (!loupe::TraversalPathToLevelRowColumnStratum(path, &level, &row, &column, &stratum)) {
    *error = level >= 32 ? "path of " + std::to_string(level) + " digits is deeper than 31 levels"
                         : "path '" + path + "' has a character outside 0 to 7";
    return false;
  }
  (*json)["path"] = path;
  (*json)["level"] = level;
  (*json)["row"] = row;
  (*json)["column"] = column;
  (*json)["stratum"] = stratum;
  *line = "level " + std::to_string(level) + " row " + std::to_string(row) + " column " + std::to_string(column) +
          " stratum " + std::to_string(stratum);
  return true;
}

// One result per word, or per stdin line when there are no words.
int ForEach(Invocation& inv, const std::vector<std::string>& words,
            const std::function<bool(const std::string&, Json::Value*, std::string*, std::string*)>& apply) {
  auto handle = [&](const std::string& text, std::string* error) {
    Json::Value json(Json::objectValue);
    std::string line;
    if (!apply(text, &json, &line, error)) return false;
    if (inv.json()) inv.PrintJson(json);
    else inv.out() << line << "\n";
    return true;
  };
  if (words.empty()) return inv.ForEachInputLine(handle);
  int status = 0;
  for (size_t i = 0; i < words.size(); ++i) {
    std::string error;
    if (!handle(words[i], &error)) {
      inv.LineError(static_cast<int>(i + 1), error);
      status = 1;
    }
  }
  return status;
}

int Run(Invocation& inv) {
  if (!inv.CheckFlags({"level"})) return 1;
  if (inv.args().empty()) return inv.Fail("missing operation (altitude, path, to-path)");
  const std::string op = inv.args()[0];
  const std::vector<std::string> words(inv.args().begin() + 1, inv.args().end());
  if (op == "altitude") {
    int level = 0;
    const auto text = inv.Option("level");
    if (!text) return inv.Fail("strata altitude needs --level L");
    if (!ParseInt(*text, &level) || level < 0 || level > 31) return inv.Fail("--level must be 0 to 31, got '" + *text + "'");
    return ForEach(inv, words, [level](const std::string& w, Json::Value* j, std::string* l, std::string* e) {
      return Altitude(level, w, j, l, e);
    });
  }
  if (op == "path") return ForEach(inv, words, Path);
  if (op == "to-path") {
    int v[4];
    if (words.size() != 4) return inv.Fail("strata to-path needs LEVEL ROW COLUMN STRATUM");
    for (int i = 0; i < 4; ++i) {
      if (!ParseInt(words[i], &v[i])) return inv.Fail("not an integer: '" + words[i] + "'");
    }
    std::string path;
    if (!loupe::LevelRowColumnStratumToTraversalPath(v[0], v[1], v[2], v[3], &path)) {
      return inv.Fail("no octree path for level " + words[0] + " row " + words[1] + " column " + words[2] +
                      " stratum " + words[3] + " (level 0 to 30, all inside the level)");
    }
    if (inv.json()) {
      Json::Value json(Json::objectValue);
      json["path"] = path;
      inv.PrintJson(json);
    } else {
      inv.out() << (path.empty() ? "(root)" : path) << "\n";
    }
    return 0;
  }
  return inv.Fail("unknown operation '" + op + "' (altitude, path, to-path)");
}

const Command kCommand{
    "strata",
    "altitude strata and octree paths",
    "Usage: vistara-spatial strata altitude [METRES...] --level L [--json]\n"
    "       vistara-spatial strata path [PATH...] [--json]\n"
    "       vistara-spatial strata to-path LEVEL ROW COLUMN STRATUM [--json]\n\n"
    "altitude: the stratum at level L (0 to 31) holding each altitude in metres above the\n"
    "surface, with its base and top. Stratum 0 holds the surface; the strata cut -1 to 5 planet\n"
    "radii (6371010 m each) into 2^L layers.\n"
    "path: the level, row (from the south), column and stratum of each octree path of octal\n"
    "digits (column bit 1, row bit 2 counted from the north, stratum bit 4).\n"
    "to-path: the inverse; \"(root)\" is the empty path of level 0.\n"
    "altitude and path read one input per line from stdin when none is given; a bad input prints\n"
    "\"error: line N: ...\" in its place, N counting the inputs, and the exit status is 1.\n",
    {"level"},
    Run};
const CommandRegistrar kRegistrar(kCommand);

}  // namespace
}  // namespace vistara::cli
