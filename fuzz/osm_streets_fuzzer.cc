// OpenStreetMap extracts as the panorama service reads them, and the panoramas it makes of the
// streets they hold: links symmetric and never to the panorama itself, ids unique. An input whose
// first byte is 0 (the top byte of a PBF file's first header size) is read as PBF, any other as XML.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <set>

#include "osm_streets.h"
#include "street_panoramas.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vistara::cli::serve;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::vector<Street> streets;
  std::string error;
  if (!ReadStreetsFromMemory(bytes, size > 0 && data[0] == 0 ? "pbf" : "osm", &streets, &error)) return 0;
  for (const Street& street : streets) {
    if (street.nodes.size() < 2) std::abort();
  }
  const auto set = StreetPanoramas::Build(std::move(streets), {.spacing = 10, .max_panoramas = 2000}, &error);
  if (!set) return 0;
  std::set<std::string> ids;
  for (size_t i = 0; i < set->size(); ++i) {
    if (!ids.insert(set->panorama(i).id).second) std::abort();
    for (const StreetLink& link : set->panorama(i).links) {
      if (link.to == i) std::abort();
      size_t back = 0;
      for (const StreetLink& other : set->panorama(link.to).links) back += other.to == i;
      if (back != 1) std::abort();
    }
  }
  return 0;
}
