#include "platform/units.h"

namespace vistara {

double Units::MetersPerUnit(LType type) {
  switch (type) {
    case kMillimeters: return 0.001;
    case kCentimeters: return 0.01;
    case kMeters: return 1.0;
    case kKilometers: return 1000.0;
    case kInches: return 0.0254;
    case kFeet: return 0.3048;
    case kYards: return 0.9144;
    case kMiles: return 1609.344;
    case kPlanetRadii: return kPlanetRadiusMeters;
    case kNauticalMiles: return 1852.0;
    case kDecimeters: return 0.1;
    case kFathoms: return 1.8288;
    case kLightYears: return 9460730472580800.0;
    case kAstronomicalUnits: return kAstronomicalUnitMeters;
  }
  return 0.0;
}

double Units::ConvertLength(double length, LType from, LType to) {
  if (from == to) return length;
  const double from_m = MetersPerUnit(from);
  const double to_m = MetersPerUnit(to);
  if (from_m == 0.0 || to_m == 0.0) return 0.0;
  return length * (from_m / to_m);
}

}  // namespace vistara
