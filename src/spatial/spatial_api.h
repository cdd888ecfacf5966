// The library's entry point for hosts.
#ifndef VISTARA_SPATIAL_SPATIAL_API_H_
#define VISTARA_SPATIAL_SPATIAL_API_H_

namespace vistara {

// Called once by a host after loading the library. Everything is set up while the library loads,
// so there is nothing left to do; the call is kept for hosts that expect it.
void InitializeSpatialAPI();

// The library's version, "major.minor.patch".
const char* SpatialVersion();

}  // namespace vistara

#endif  // VISTARA_SPATIAL_SPATIAL_API_H_
