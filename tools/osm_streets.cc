#include "osm_streets.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <fstream>
#include <osmium/io/any_input.hpp>
#include <osmium/osm/node.hpp>
#include <osmium/osm/way.hpp>
#include <protozero/pbf_reader.hpp>
#include <sstream>

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

// Whether every blob header of a PBF stream that announces a blob also names its type. libosmium
// compares the type with strncmp even when there is none, passing it a null pointer (undefined,
// though harmless with a length of 0); such a file is damaged anyway, and is refused before it
// gets there. Anything else wrong is left for libosmium to report. The stream: per blob a 4-byte
// big-endian header size, the header (type: field 1, blob size: field 3), the blob.
bool PbfBlobsHaveTypes(std::istream& in) {
  unsigned char size_bytes[4];
  while (in.read(reinterpret_cast<char*>(size_bytes), 4)) {
    const uint32_t size = (uint32_t{size_bytes[0]} << 24) | (uint32_t{size_bytes[1]} << 16) |
                          (uint32_t{size_bytes[2]} << 8) | size_bytes[3];
    if (size > 64 * 1024) return true;  // more than libosmium takes
    std::string header(size, '\0');
    if (!in.read(header.data(), size)) return true;
    bool typed = false;
    int32_t blob_size = 0;
    try {
      for (protozero::pbf_reader pbf(header); pbf.next();) {
        if (pbf.tag() == 1 && pbf.wire_type() == protozero::pbf_wire_type::length_delimited) {
          typed = true;
          pbf.skip();
        } else if (pbf.tag() == 3 && pbf.wire_type() == protozero::pbf_wire_type::varint) {
          blob_size = pbf.get_int32();
        } else {
          pbf.skip();
        }
      }
    } catch (const protozero::exception&) {
      return true;
    }
    if (blob_size != 0 && !typed) return false;
    if (blob_size <= 0 || !in.seekg(blob_size, std::ios::cur)) return true;
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
    if (file.format() == osmium::io::file_format::pbf && file.compression() == osmium::io::file_compression::none) {
      std::ifstream from_file;
      std::istringstream from_memory;
      if (file.buffer()) {
        from_memory.str(std::string(file.buffer(), file.buffer_size()));
      } else {
        from_file.open(file.filename(), std::ios::binary);
      }
      if (!PbfBlobsHaveTypes(file.buffer() ? static_cast<std::istream&>(from_memory) : from_file)) {
        *error = name + ": PBF format error: a blob header without a type";
        return false;
      }
    }
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
