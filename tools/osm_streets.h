// The streets of an OpenStreetMap extract, as the panorama service builds its panoramas from them.
//
// A street is one way tagged `highway`, with its nodes' positions. Ways that are no street to drive
// or walk along are left out: areas (`area=yes`) and the highway values "proposed",
// "construction", "abandoned" and "platform". A way whose nodes are not all in the extract (a
// clipped extract) becomes one street per run of nodes that are, each keeping the way's id; runs of
// a single node are dropped.
//
// Formats are those libosmium reads: OSM XML, PBF, O5M and OPL, plain or compressed with gzip or
// bzip2, chosen by the file name (`west.osm.bz2`, `city.osm.pbf`). The file is read twice (the
// ways, then only the nodes they use), so that memory follows the streets and not the extract.
//
// Failure: false and a one-line reason ("west.osm: XML parsing error at line 3, column 1: ...");
// the output is then empty. Any bytes are safe input.
#ifndef VISTARA_TOOLS_OSM_STREETS_H_
#define VISTARA_TOOLS_OSM_STREETS_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vistara::cli::serve {

struct StreetNode {
  int64_t id = 0;  // the OSM node id
  double lat = 0;  // degrees
  double lon = 0;  // degrees
};

struct Street {
  int64_t way_id = 0;
  std::string highway;  // the value of the `highway` tag: "residential", "footway", ...
  std::string name;     // `name`, else `ref`, else empty
  std::string date;     // "YYYY-MM" of the way's last edit; empty if the extract has no timestamps
  std::vector<StreetNode> nodes;  // in way order, at least two
};

// The streets of the extract in the file at `path` (not standard input: it is read twice), sorted
// by way id, pieces of one way in way order.
bool ReadStreets(const std::string& path, std::vector<Street>* streets, std::string* error);

// The same for an extract held in memory; `format` is a libosmium format name ("osm", "pbf",
// "osm.bz2", ...). `bytes` must outlive the call only.
bool ReadStreetsFromMemory(std::string_view bytes, const std::string& format, std::vector<Street>* streets,
                           std::string* error);

}  // namespace vistara::cli::serve

#endif  // VISTARA_TOOLS_OSM_STREETS_H_
