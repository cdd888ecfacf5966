// Reads the input as OBJ text (no material library can be found: its folder doesn't exist); what
// reads is written and read again, and must come back the same: pools exactly, index sets alike.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "obj_file.h"
#include "util/geometry3d/mesh/shape.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using vistara::cli::obj::ReadObj;
  geometry3d::Shape shape, again;
  std::string error, mtl;
  if (!ReadObj(std::string(reinterpret_cast<const char*>(data), size), "/nonexistent", &shape, &error)) return 0;
  if (!shape.Validate(&error)) std::abort();
  // Materials (defaults for names no library defines) travel only with an MTL library, which this
  // round trip leaves out.
  if (!shape.materials().empty()) return 0;
  if (!ReadObj(vistara::cli::obj::WriteObj(shape, "", &mtl), "", &again, &error)) std::abort();
  if (!shape.IsEqual(again)) std::abort();  // pools and set formats
  for (size_t i = 0; i < shape.index_sets().size(); ++i) {
    const geometry3d::IndexSet &a = *shape.index_sets()[i], &b = *again.index_sets()[i];
    if (a.point_indices() != b.point_indices() || a.normal_indices() != b.normal_indices() ||
        a.tex_coord_indices() != b.tex_coord_indices()) {
      std::abort();
    }
  }
  return 0;
}
