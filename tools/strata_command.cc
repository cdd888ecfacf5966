// vistara-spatial strata: altitude strata of the globe's octree.
#include <array>
#include <climits>
#include <memory>
#include <sstream>

#include "cli.h"
#include "common/internal/stratum_tools.h"

namespace vistara::cli {
namespace {

using loupe::StratumTools;

bool Altitude(int level, const std::string& text, Json::Value* json, std::string* line, std::string* error) {
  double metres = 0;
  if (!ParseNumber(text, {}, &metres, error)) return false;
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

int ToPath(Io& io, const std::array<int, 4>& v) {
  std::string path;
  if (!loupe::LevelRowColumnStratumToTraversalPath(v[0], v[1], v[2], v[3], &path)) {
    return io.Fail("no octree path for level " + std::to_string(v[0]) + " row " + std::to_string(v[1]) + " column " +
                   std::to_string(v[2]) + " stratum " + std::to_string(v[3]) + " (level 0 to 30, all inside the level)");
  }
  Json::Value json(Json::objectValue);
  json["path"] = path;
  io.Print(json, (path.empty() ? "(root)" : path) + "\n");
  return 0;
}

void Declare(CLI::App* command) {
  auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* altitude = AddOperation(
      command, "altitude", "the stratum at a level holding each altitude",
      "Prints the stratum at level L holding each altitude in metres above the surface, with its base\n"
      "and top. Stratum 0 holds the surface; the strata cut -1 to 5 planet radii (6371010 m each)\n"
      "into 2^L layers.\n");
  altitude->add_option("METRES", *words, "altitudes; none: each line of standard input");
  auto level = std::make_shared<int>(0);
  AddInt(altitude, "--level", level.get(), {0, 31}, "the level of the strata")->type_name("L")->required();
  SetRun(altitude, [words, level](Io& io) {
    return ForEachInput(io, *words, [level](const std::string& w, Json::Value* j, std::string* t, std::string* e) {
      return Altitude(*level, w, j, t, e);
    });
  });

  CLI::App* path = AddOperation(
      command, "path", "the level, row, column and stratum of octree paths",
      "Prints the level, row (from the south), column and stratum of each octree path of octal digits\n"
      "(column bit 1, row bit 2 counted from the north, stratum bit 4).\n");
  path->add_option("PATH", *words, "octree paths; none: each line of standard input");
  SetRun(path, [words](Io& io) { return ForEachInput(io, *words, Path); });

  CLI::App* to_path = AddOperation(command, "to-path", "the octree path of a level, row, column and stratum",
                                   "The inverse of path; \"(root)\" is the empty path of level 0.\n");
  auto v = std::make_shared<std::array<int, 4>>();
  const char* const kArguments[][2] = {
      {"LEVEL", "0 to 30"}, {"ROW", "from the south"}, {"COLUMN", "from the west"}, {"STRATUM", "0 holds the surface"}};
  for (int i = 0; i < 4; ++i) AddInt(to_path, kArguments[i][0], &(*v)[i], {INT_MIN, INT_MAX}, kArguments[i][1])->required();
  SetRun(to_path, [v](Io& io) { return ToPath(io, *v); });
}

const Registrar kRegistrar("strata", "altitude strata and octree paths",
                           "altitude and path take their inputs as words, or one per line of standard input.\n",
                           Declare);

}  // namespace
}  // namespace vistara::cli
