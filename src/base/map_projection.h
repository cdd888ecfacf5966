// The interface of a projection between geographic coordinates and a local plane.
//
// Angles are degrees (latitude positive north, longitude positive east), local coordinates are
// metres. An implementation may hold a reference position; what it does with it (an origin, a
// zone choice) is its own. Objects are used by one thread at a time. Clone() returns a new object
// that the caller owns and deletes.
#ifndef VISTARA_BASE_MAP_PROJECTION_H_
#define VISTARA_BASE_MAP_PROJECTION_H_

namespace marlin {

class MapProjection {
 public:
  virtual ~MapProjection() {}

  // Geographic (degrees) to local (metres).
  virtual void LatLngToLocal(double lat, double lng, double* x, double* y) const = 0;
  // Local (metres) to geographic (degrees).
  virtual void LocalToLatLng(double x, double y, double* lat, double* lng) const = 0;
  // The reference position (degrees).
  virtual void SetReference(double lat, double lng) = 0;
  virtual void GetReference(double* lat, double* lng) const = 0;
  virtual bool IsReferenceSet() const = 0;
  // A copy of this projection with all its state; owned by the caller.
  virtual MapProjection* Clone() const = 0;
};

}  // namespace marlin

#endif  // VISTARA_BASE_MAP_PROJECTION_H_
