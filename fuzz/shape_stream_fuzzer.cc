// Decodes the input as a shape stream of any version, then checks the result as a caller would.
#include <cstddef>
#include <cstdint>
#include <string>

#include "diorama/shape_coder.h"
#include "util/geometry3d/mesh/shape.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string buffer(reinterpret_cast<const char*>(data), size);
  geometry3d::Shape shape;
  if (loupe::ShapeDecoder::DecodeFromBuffer(buffer, &shape)) {
    std::string error;
    shape.Validate(&error);
  }
  loupe::ShapeDecoder::GetCodecVersionFromBuffer(buffer);
  return 0;
}
