// The host's panorama objects: the open panorama and the decoded depth data.
//
// Panorama stands for the host's object of a panorama it has opened. The library never builds or
// deletes one: a record holds one reference taken by the host and gives it back through Release()
// when the record goes.
//
// DepthMap is the host's struct of decoded depth data, filled field by field by the depth-map
// decoder. It is a MemoryObject: the decoder places it on HeapManager::GetDynamicHeap() and a plain
// `delete` gives it back there. Its destructor frees the two arrays, which are plain new[] blocks.
#ifndef VISTARA_PLATFORM_PANORAMA_H_
#define VISTARA_PLATFORM_PANORAMA_H_

#include <cstdint>

#include "platform/memory.h"
#include "platform/referent.h"
#include "platform/vec.h"

namespace vistara {

class Panorama : public Referent {
 public:
  Panorama() = default;
  // The host's pair for handing the object over: a holder calls AddRef() when it takes the
  // pointer and Release() when it lets go; the last Release() deletes the object.
  void AddRef() const { ref(); }
  void Release() const { unref(); }

 protected:
  ~Panorama() override = default;
};

class DepthMap : public MemoryObject {
 public:
  DepthMap() = default;
  ~DepthMap() {
    delete[] indices;
    delete[] planes;
  }
  DepthMap(const DepthMap&) = delete;
  DepthMap& operator=(const DepthMap&) = delete;

  // width x height plane numbers, row after row; owned.
  uint8_t* indices = nullptr;
  int width = 0;
  int height = 0;
  // num_planes planes; owned. A point p on plane i satisfies normal . p + distance == 0.
  Plane<double>* planes = nullptr;
  int num_planes = 0;
  // Kept by the host for its own use; the decoder sets it to 0.
  int reserved = 0;
};

}  // namespace vistara

#endif  // VISTARA_PLATFORM_PANORAMA_H_
