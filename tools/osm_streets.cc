#include "osm_streets.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <osmium/io/any_input.hpp>
#include <osmium/osm/node.hpp>
#include <osmium/osm/way.hpp>

namespace vistara::cli::serve {
namespace {

bool IsStreet(const osmium::Way& way) {
  const char* highway = way.tags()["highway"];
  if (!highway) return false;
  const char* area = way.tags()["area"];
  if (area && std::strcmp(area, "yes") == 0) return false;
  for (const char* unbuilt : {"proposed", "construction", "abandoned", "platform"}) {
    if (std::strcmp(highway, unbuilt) == 0) return false;
  }
  return true;
}

// A way as read in the first pass: its node ids, located in the second.
struct WayRecord {
  Street street;  // without nodes yet
  std::vector<int64_t> refs;
};

bool Read(const osmium::io::File& file, const std::string& name, std::vector<Street>* streets, std::string* error) {
  streets->clear();
  try {
    std::vector<WayRecord> ways;
    {
      osmium::io::Reader reader(file, osmium::osm_entity_bits::way);
      while (osmium::memory::Buffer buffer = reader.read()) {
        for (const osmium::Way& way : buffer.select<osmium::Way>()) {
          if (!IsStreet(way)) continue;
          WayRecord record;
          record.street.way_id = way.id();
          record.street.highway = way.tags()["highway"];
          const char* label = way.tags()["name"];
          if (!label) label = way.tags()["ref"];
          if (label) record.street.name = label;
          if (way.timestamp().valid()) record.street.date = way.timestamp().to_iso().substr(0, 7);
          for (const osmium::NodeRef& ref : way.nodes()) record.refs.push_back(ref.ref());
          ways.push_back(std::move(record));
        }
      }
      reader.close();
    }

    // The second pass keeps only the nodes the streets use: `needed` sorted, `locations` beside it.
    std::vector<int64_t> needed;
    for (const WayRecord& way : ways) needed.insert(needed.end(), way.refs.begin(), way.refs.end());
    std::sort(needed.begin(), needed.end());
    needed.erase(std::unique(needed.begin(), needed.end()), needed.end());
    std::vector<osmium::Location> locations(needed.size());
    if (!needed.empty()) {
      osmium::io::Reader reader(file, osmium::osm_entity_bits::node);
      while (osmium::memory::Buffer buffer = reader.read()) {
        for (const osmium::Node& node : buffer.select<osmium::Node>()) {
          const auto it = std::lower_bound(needed.begin(), needed.end(), node.id());
          if (it != needed.end() && *it == node.id()) locations[it - needed.begin()] = node.location();
        }
      }
      reader.close();
    }

    std::stable_sort(ways.begin(), ways.end(),
                     [](const WayRecord& a, const WayRecord& b) { return a.street.way_id < b.street.way_id; });
    for (WayRecord& way : ways) {
      // One street per run of located nodes.
      Street piece = way.street;
      auto flush = [&] {
        if (piece.nodes.size() >= 2) streets->push_back(piece);
        piece.nodes.clear();
      };
      for (int64_t ref : way.refs) {
        const size_t at = std::lower_bound(needed.begin(), needed.end(), ref) - needed.begin();
        const osmium::Location& location = locations[at];
        if (!location.valid()) {
          flush();
          continue;
        }
        piece.nodes.push_back(StreetNode{ref, location.lat_without_check(), location.lon_without_check()});
      }
      flush();
    }
    return true;
  } catch (const std::exception& e) {
    streets->clear();
    *error = name + ": " + e.what();
    return false;
  }
}

}  // namespace

bool ReadStreets(const std::string& path, std::vector<Street>* streets, std::string* error) {
  if (path == "-") {  // libosmium's name for standard input, which can't be read twice
    streets->clear();
    *error = "the streets must come from a file, not standard input";
    return false;
  }
  try {
    return Read(osmium::io::File(path), path, streets, error);
  } catch (const std::exception& e) {  // an unknown file suffix
    streets->clear();
    *error = path + ": " + e.what();
    return false;
  }
}

bool ReadStreetsFromMemory(std::string_view bytes, const std::string& format, std::vector<Street>* streets,
                           std::string* error) {
  // A null buffer would make libosmium read standard input instead.
  const char* data = bytes.empty() ? "" : bytes.data();
  try {
    return Read(osmium::io::File(data, bytes.size(), format), "(" + format + " in memory)", streets, error);
  } catch (const std::exception& e) {
    streets->clear();
    *error = format + ": " + e.what();
    return false;
  }
}

}  // namespace vistara::cli::serve
